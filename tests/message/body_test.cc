#include <gtest/gtest.h>

#include <kelmime/body.h>
#include <kelmime/field_path.h>
#include <kelmime/mime.h>
#include <helpers/messages.h>

namespace kel {
namespace {

using test::message_of;
using test::records;

TEST(BodyPart, ReadsAnEmptyMessage) {
  auto const message = message_of("");
  EXPECT_EQ(message->headers().size(), 1u);
  EXPECT_EQ(message->get_header("#date-received", "").size(), std::string("2024-01-01 00:00:00").size());
  EXPECT_EQ(message->mime_type(), "text/plain");
  EXPECT_EQ(message->decoded_body(), "");
  EXPECT_TRUE(records(*message).empty());
  EXPECT_FALSE(parse_body("", "")->exists_header("#date-received"));
}

TEST(BodyPart, ChecksTheMimeVersion) {
  struct { char const* value; std::string context; } const rows[] = {
    { "1.0", "" }, { "1.0 (produced by (a) mailer)", "" }, { "(x) 1.0", "" }, { "1. 0", "" }, { "+1.(x)+0", "" },
    { "2.0", "2.0" }, { "1.1", "1.1" }, { "1", "1.-1" }, { "1 .0", "1.-1" }, { "unknown", "-1.-1" }, { "99999999999999999999.0", "-1.-1" },
  };
  std::string const description = "Unknown MIME version. Trying to handle it as version 1.0\n";
  for (auto const& row : rows) {
    auto const message = message_of("MIME-Version: " + std::string(row.value) + "\n\n");
    ASSERT_EQ(records(*message), std::vector<std::string>(row.context.empty() ? 0 : 1, description)) << row.value;
    EXPECT_EQ(row.context.empty() ? "" : message->errors().records()[0].at("context"), row.context) << row.value;
  }
}

TEST(BodyPart, RecordsEachReadOfARepeatedHeader) {
  auto const message = message_of("Subject: one\nSubject: Two\n\n");
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(message->get_header("subject", ""), "one");
  mime_error_t const expected = { { "header", "subject" }, { "context", "one, Two" },
                                  { "description", "Multiple values found for header part expected to be unique" } };
  EXPECT_EQ(message->errors().records(), (std::vector{ expected, expected }));
  std::vector<std::string> values;
  EXPECT_TRUE(message->get_header_bodies({ "subject#lc" }, values));
  EXPECT_FALSE(message->get_header_bodies({ "comments" }, values));
  EXPECT_EQ(values, (std::vector<std::string>{ "one", "two" }));
  EXPECT_EQ(message->get_header_lowercased("comments", unset_string), unset_string);
}

TEST(BodyPart, SetsHeaders) {
  auto const message = message_of("Subject: one\nX-A: 1\nX-A: 2\n\nbody\n");
  message->set_header("#root-body-part", "1");
  EXPECT_FALSE(message->has_changed());
  for (char const* const name : { "##tags", "#flags", "#parse-error" })
    message->set_header(name, "");
  EXPECT_FALSE(message->did_update_header("##tags") || message->exists_header("#parse-error"));
  EXPECT_TRUE(message->exists_header("##tags") && message->exists_header("#flags"));
  EXPECT_TRUE(message->has_changed()) << "#flags";
  message->set_header("resent-date", "now");
  EXPECT_FALSE(message->raw_data().empty());

  message->set_header("x-a", "3");
  EXPECT_EQ(message->headers().count("x-a"), 1u);
  EXPECT_TRUE(message->raw_data().empty());
  message->set_header("subject", "");
  message->set_header("x-a", unset_string);
  EXPECT_FALSE(message->exists_header("subject") || message->exists_header("x-a"));
  EXPECT_TRUE(message->did_update_header("x-a"));

  // Name and value may be those of the header that goes.
  auto const own = message_of("X-A: 1\nX-A: a value that is not short\n\n");
  auto const last = std::prev(own->headers().upper_bound("x-a"));
  own->set_header(last->first, last->second);
  EXPECT_EQ(own->headers().count("x-a"), 1u);
  EXPECT_EQ(own->get_header("x-a", ""), "a value that is not short");
  EXPECT_TRUE(own->did_update_header("x-a"));
}

// Whoever changes a header keeps the content: it was unfolded before the raw bytes went.
TEST(BodyPart, KeepsContentWhenAHeaderIsSet) {
  auto const leaf = message_of("Content-Type: application/x\n\nbytes");
  auto const tree = message_of("X-Mailer: koi8-r\n" + test::multipart("mixed", { "\n\xC1" }));
  for (auto const& message : { leaf, tree })
    message->set_header("subject", "new");
  EXPECT_EQ(leaf->decoded_body(), "bytes");
  EXPECT_EQ(leaf->get_guessed_charset(), "");
  EXPECT_EQ(test::describe(*tree), "multipart/mixed[text/plain(2)]");
  EXPECT_EQ(tree->subpart(0).raw_data(), "\n\xC1");
  EXPECT_EQ(tree->subpart(0).decoded_body(), "\xD0\xB0");
}

TEST(BodyPart, IsReadAnew) {
  std::string const first = test::multipart("mixed", { "\none" }, "Content-Description: d\n"), second = "Subject: two\n\ntext";
  body_part_t part;
  part.init(first.data(), first.data() + first.size());
  EXPECT_EQ(part.num_subparts(), 1u);
  part.init(second.data(), second.data() + second.size());
  EXPECT_EQ(test::describe(part), "text/plain(4)");
  EXPECT_EQ(part.get_description(), "Attachment.txt");
  EXPECT_TRUE(part.is_format_fixed() && !message_of("Content-Type: text/plain; format=Flowed\n\n")->is_format_fixed());
  testing::internal::CaptureStdout();
  part.print_raw_data(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), second);
  EXPECT_EQ(part.num_errors(), 0u);
}

// What is asked often is answered from one reading of the header; the answers must be those of the field paths.
TEST(BodyPart, AnswersQuicklyWhatThePathsAnswer) {
  for (std::string const header : { "content-type", "content-disposition" }) {
    for (char const* const value : {
             "text/html; charset=utf-8", "text", "multipart/mixed; boundary=\"a b\"; boundary=c", "; charset=x", "\"text/plain\"",
             "attachment; filename=a/b", "text/plain; charset='utf-8'; format=\"\"", "text/plain; name*0=a; name*1=b",
             "(c) text / (d) plain (e)", "inline; filename*=utf-8''%e2%82%ac; filename=x", "x y z; micalg; protocol=",
             "image/png name=x.png; delsp=YES; markup=markdown" }) {
      auto const part = message_of(header + ": " + value + "\n\n");
      for (char const* const component : { ".type", ".subtype", ".parameter.split.boundary", ".parameter.split.charset",
                                           ".parameter.split.format", ".parameter.split.name", ".parameter.split.filename",
                                           ".parameter.split.delsp", ".parameter.split.micalg", ".parameter.split.none" }) {
        std::string const path = header + component;
        EXPECT_EQ(part->get_header(path, "none"), part->get_header(string_to_field_path(path), "none")) << path << value;
      }
    }
  }
}

TEST(BodyPart, ReadsIntegers) {
  auto const message = message_of("X-A: 12\nX-B: 1a\n\n");
  message->add_header("#imap-keywords", "");
  EXPECT_EQ(message->get_integer("x-a", 5), 12);
  EXPECT_EQ(message->get_integer("x-c", 5), 5);
  EXPECT_EQ(message->get_integer("#imap-keywords", 5), 0);
  EXPECT_DEATH(message->get_integer("x-b", 5), "Fatal: Misuse of integer methods \\(x-b: 1a\\)\\.\n");
}

TEST(BodyPart, AbortsOnMisuse) {
  auto const message = message_of("\n");
  EXPECT_DEATH(message->subpart(0), "Fatal: Subpart 0/0 does not exist\n");
  EXPECT_DEATH(message->get_id(), "unique_id == -1\n");
  EXPECT_DEATH(body_part_t().decode_body(), "\\(nil\\),\\(nil\\),\\(nil\\)\n");
}

TEST(BodyPart, FindsDeliveryAddresses) {
  auto const message = message_of("Received: from a by b for <me@x>; Mon, 1 Jan 2024 10:00:00 +0000\n"
      "Delivered-To: box@x\n"
      "Received: from a by b for <other@x>; Mon, 1 Jan 2024 10:00:00 +0000\n"
      "X-Original-To: Alias <alias@x>\nEnvelope-To: env@x\nX-Delivered-To: deliv@x\nTo: list@y\n\n");
  EXPECT_EQ(message->get_delivery_headers({ "me@x" }), (std::vector<std::string>{ "me@x", "box@x", "alias@x", "env@x", "deliv@x" }));
}

TEST(BodyPart, ReadsTheNewestResendingOnly) {
  auto const message = message_of("Resent-From: a@x\nResent-Bcc: d@x\nResent-To: b@x, B <c@x>\nReceived: x\nResent-To: old@x\n\n");
  std::vector<std::string> recipients;
  message->get_resent_recipients(recipients);
  EXPECT_EQ(recipients, (std::vector<std::string>{ "b@x", "B <c@x>", "d@x" }));
  EXPECT_TRUE(message->is_resent());

  auto const folded = message_of("Resent-To: a@x,\n b@x\nResent-Cc: c@x\n\n"), none = message_of("To: a@x\n\n");
  EXPECT_EQ(std::string(folded->raw_data().data(), folded->resent_end()), "Resent-To: a@x,\n") << "a folded line ends it";
  EXPECT_EQ(none->resent_end(), none->raw_data().data());
}

TEST(BodyPart, NamesFiles) {
  struct { char const* name; char const* headers; char const* filename; char const* suggested; } const rows[] = {
    { "path is cut", "Content-Type: application/pdf\nContent-Disposition: attachment; filename=\"../x/report\"", "report", "report.pdf" },
    { "two dots after the cut", "Content-Disposition: attachment; filename=\"a/..\"", "", "Attachment.txt" },
    { "windows path", "Content-Disposition: attachment; filename=\"C:\\\\My Docs\\\\a.doc\"", "a.doc", "a.doc" },
    { "content type's name", "Content-Type: image/jpeg; name=photo.jpeg", "photo.jpeg", "photo.jpeg" },
    { "disposition wins", "Content-Type: image/png; name=a\nContent-Disposition: inline; filename=b.png", "b.png", "b.png" },
    { "description", "Content-Description: The plan\nContent-Type: text/calendar", "", "The plan.ics" },
    { "nothing at all", "Content-Type: audio/mpeg", "", "Attachment.mp3" },
    { "no extension known", "Content-Type: application/octet-stream", "", "Attachment" },
    { "RFC 2231", "Content-Disposition: x; filename*0*=utf-8''%e2%82%ac; filename*1=\" a.txt\"", "\u20AC a.txt", "\u20AC a.txt" },
    { "encoded word", "Content-Disposition: x; filename=\"=?utf-8?q?f=C3=BCr.txt?=\"", "f\u00FCr.txt", "f\u00FCr.txt" },
  };
  for (auto const& row : rows) {
    auto const part = message_of(std::string(row.headers) + "\n\n");
    EXPECT_EQ(part->get_filename(), row.filename) << row.name;
    EXPECT_EQ(part->get_suggested_filename(), row.suggested) << row.name;
  }
}

TEST(BodyPart, GuessesTheCharsetFromItsOwnHeadersThenItsParents) {
  auto const message = message_of(test::multipart("mixed", { "X-Info: Windows-1251\n\na", "\nb" }, "X-Mailer: uses KOI8-R\n"));
  EXPECT_EQ(message->subpart(0).get_guessed_charset(), "windows-1251");
  EXPECT_EQ(message->subpart(1).get_guessed_charset(), "koi8-r");
}

TEST(BodyPart, CopiesKeepTheBytesTheyLookAt) {
  std::string const encoded = "U3ViamVjdDogaW5uZXIKCmhlbGxvCg==", inner = "Subject: inner\n\nhello\n";
  auto original = message_of(test::multipart("mixed", { test::leaf("message/rfc822", encoded, "Content-Transfer-Encoding: base64\n") }));
  body_part_t copy = original->subpart(0).subpart(0), whole = *original;
  whole.detach();
  copy.detach();
  EXPECT_EQ(whole.subpart(0).subpart(0).parent(), &whole.subpart(0));
  original->subpart(0).set_header("subject", "x");
  original.reset();
  EXPECT_EQ(copy.raw_data(), inner);
  EXPECT_EQ(copy.get_header("subject", ""), "inner");
  EXPECT_EQ(whole.subpart(0).subpart(0).decoded_body(), "hello\n");
}

TEST(BodyPart, ListsErrorsOfTheWholeTree) {
  std::string const bad = test::leaf("text/plain", "x", "Content-Transfer-Encoding: foo\n");
  auto const message = message_of(test::multipart("mixed", { test::multipart("mixed", { "\nfine", bad }) }));
  for (std::string const root : { "", "7" }) {
    std::vector<mime_error_t> errors;
    message->get_errors(root.empty() ? mime_error_t() : mime_error_t{ { "message", root } }, errors);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].at("message"), root + ".1.2");
    EXPECT_EQ(errors[0].at("content-type"), "text/plain");
    EXPECT_EQ(errors[0].at("content-transfer-encoding"), "foo");
  }
  EXPECT_EQ(message->num_errors(), 1u);
  EXPECT_EQ(message->num_root_errors(), 0u);
}

TEST(BodyPart, DumpsItsState) {
  auto const leaf = message_of("Subject: a\nX-A: 1\nX-A: 2\nContent-Transfer-Encoding: base64\n\naGk=\n");
  leaf->set_header("#date-received", unset_string);
  auto const tree = message_of(test::multipart("mixed", { "\none" }));
  testing::internal::CaptureStderr();
  leaf->dump(true, 2);
  tree->dump(true, 0);
  std::string const text = testing::internal::GetCapturedStderr();
  for (std::string const& expected : { std::string("  Unique ID: -1 ("), std::string("  Has changed: 1\n  Headers (4):\n"),
                                       "\n" + std::string(6 + 27, ' ') + "x-a: \"1\"\n, \"2\"\n",
                                       std::string("  Body:\n      aGk=\n  Decoded size: 2\n  Decoded body:\n      hi\n  Number of subparts: 0\n"),
                                       std::string("\nNumber of subparts: 1\nSubpart number 1:\n    Unique ID: -1 ("), std::string("    Parent: 0x") })
    EXPECT_NE(text.find(expected), std::string::npos) << expected << text;
  EXPECT_TRUE(text.ends_with("    Number of subparts: 0\n\n")) << text;
}

TEST(Mime, MapsTypesAndExtensions) {
  EXPECT_EQ(mime::extension_for_mime_type("IMAGE/jpeg"), "jpg");
  EXPECT_EQ(mime::extension_for_mime_type("application/octet-stream"), "");
  EXPECT_EQ(mime::mime_type_for_extension("MOV"), "video/quicktime");
  EXPECT_EQ(mime::mime_type_for_extension("dat"), "");
  EXPECT_EQ(mime::mime_type_for_filepath("/a.b/mail.EML"), "message/rfc822");
  EXPECT_EQ(mime::mime_type_for_filepath("/a.txt/none"), "application/octet-stream");
}

}  // namespace
}  // namespace kel
