// Filling drafts.
#include <gtest/gtest.h>

#include <kel/preferences.h>
#include <kelmime/application.h>
#include <helpers/messages.h>
#include <helpers/surroundings.h>

namespace kel {
namespace {

using test::describe;
using test::leaf;
using test::message_of;
using test::multipart;
using test::read_again;

void set_body(body_part_t& part, std::string const& type, std::string const& subtype, std::string const& text, bool flow,
              std::string const& parameters = unset_string) {
  part.set_body(type, subtype, parameters, text.data(), text.data() + text.size(), flow);
}

TEST(Content, ChoosesTypeAndEncoding) {
  std::string const long_line = std::string(50, 'a') + " " + std::string(49, 'b') + "\n";
  std::string const none = unset_string;
  struct { char const* name; std::string type, subtype, text; bool flow, is_signed; std::string parameters, content_type, encoding; } const rows[] = {
    { "ASCII", "text", "plain", "Hello\n", true, false, none, none, none },
    { "ASCII with a parameter", "text", "plain", "Hello\n", true, false, "name=a", "text/plain; name=a", none },
    { "UTF-8", "text", "plain", "Gr\xc3\xbc\xc3\x9f" "e\n", true, false, none, "text/plain; charset=utf-8", "8bit" },
    { "HTML", "text", "html", "<p>", true, false, none, "text/html", none },
    { "long line, flowed", "text", "plain", long_line, true, false, none, "text/plain; format=flowed", none },
    { "long line in UTF-8", "text", "plain", "\xc3\xbc" + long_line, true, false, none, "text/plain; charset=utf-8; format=flowed", "8bit" },
    { "word longer than a line", "text", "plain", std::string(2000, 'a'), true, false, none, none, "quoted-printable" },
    { "HTML in one line", "text", "html", std::string(2000, '\xc3'), false, false, none, "text/html; charset=utf-8", "quoted-printable" },
    { "long line, fixed", "text", "plain", long_line, false, false, none, none, "quoted-printable" },
    { "long line of HTML", "text", "html", long_line, true, false, none, "text/html", "quoted-printable" },
    { "long line, signed", "text", "plain", long_line, true, true, none, none, "quoted-printable" },
    { "blanks at line ends", "text", "plain", "a \n", true, false, none, none, "quoted-printable" },
    { "signature line", "text", "plain", "a\n-- \nb\n", true, false, none, none, none },
    { "signature line, fixed", "text", "plain", "a\n-- \nb\n", false, false, none, none, "quoted-printable" },
    { "blanks, signed", "text", "plain", "a \nb", true, true, none, none, "quoted-printable" },
    { "tab at the end, signed", "text", "plain", "a\t", true, true, none, none, "quoted-printable" },
    { "control bytes", "text", "plain", "\x01\x02\x03\x04", true, false, none, none, "base64" },
    { "image", "image", "png", "a", true, false, none, "image/png", "base64" },
    { "data", "application", "pdf", "a", true, false, "name=a", "application/pdf; name=a", "base64" },
    { "signature", "application", "pgp-signature", "a", true, false, none, "application/pgp-signature", none },
    { "8-bit message", "message", "rfc822", "Subject: \xc3\xbc\n\n", true, false, none, "message/rfc822", "8bit" },
    { "message", "message", "rfc822", "Subject: a\n\n\x01", true, false, none, "message/rfc822", none },
  };
  for (auto const& row : rows) {
    body_part_t root;
    if (row.is_signed)
      root.set_text_body("", unset_string, unset_string, /*is_signed*/ true);
    else
      set_body(root, "multipart", "mixed", "", false);
    body_part_t& part = row.is_signed ? root : root.push_body_part();
    set_body(part, row.type, row.subtype, row.text, row.flow, row.parameters);
    EXPECT_EQ(part.get_header("content-type", unset_string), row.content_type) << row.name;
    EXPECT_EQ(part.get_header("content-transfer-encoding", unset_string), row.encoding) << row.name;
    if (!row.is_signed) {
      EXPECT_EQ(root.get_header("content-transfer-encoding", unset_string), row.encoding == "8bit" ? "8bit" : unset_string) << row.name;
      EXPECT_FALSE(part.exists_header("mime-version") || part.exists_header("date") || part.exists_header("message-id")) << row.name;
    }
    EXPECT_TRUE(part.has_changed()) << row.name;
    EXPECT_EQ(part.decoded_body(), row.text) << row.name;
  }
}

TEST(Content, DependsOnTheParent) {
  struct { char const* type; char const* subtype; char const* text; char const* content_type; char const* encoding; } const rows[] = {
    { "multipart", "signed", "a", "text/plain", "" }, { "application", "pkcs7-mime", "a", "text/plain", "" },
    { "multipart", "encrypted", "a \n", "", "" }, { "multipart", "encrypted", "\xc3\xbc", "text/plain; charset=utf-8", "8bit" },
  };
  for (auto const& row : rows) {
    body_part_t root;
    set_body(root, row.type, row.subtype, "", false);
    body_part_t& part = root.push_body_part();
    set_body(part, "text", "plain", row.text, false);
    EXPECT_EQ(part.get_header("content-type", ""), row.content_type) << row.subtype;
    EXPECT_EQ(part.get_header("content-transfer-encoding", ""), row.encoding) << row.subtype;
  }
  // A container says 8bit as long as a child does.
  body_part_t root;
  set_body(root, "multipart", "mixed", "", false);
  struct { std::size_t child; char const* text; char const* label; } const steps[] = {
    { 0, "a", "" }, { 1, "\xc3\xbc", "8bit" }, { 2, "a", "8bit" }, { 1, "\xc3\xa4", "8bit" }, { 2, "\xc3\xbc", "8bit" }, { 1, "a", "8bit" }, { 2, "a", "" }, { 3, "a", "" } };
  for (auto const& [child, text, label] : steps) {
    set_body(child < root.num_subparts() ? root.subpart(child) : root.push_body_part(), "text", "plain", text, false);
    EXPECT_EQ(root.get_header("content-transfer-encoding", ""), label) << child << text;
  }
}

TEST(Content, MakesMessages) {
  body_part_t draft;
  set_body(draft, "multipart", "mixed", "For old readers.\n", false);
  std::string const boundary = draft.get_header("content-type.parameter.split.boundary", "");
  EXPECT_EQ(draft.get_header("content-type", ""), "multipart/mixed; boundary=\"" + boundary + "\"");
  EXPECT_TRUE(boundary.starts_with("=_Postwick_") && boundary.ends_with("_=") && boundary.size() == 11 + 36 + 2) << boundary;
  EXPECT_EQ(draft.get_header("#mime-preamble", ""), "For old readers.\n");
  EXPECT_TRUE(draft.get_header("mime-version", "") == "1.0" && draft.exists_header("date") && draft.exists_header("message-id") && !draft.exists_header("x-mailer"));
  set_application_version("2.1", "77");
  set_body(draft, "text", "plain", "a", false);
  set_application_version("", "");
  EXPECT_EQ(draft.get_header("x-mailer", ""), "Postwick (2.1r77)");

  draft.push_body_part();
  set_body(draft, "message", "rfc822", "Subject: in\n\nbody", false);
  EXPECT_EQ(describe(draft), "message/rfc822[text/plain(4)]") << "what was there is gone";
  EXPECT_TRUE(draft.subpart(0).get_header("subject", "") == "in" && draft.subpart(0).parent() == &draft);
  EXPECT_EQ(describe(*read_again(draft)), "message/rfc822[text/plain(4)]");
}

TEST(Content, ComposesTheShapesOfADraft) {
  using fill_t = void (*)(body_part_t&);
  struct { char const* name; fill_t fill; char const* shape; char const* text; } const rows[] = {
    { "text", [](body_part_t& d) { d.set_text_body("a", unset_string, unset_string, false); }, "text/plain(1)", "a" },
    { "HTML", [](body_part_t& d) { d.set_html_body("<p>"); }, "text/html(3)", "<p>" },
    { "both", [](body_part_t& d) { d.set_text_body("a", unset_string, "<p>", false); }, "multipart/alternative[text/plain(1) text/html(3)]", "a" },
    { "HTML beside text", [](body_part_t& d) { d.set_text_body("a", unset_string, unset_string, false); d.set_html_body("<p>"); },
      "multipart/alternative[text/plain(1) text/html(3)]", "a" },
    { "HTML instead of blank text", [](body_part_t& d) { d.set_text_body(" \n", unset_string, unset_string, false); d.set_html_body("<p>"); }, "text/html(3)", "<p>" },
    { "text beside HTML", [](body_part_t& d) { d.set_html_body("<p>"); d.set_text_body("ab", unset_string, "<b>x", false); },
      "multipart/alternative[text/plain(2) text/html(4)]", "ab" },
    { "HTML dropped", [](body_part_t& d) { d.set_text_body("a", unset_string, "<p>", false); d.set_text_body("ab", unset_string, unset_string, false); }, "text/plain(2)", "ab" },
    { "resources first", [](body_part_t& d) { d.add_related_part("a.png", "123"); d.add_related_part("b", "12"); d.set_text_body("a", unset_string, "<p>", false); },
      "multipart/alternative[text/plain(1) multipart/related[text/html(3) image/png(3) application/octet-stream(2)]]", "a" },
    { "resource replaced", [](body_part_t& d) { d.set_html_body("<p>"); d.add_related_part("a.png", "123"); d.add_related_part("a.png", "1"); d.set_html_body("<b>x"); },
      "multipart/related[text/html(4) image/png(1)]", "<b>x" },
    { "attachment alone", [](body_part_t& d) { d.add_attachment("12", "a.pdf", ""); }, "multipart/mixed[text/plain(0) application/pdf(2)]", "" },
    { "everything", [](body_part_t& d) {
        d.set_html_body("<p>"); d.add_related_part("a.png", "123"); d.add_attachment("12", "a.pdf", ""); d.add_attachment("Subject: s\r\n\r\nb\r\n", "", "message/rfc822");
        d.set_text_body("ab", unset_string, "<b>", false); },
      "multipart/mixed[multipart/alternative[text/plain(2) multipart/related[text/html(3) image/png(3)]] application/pdf(2) message/rfc822[text/plain(2)]]", "ab" },
    { "text changed under attachments", [](body_part_t& d) { d.set_text_body("a", unset_string, unset_string, false); d.add_attachment("1", "x", ""); d.set_text_body("ab", unset_string, unset_string, false); },
      "multipart/mixed[text/plain(2) application/octet-stream(1)]", "ab" },
    { "markdown", [](body_part_t& d) { d.set_text_body("*a*", "markdown", unset_string, false); d.add_attachment("1", "x", ""); d.set_text_body("*b*", "markdown", "<b>b</b>", false); },
      "multipart/mixed[multipart/alternative[text/plain(3) text/html(8)] application/octet-stream(1)]", "*b*" },
  };
  for (auto const& row : rows) {
    body_part_t draft;
    draft.set_header("date", "Fri, 1 Jan 2100 12:00:00 +0000");  // appointed; the message gets its identifier now
    row.fill(draft);
    auto const message = read_again(draft);
    EXPECT_EQ(describe(*message), row.shape) << row.name;
    for (body_part_t* const part : { message.get(), &draft })
      EXPECT_TRUE(part->text_body(false) == row.text && part->num_errors() == 0) << row.name << part->text_body(false);
    EXPECT_TRUE(message->get_header("date", "").starts_with("Fri, 1 Jan 2100") && message->exists_header("message-id")) << row.name;
    // A saved draft is opened and changed on.
    message->set_text_body("new", unset_string, "<i>new", false);
    message->add_attachment("new", "new.bin", "");
    auto const again = read_again(*message);
    EXPECT_EQ(again->text_body(false), "new") << row.name;
    EXPECT_EQ(again->attachment_at_index(again->number_of_attachments() - 1).decoded_body(), "new") << row.name;
    EXPECT_EQ(again->number_of_attachments(), std::string_view(row.shape).starts_with("multipart/mixed") ? draft.number_of_attachments() + 1 : 1) << row.name;
  }
}

// What a message from outside holds beside its text is not lost when the text is set.
TEST(Content, ChangesTheTextOfReceivedMessages) {
  std::string const plain = "\nold", html = leaf("text/html", "<p>"), pdf = leaf("application/pdf", "PDF"), png = leaf("image/png", "PNG");
  std::string const message = leaf("message/rfc822", "Subject: in\n\nin");
  struct { char const* name; std::string message; char const* as_text; char const* as_both; } const rows[] = {
    { "file", pdf, "mixed[plain application/pdf]", "mixed[alternative[plain html] application/pdf]" },
    { "attached text", "Content-Disposition: attachment; filename=a.txt\n\nfile", "mixed[plain plain]", "mixed[alternative[plain html] plain]" },
    { "message", message, "mixed[plain message/rfc822[plain]]", "mixed[alternative[plain html] message/rfc822[plain]]" },
    { "picture first", multipart("mixed", { png, plain }), "mixed[plain image/png plain]", "mixed[alternative[plain html] image/png plain]" },
    { "file among the HTML", multipart("alternative", { plain, multipart("mixed", { html, pdf, html }) }), "mixed[plain application/pdf]",
      "alternative[plain mixed[html application/pdf html]]" },
    { "invitation", multipart("alternative", { html, leaf("text/calendar", "C") }), "mixed[plain text/calendar]", "alternative[plain alternative[html text/calendar]]" },
    { "pictures in the HTML", multipart("alternative", { plain, multipart("related", { html, png }) }), "plain", "alternative[plain related[html image/png]]" },
    { "report", multipart("report", { plain, leaf("message/delivery-status", "A: b") }), "report[plain message/delivery-status]", "report[alternative[plain html] message/delivery-status]" },
    { "encrypted", multipart("encrypted", { pdf, pdf }), "mixed[plain encrypted[application/pdf application/pdf]]", "mixed[alternative[plain html] encrypted[application/pdf application/pdf]]" },
    { "nothing", multipart("mixed", {}), "mixed[plain]", "mixed[alternative[plain html]]" },
    { "groups of files", multipart("mixed", { multipart("related", { multipart("mixed", { pdf }), png }) }), "mixed[related[mixed[plain application/pdf] image/png]]",
      "mixed[related[mixed[alternative[plain html] application/pdf] image/png]]" },
    { "encoded container", "Content-Transfer-Encoding: base64\n" + multipart("report", { pdf }), "mixed[plain report[application/pdf]]", "mixed[alternative[plain html] report[application/pdf]]" },
  };
  auto const shape = [](body_part_t& part) {
    std::string text = describe(part);
    for (std::string const word : { "multipart/", "text/plain", "text/html" }) {
      for (std::size_t at; (at = text.find(word)) != text.npos;)
        text.replace(at, word.size(), word == "multipart/" ? "" : word.substr(5));
    }
    for (std::size_t open; (open = text.find('(')) != text.npos;)
      text.erase(open, text.find(')') + 1 - open);
    return text;
  };
  for (auto const& row : rows) {
    for (bool const has_html : { false, true }) {
      auto const received = message_of(row.message);
      received->set_text_body("new", unset_string, has_html ? "<i>new" : unset_string, false);
      EXPECT_EQ(received->text_body(false), "new") << row.name;
      auto const again = read_again(*received);
      EXPECT_EQ(shape(*again), has_html ? row.as_both : row.as_text) << row.name;
      EXPECT_EQ(again->text_body(false), "new") << row.name;
    }
  }
  body_part_t empty;
  set_body(empty, "multipart", "mixed", "", false);
  empty.add_attachment("PDF", "a.pdf", "");
  EXPECT_EQ(empty.number_of_attachments(), 1u);
}

// Arguments may stand in what is replaced.
TEST(Content, TakesItsOwnBytes) {
  auto const message = message_of("Content-Type: text/plain; charset=iso-8859-1\n\nGr\xfc\xdf" "e\n");
  std::string_view const own = message->decoded_body();
  message->set_body("text", "plain", unset_string, own.data(), own.data() + own.size(), false);
  EXPECT_EQ(message->decoded_body(), "Gr\xc3\xbc\xc3\x9f" "e\n");
  message->set_html_body("<p>");
  message->subpart(0).set_selected_string("selected");
  message->subpart(0).set_id(1);
  message->subpart(1).set_id(2);
  message->replace_with_string(message->subpart(0).get_selected_string());
  EXPECT_EQ(message->decoded_body(), "selected");
}

TEST(Content, KeepsRelatedPartsApart) {
  body_part_t draft;
  draft.set_html_body("<p>");
  std::set<std::string> ids;
  for (char const* const name : { "\xc3\xbc.png", "\xc3\xa4.png", "a b.png", "a_b.png", "a+20b.png", "" })
    ids.insert(draft.add_related_part(name, name));
  EXPECT_EQ(ids.size(), 6u);
  EXPECT_EQ(draft.num_subparts(), 7u);
  draft.delete_subpart_with_index(1);
  draft.set_html_body("<b>");
  EXPECT_EQ(draft.num_subparts(), 6u) << "what was deleted stays so";
  auto const again = read_again(draft);
  for (char const* const name : { "a b.png", "new", "a_b.png", "new" })
    again->add_related_part(name, name);
  EXPECT_EQ(again->num_subparts(), 7u) << "only one of them is new";
  auto const message = message_of(multipart("alternative", { "\ntext", multipart("signed", { leaf("text/html", "<p>"), leaf("image/gif", "s") }) }));
  for (char const* const name : { "a.png", "b.png" })
    message->add_related_part(name, name);
  EXPECT_EQ(describe(message->subpart(1)), "multipart/signed[multipart/related[text/html(3) image/png(5) image/png(5)] image/gif(1)]");
}

TEST(Content, DescribesAttachments) {
  struct { char const* name; std::string file, type, bytes, content_type, disposition; } const rows[] = {
    { "type by name", "a.jpg", "", "x", "image/jpeg; name=a.jpg", "attachment; filename=a.jpg" },
    { "path", "/home/x/My \"best\" file.PDF", "", "x", "application/pdf; name=\"My \\\"best\\\" file.PDF\"", "attachment; filename=\"My \\\"best\\\" file.PDF\"" },
    { "Windows path", "C:\\x\\a.txt", "", "x", "text/plain; name=a.txt", "attachment; filename=a.txt" },
    { "UTF-8 text", "a.txt", "", "\xc3\xbc", "text/plain; charset=utf-8; name=a.txt", "attachment; filename=a.txt" },
    { "other text", "a.txt", "", "\xfc", "application/octet-stream; name=a.txt", "attachment; filename=a.txt" },
    { "line ends of its own", "a.csv", "text/csv", "a\r\nb\r", "text/csv; name=a.csv", "attachment; filename=a.csv" },
    { "no multipart", "a", "multipart/mixed", "x", "application/octet-stream; name=a", "attachment; filename=a" },
    { "no report", "a", "message/delivery-status", "x", "application/octet-stream; name=a", "attachment; filename=a" },
    { "no type", "a", "nonsense", "x", "application/octet-stream; name=a", "attachment; filename=a" },
    { "hostile type", "", "a/b\r\nX: y", "x", "application/octet-stream", "attachment" },
    { "UTF-8 name", "\xc3\xbc.bin", "", "x", "application/octet-stream; name=\"\xc3\xbc.bin\"", "attachment; filename=\"\xc3\xbc.bin\"" },
  };
  for (auto const& row : rows) {
    body_part_t draft;
    body_part_t& part = draft.add_attachment(row.bytes, row.file, row.type);
    EXPECT_EQ(part.get_header("content-type", ""), row.content_type) << row.name;
    EXPECT_EQ(part.get_header("content-disposition", ""), row.disposition) << row.name;
    auto const message = read_again(draft);
    EXPECT_EQ(message->attachment_at_index(0).decoded_body(), row.bytes) << row.name;
    EXPECT_EQ(message->attachment_at_index(0).get_filename(), part.get_filename()) << row.name;
  }
  body_part_t draft;
  temporary_folder_t const folder;
  std::string const file = folder.write("\xc3\xbc.png", "bytes");
  EXPECT_TRUE(!draft.add_attachment(folder.path() + "/none") && !draft.is_multi_part());
  ASSERT_NE(draft.add_attachment(file), nullptr);
  EXPECT_EQ(draft.attachment_at_index(0).get_filename(), "\xc3\xbc.png");
  EXPECT_EQ(draft.add_related_part("/x/my logo.png", ""), "my+20logo.png");
}

TEST(Content, ReadsTheTextOfMessages) {
  struct { char const* name; std::string message; char const* expected; } const rows[] = {
    { "plain before HTML", multipart("alternative", { leaf("text/html", "<p>"), "\nplain" }), "plain" },
    { "not the attached one", multipart("mixed", { "Content-Disposition: attachment\n\nfile", "\ntext" }), "text" },
    { "not in a message", "Content-Type: message/rfc822\n\nSubject: a\n\ntext\n", "" },
    { "image", "Content-Type: image/png\n\ntext\n", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(message_of(row.message)->text_body(false), row.expected) << row.name;
  set_html_rendering({ [](body_part_t&) { return std::string("canonical"); }, {} });
  auto const html = message_of("Content-Type: text/html\n\n<p>");
  html->canonicalize_html();
  set_html_rendering({});
  EXPECT_EQ(html->text_body(true) + html->text_body(false), "canonical<p>");
  EXPECT_EQ(body_part_t().text_body(true), "");
}

TEST(ContentDeathTest, StrictModeChecksFlowing) {
  std::string const text = "trailing blanks \n" + std::string(40, 'a') + " " + std::string(40, 'b');
  body_part_t draft;
  draft.set_text_body(text, unset_string, unset_string, false);
  EXPECT_DEATH({ preferences::set("PwStrictDebugMode", true); draft.set_text_body(text, unset_string, unset_string, false); },
               "^Fatal: Could not flow/deflow 1-1: 98 != 97\n");
}

}  // namespace
}  // namespace kel
