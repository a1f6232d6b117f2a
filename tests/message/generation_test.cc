// Writing trees: what is copied, what is made anew, and what an enemy's message cannot do on the way.
#include <gtest/gtest.h>

#include <kel/preferences.h>
#include <kelmime/application.h>
#include <helpers/messages.h>

namespace kel {
namespace {

using test::describe;
using test::message_of;
using test::multipart;
using test::read_again;
using test::written;

// All headers of the tree that were not set here, and all decoded leaves.
std::string content_of(body_part_t& part) {
  std::string text;
  for (auto const& [name, value] : part.headers()) {
    if (name[0] != '#' && name != "x-set")
      text += name + ": " + value + "\n";
  }
  if (part.subparts().empty())
    text += std::string(part.decoded_body()) + "\n";
  for (body_part_t& child : part.subparts())
    text += "--\n" + content_of(child);
  return text;
}

TEST(Generation, KeepsWhatWasNotChanged) {
  for (auto const& path : test::message_files()) {
    std::string const text = test::content_of(path);
    for (std::string const& bytes : { text, test::with_cr_lf(text), text.substr(0, text.size() / 2) })
      EXPECT_EQ(written(*message_of(bytes)), bytes) << path;

    auto const message = message_of(text);
    message->set_header("x-set", "here");
    std::string const first = written(*message);
    EXPECT_EQ(written(*message), first) << path;
    auto const again = message_of(first);
    EXPECT_EQ(describe(*again), describe(*message)) << path;
    EXPECT_EQ(content_of(*again), content_of(*message)) << path;
    EXPECT_EQ(again->get_header("x-set", ""), "here") << path;
  }
}

TEST(Generation, WritesABodyAsItCame) {
  struct { char const* headers; char const* body; } const rows[] = {
    { "Content-Type: text/plain; charset=iso-8859-1\n", "Gr\xfc\xdf" "e\n" },
    { "Content-Type: text/plain\nX-Guessed: charset\n", "Gr\xfc\xdf" "e, M\xe4nner\n" },
    { "Content-Type: text/plain; charset=iso-8859-1\nContent-Transfer-Encoding: quoted-printable\n", "Gr=fc=DFe=\n \n" },
    { "Content-Type: image/png\nContent-Transfer-Encoding: BASE64 (x)\n", "aGVs\nbG8=\ntrailing\n" },
    { "Content-Type: application/x\nContent-Transfer-Encoding: x-uuencode\n", "begin 644 a\n#86)C\n`\nend\n" },
    { "Content-Type: text/plain\nContent-Transfer-Encoding: x-mine\n", "a b\n" },
    { "Content-Type: application/x\nContent-Transfer-Encoding: binary\n", "\x01\r\n\xff" },
    { "Content-Type: text/plain; format=flowed\n", "a \nb\n> c \n> d\n" },
    { "Content-Type: message/delivery-status\n", "Reporting-MTA: dns; a\n\nAction: failed\n" },
    { "Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n", "U3ViamVjdDogYQoKYgo=" },
    { "Content-Type: multipart/mixed; boundary=without_delimiters\n", "no parts\n" },
    { "Content-Type: multipart/mixed; x=without_boundary\n", "--b\n\nx\n--b--\n" },
  };
  for (auto const& row : rows) {
    auto const message = message_of(std::string(row.headers) + "\n" + row.body);
    std::string const decoded(message->decoded_body());
    message->set_header("subject", "new");
    std::string const text = written(*message);
    EXPECT_EQ(text.substr(text.find("\n\n") + 2), row.body) << row.headers;
    EXPECT_EQ(message_of(text)->decoded_body(), decoded) << row.headers;
  }
}

// What is written anew reads like before, under headers that fit it.
TEST(Generation, WritesDecodedContentUnderHeadersThatFit) {
  struct { char const* name; char const* message; char const* header; char const* value; char const* expected; } const rows[] = {
    { "charset gone", "Content-Type: text/plain; charset=iso-8859-1\n\nGr\xfc\xdf" "e\n", "content-type", "text/plain",
      "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\nGr\xc3\xbc\xc3\x9f" "e\n" },
    { "charset kept", "Content-Type: text/plain; charset=iso-8859-1; x=y\n\nGr\xfc\xdf" "e\n", "content-transfer-encoding", "quoted-printable",
      "Content-Type: text/plain; charset=utf-8; x=y\nContent-Transfer-Encoding: quoted-printable\n\nGr=C3=BC=C3=9Fe\n" },
    { "plain text", "\nabc\n", "content-type", "text/html", "Content-Type: text/html\n\nabc\n" },
    { "flowed anew", "Content-Type: text/plain; format=flowed\n\na \nb\n", "content-transfer-encoding", "base64",
      "Content-Type: text/plain; format=flowed\nContent-Transfer-Encoding: base64\n\nYSBiCg==" },
    { "DelSp", "Content-Type: text/plain; format=flowed; delsp=yes\n\n" "0123456789 0123456789 0123456789 0123456789 0123456789 0123456789  \n0123456789 0\n",
      "content-transfer-encoding", "7bit", "Content-Type: text/plain; format=flowed; delsp=yes\nContent-Transfer-Encoding: 7bit\n\n"
      "0123456789 0123456789 0123456789 0123456789 0123456789 0123456789  \n0123456789 0\n" },
    { "text in uuencode", "Content-Type: text/plain; charset=iso-8859-1\nContent-Transfer-Encoding: x-uuencode\n\nbegin 644 a\n!_```\n`\nend\n", "content-transfer-encoding", "x-uuencode",
      "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: base64\n\nw7wAAA==" },
    { "text in binary", "Content-Type: text/plain; charset=iso-8859-1\n\n\xfc", "content-transfer-encoding", "binary",
      "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: binary\n\n\xc3\xbc" },
    { "attached text", "Content-Disposition: attachment\nContent-Type: text/plain; charset=iso-8859-1; format=flowed\n\nFrom \xfc \nb", "content-transfer-encoding", "quoted-printable",
      "Content-Disposition: attachment\nContent-Type: text/plain; charset=iso-8859-1; format=flowed\nContent-Transfer-Encoding: quoted-printable\n\n=46rom =FC =0A=\nb" },
    { "text that becomes data", "Content-Type: text/plain; charset=iso-8859-1\n\n\xfc", "content-type", "application/x", "Content-Type: application/x\n\n\xfc" },
    { "line feeds of data", "Content-Type: application/x\n\na\nb \n", "content-transfer-encoding", "quoted-printable",
      "Content-Type: application/x\nContent-Transfer-Encoding: quoted-printable\n\na=0A=\nb =0A" },
    { "uuencode", "Content-Type: application/x\nContent-Transfer-Encoding: x-uuencode\n\nbegin 644 a\n#86)C\n`\nend\n", "content-transfer-encoding", "x-uuencode",
      "Content-Type: application/x\nContent-Transfer-Encoding: base64\n\nYWJj" },
    { "a name for data", "Content-Type: application/x\nContent-Transfer-Encoding: base64\n\nYW\nJj\n", "content-type", "application/x; name=a",
      "Content-Type: application/x; name=a\nContent-Transfer-Encoding: base64\n\nYW\nJj\n" },
  };
  for (auto const& row : rows) {
    auto const message = message_of(row.message);
    message->set_header(row.header, row.value);
    EXPECT_EQ(written(*message), row.expected) << row.name;
  }
}

TEST(Generation, OrdersHeaders) {
  auto const message = message_of("X-B: 1\nX-A: 2\nReceived: r1\nReceived: r2\nResent-From: c@x\n\nbody");
  std::string expected;
  for (char const* const name : { "From", "To", "Cc", "Bcc", "Subject", "Date", "Reply-To", "Message-ID", "In-Reply-To", "References",
                                  "MIME-Version", "Content-Description", "Content-Disposition", "Content-ID", "Content-Type", "Content-Transfer-Encoding" }) {
    std::string lower = name;
    for (char& c : lower)
      c = static_cast<char>(std::tolower(c));
    message->add_header(lower, "7bit");
    expected += std::string(name) + ": 7bit\n";
  }
  message->set_header("#flags", "seen");
  message->add_header("security-generation-detail", "failed");
  message->set_header("x-c", "3");
  EXPECT_EQ(written(*message), expected + "Received: r1\nReceived: r2\nResent-From: c@x\nX-A: 2\nX-B: 1\nX-C: 3\n\nbody");
  EXPECT_EQ(written(*message, &body_part_t::generate_rfc822_headers).find("\n\n"), std::string::npos);
}

TEST(Generation, PutsMultipartsTogether) {
  struct { char const* headers; char const* body; char const* expected; } const rows[] = {
    { "X-Preamble: kept\n", "hello\n--b\n\none\n--b\n\ntwo\n--b--\nbye\n", "hello\n--b\n\none\n--b\n\ntwo\n--b--\n" },
    { "X-Closing-Delimiter: missing\n", "--b\n\none", "\n--b\n\none\n--b--\n" },
    { "X-Parts: none\n", "--b--\n", "\n--b--\n" },
    { "Content-Transfer-Encoding: base64\n", "--b\n\none\n--b--\n", "\n--b\n\none\n--b--\n" },
  };
  for (auto const& row : rows) {
    auto const message = message_of(test::leaf("multipart/mixed; boundary=b", row.body, row.headers));
    message->set_header("x-set", "y");
    EXPECT_EQ(written(*message, &body_part_t::generate_rfc822_body), row.expected) << row.headers;
    message->set_header("#mime-preamble", unset_string);
    message->clear_subparts();
    EXPECT_EQ(written(*message, &body_part_t::generate_rfc822_body), "\n--b--\n") << row.headers;
  }
  // Inside, a container that was encoded is written decoded once it changes.
  auto const encoded = message_of("Content-Type: multipart/mixed; boundary=a\n\n--a\nContent-Type: multipart/mixed; boundary=b\n"
                                  "Content-Transfer-Encoding: base64\n\nCi0tYgoKb25lCi0tYi0tCg==\n--a--\n");
  encoded->subpart(0).subpart(0).set_header("x-set", "y");
  EXPECT_EQ(written(*encoded), "Content-Type: multipart/mixed; boundary=a\n\n\n--a\nContent-Type: multipart/mixed; boundary=b\n\n"
                               "\n--b\nX-Set: y\n\none\n--b--\n\n--a--\n");
}

// Headers are written in UTF-8 and hint at nothing else any more.
TEST(Generation, RewritesTextThatWasReadByAHint) {
  std::string const text = "\n\xF0\xD2\xC9\n", hint = "Subject: =?koi8-r?q?=F0?=\n";
  for (std::string const& source : { hint + text, hint + "Content-Type: text/plain; charset=us-ascii\n" + text, hint + test::multipart("mixed", { text, test::leaf("text/plain; charset=utf-8", "x") }),
                                     hint + test::leaf("message/rfc822", "From: a@b\n" + text) }) {
    auto const message = message_of(source);
    message->set_header("x-new", "1");
    EXPECT_EQ(describe(*read_again(*message)), describe(*message_of(source))) << source;
    EXPECT_NE(written(*message).find("\u041F\u0440\u0438"), std::string::npos) << source;
  }
}

TEST(Generation, GivesANewBoundaryWhereTheContentHoldsTheOldOne) {
  struct { char const* name; std::string boundary, text; bool is_kept; } const rows[] = {
    { "other lines", "b", "a--b\n--bc\n -- b\n", true },
    { "delimiter line", "b", "a\n--b\nContent-Type: text/html\n\nforged", false },
    { "closing delimiter", "b", "--b--\nforged", false },
    { "blanks behind, which are encoded", "b", "--b-- \t\nforged", true },
    { "no boundary", "", "a", false },
    { "8-bit", "\u00FC", "a", false },
  };
  for (auto const& row : rows) {
    auto const message = message_of("Content-Type: multipart/mixed; boundary=\"" + row.boundary + "\"; x=y\n\n--" + row.boundary + "\n\none\n--" + row.boundary + "--\n");
    std::string const& text = row.text;
    message->insert_subpart(1, "text", "plain", unset_string, text.data(), text.data() + text.size(), false);
    auto const again = read_again(*message);
    ASSERT_EQ(again->num_subparts(), message->num_subparts()) << row.name;
    std::size_t const last = again->num_subparts() - 1;
    EXPECT_EQ(again->subpart(last).decoded_body(), message->subpart(last).decoded_body()) << row.name;
    EXPECT_EQ(again->get_header("content-type.parameter.split.boundary", "") == row.boundary, row.is_kept) << row.name;
    EXPECT_NE(again->get_header("content-type", "").find("x=y"), std::string::npos) << row.name;
  }
  // Only the outer one of two equal boundaries is in the way.
  auto const nested = message_of("Content-Type: multipart/mixed; boundary=a\n\n--a\nContent-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b--\n--a--\n");
  nested->set_header("content-type", "multipart/mixed; boundary=b");
  EXPECT_EQ(describe(*read_again(*nested)), "multipart/mixed[multipart/mixed[text/plain(3)]]");
  // A body may be copied only under a header that can name its delimiter lines.
  for (std::string const boundary : { "\u00FC", "a\tb" }) {
    auto const copied = message_of("Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\n\n--" + boundary + "\n\none\n--" + boundary + "\n\ntwo\n--" + boundary + "--\n");
    std::vector<char> entity;
    copied->generate_rfc822_body_with_headers(std::back_inserter(entity));
    EXPECT_EQ(describe(*message_of({ entity.begin(), entity.end() })), "multipart/mixed[text/plain(3) text/plain(3)]") << boundary;
  }
}

TEST(Generation, NoticesChangesFarBelow) {
  auto const message = message_of("Content-Type: multipart/mixed; boundary=a\n\n--a\nContent-Type: message/rfc822\n\nSubject: in\n\nbody\n--a\n\nkept \n--a--\nend\n");
  message->subpart(0).subpart(0).set_header("subject", "out");
  EXPECT_TRUE(message->can_be_written());
  EXPECT_EQ(written(*message), "Content-Type: multipart/mixed; boundary=a\n\n\n--a\nContent-Type: message/rfc822\n\nSubject: out\n\nbody\n--a\n\nkept \n--a--\n");
  message->generate_rfc822();
  EXPECT_FALSE(message->has_changed());
  EXPECT_EQ(message->subpart(0).subpart(0).get_header("subject", ""), "out");
  message->subpart(1).generate_rfc822();
  EXPECT_EQ(message->subpart(1).parent(), message.get());
}

TEST(Generation, DropsBodiesThatItCannotMake) {
  for (char const* const subtype : { "partial", "rfc822" }) {
    std::string const text = "Subject: s\n\nbody";
    body_part_t part;
    part.set_body("message", subtype, unset_string, text.data(), text.data() + text.size(), false);
    part.clear_subparts();
    EXPECT_EQ(written(part, &body_part_t::generate_rfc822_body), "") << subtype;
  }
  body_part_t unfilled;
  unfilled.add_header("subject", "s");
  EXPECT_EQ(written(unfilled), "Subject: s\n\n");
}

TEST(Generation, WritesTheEntityToSign) {
  auto const message = message_of("Subject: s\nContent-Disposition: inline\nContent-Type: text/plain;\n charset=us-ascii\nContent-Transfer-Encoding: 7bit\n\nbody \n");
  std::string const expected = "Content-Type: text/plain; charset=us-ascii\nContent-Transfer-Encoding: 7bit\nContent-Disposition: inline\n\nbody \n";
  EXPECT_EQ(written(*message, &body_part_t::generate_rfc822_body_with_headers), expected);
  message->set_header("subject", "t");
  EXPECT_EQ(written(*message, &body_part_t::generate_rfc822_body_with_headers), expected);
  auto const parts = message_of("Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b--\nend");
  EXPECT_EQ(written(*parts, &body_part_t::generate_rfc822_body_with_headers), parts->raw_data());
}

TEST(Generation, ReplacesTheNewestResending) {
  std::string const rest = "Received: r\nResent-To: first@x\nSubject: =?utf-8?q?s?=\nX-Long: as\n it came\n\nbody \n";
  for (std::string const before : { "", "Resent-To: old@x\nResent-Bcc: hidden@x\nResent-From: o@x\n", "Resent-From: o@x\nResent-To: old@x,\n\tolder@x\n" }) {
    auto const message = message_of(before + rest);
    EXPECT_EQ(written(*message), before + rest);
    for (auto const& [name, value] : { std::pair("from", "me@x"), std::pair("to", "you@x"), std::pair("message-id", "<i@x>"),
                                       std::pair("bcc", unset_string.c_str()), std::pair("date", "Mon, 01 Jan 2024 00:00:00 +0000") })
      message->set_header(std::string("resent-") + name, value);
    EXPECT_EQ(written(*message), "Resent-From: me@x\nResent-To: you@x\nResent-Date: Mon, 01 Jan 2024 00:00:00 +0000\nResent-Message-Id: <i@x>\n" + rest) << before;
    message->touch(1704067200);
    EXPECT_NE(written(*message).find("\nResent-Date: Mon, 01 Jan 2024 "), std::string::npos) << before;
    EXPECT_TRUE(written(*message).ends_with(rest)) << before;
  }
}

TEST(Generation, DatesMessages) {
  body_part_t draft;
  draft.set_header("from", "a@x.example");
  draft.touch(1704067200);
  std::string const date = draft.get_header("date", ""), id = draft.get_header("message-id", "");
  EXPECT_TRUE(date.starts_with("Mon, 01 Jan 2024 ") || date.starts_with("Sun, 31 Dec 2023 ")) << date;
  EXPECT_EQ(date.find_last_of("+-"), date.size() - 5) << date;
  for (char const* const name : { "date", "#date", "#date-received", "#date-sent", "message-id" })
    EXPECT_TRUE(draft.did_update_header(name)) << name;
  EXPECT_TRUE(id.ends_with("@x.example>") && id.size() == 1u + 36 + std::string_view("@x.example>").size()) << id;
  draft.generate_message_id(/*force*/ false);
  EXPECT_EQ(draft.get_header("message-id", ""), id);
  draft.touch(0);
  EXPECT_NE(draft.get_header("message-id", ""), id) << "each stamping has its own";

  for (std::string const appointed : { "Fri, 01 Jan 2100 00:00:00 +0000", "no date" }) {
    draft.set_header("date", appointed);
    draft.touch(0);
    EXPECT_EQ(draft.get_header("date", "") == appointed, appointed != "no date") << "an appointed date is kept";
  }
}

TEST(Generation, KeepsTheEncodingOfMultipartsTrue) {
  auto const message = message_of(multipart("mixed", { multipart("mixed", { "\none" }) }));
  body_part_t& leaf = message->subpart(0).subpart(0);
  leaf.set_header("content-transfer-encoding", "8bit");
  leaf.update_mime_encoding();
  EXPECT_FALSE(message->exists_header("content-transfer-encoding"));
  for (char const* const encoding : { "8bit", "" }) {
    leaf.set_header("content-transfer-encoding", encoding);
    message->subpart(0).update_mime_encoding();
    for (body_part_t* const part : { &message->subpart(0), message.get() })
      EXPECT_EQ(part->get_header("content-transfer-encoding", ""), encoding);
  }
}

TEST(Generation, AddsAPreamblePartOnce) {
  body_part_t draft;
  draft.set_body("multipart", "mixed", "x=y", nullptr, nullptr, false);
  for (int i = 0; i < 2; ++i)
    draft.insert_mime_preamble_body_part();
  EXPECT_EQ(describe(draft), "multipart/mixed[text/plain(0)]");
  EXPECT_EQ(draft.subpart(0).parent(), &draft);
  auto const parsed = message_of(multipart("mixed", { "\none" }));
  parsed->insert_mime_preamble_body_part();
  EXPECT_EQ(describe(*parsed), "multipart/mixed[text/plain(3) text/plain(0)]");
}

TEST(Generation, GroupsMarkdownByItsReferences) {
  struct { char const* subtype; std::string text; bool has_images; char const* expected; } const rows[] = {
    { "mixed", "![](cid:a@x) ![](cid:b@x)", true, "multipart/related" },
    { "mixed", "![](cid:a@x)", true, "multipart/mixed" },
    { "related", "![](cid:b@x)", true, "multipart/mixed" },
    { "related", "![](cid:a@x) ![](cid:b@x)", true, "multipart/related" },
    { "mixed", "nothing attached", false, "multipart/related" },
    { "alternative", "nothing attached", false, "multipart/alternative" },
  };
  for (auto const& [subtype, text, has_images, expected] : rows) {
    body_part_t draft;
    draft.set_body("multipart", subtype, unset_string, nullptr, nullptr, false);
    draft.insert_subpart(0, "text", "plain", "markup=markdown", text.data(), text.data() + text.size(), false);
    for (std::size_t i = 1; has_images && i < 3; ++i)
      draft.insert_subpart(i, "image", "png", unset_string, "a", "a", false).set_header("content-id", i == 1 ? "<a@x>" : "<b@x>");
    EXPECT_EQ(read_again(draft)->mime_type(), expected) << subtype << ": " << text;
  }
}

TEST(Generation, NoValueAddsALine) {
  auto const hostile = message_of("Subject: =?utf-8?q?a=0D=0AX-Evil:_1=0A=0Abody?=\nTo: =?utf-8?b?YQ0KWC1FdmlsOiAxDQo=?= <a@x>\nContent-Type: text/plain; name*=utf-8''a%0aX-Evil:%201\n\nbody");
  hostile->set_header("x-set", "b\r\nX-Evil: 1\n\nbody");
  hostile->set_header("x-nul", std::string("a\0\nX-Evil: 1", 12));
  hostile->set_header("x-name\nX-Evil", "1");
  hostile->set_header("in-reply-to", "<a>\n\n--b\nX-Evil: 1");
  std::string const text = written(*hostile);
  EXPECT_EQ(text.find("\nX-Evil"), std::string::npos) << text;
  EXPECT_TRUE(text.ends_with("\n\nbody")) << text;
  EXPECT_EQ(text.find("\n\n"), text.size() - 6) << text;
  EXPECT_EQ(message_of(text)->headers().size(), 7u) << text;  // with "#date-received"

  body_part_t draft;
  draft.set_text_body("text", unset_string, unset_string, false);
  draft.add_attachment("bytes", "a\"\r\nX-Evil: 1\r\n\r\n--b", "application/x");
  draft.set_header("content-type", "multipart/mixed; boundary=\"b\r\nX-Evil: 1\"");
  EXPECT_EQ(written(draft).find("\nX-Evil"), std::string::npos) << written(draft);
  EXPECT_EQ(message_of(written(draft))->num_subparts(), 2u) << written(draft);
}

TEST(GenerationDeathTest, SealedPartsHaveTwoChildren) {
  for (std::string const subtype : { "signed", "encrypted" }) {
    for (std::size_t const count : { 0u, 1u, 2u, 3u }) {
      std::string const sealed = multipart(subtype, std::vector<std::string>(count, "\nx"));
      auto const message = message_of(multipart("mixed", { sealed }));
      EXPECT_TRUE(message->can_be_written()) << "as it came";
      EXPECT_EQ(written(*message), message->raw_data());
      message->subpart(0).set_header("x-set", "y");
      EXPECT_EQ(message->can_be_written(), count == 2);
      if (count != 2) {
        EXPECT_DEATH(written(*message), "Fatal: Unexpected number of bodyparts \\(" + std::to_string(count) + "\\) when generating for multipart/" + subtype + "\\.\n");
      }
    }
  }
}

}  // namespace
}  // namespace kel
