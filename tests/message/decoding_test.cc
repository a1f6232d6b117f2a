// From raw bodies to decoded ones: the functions on ranges, then whole parts.
#include <gtest/gtest.h>

#include <kel/preferences.h>
#include <kelmime/body_parser.h>
#include <helpers/messages.h>

namespace kel {
namespace {

using test::leaf;
using test::message_of;
using test::multipart;
using test::records;

// What is refused or allowed in containers is told by messages/malformed/encoded_containers.eml.
TEST(Decode, ChecksTheTransferEncoding) {
  struct { char const* name; char const* type; char const* subtype; char const* encoding; char const* disposition; char const* charset;
           char const* body; char const* expected; char const* record = ""; } const rows[] = {
    { "base64 text", "text", "plain", "base64", "", "", "aGk=", "text/plain: hi" },
    { "unknown encoding", "text", "plain", "foo", "", "utf-8", "x", "application/octet-stream: ",
      "Encoding 'foo' is unknown. Now treated as application/octet-stream with a binary encoding" },
    { "delivery status is data", "message", "delivery-status", "7bit", "", "", "a\rb", "application/octet-stream: " },
    { "every CR goes from text", "text", "plain", "7bit", "", "", "a\r\nb\rc", "text/plain: a\nbc" },
    { "and from decoded text", "text", "plain", "quoted-printable", "", "", "a=0D=0Ab", "text/plain: a\nb" },
    { "but not from attachments", "text", "plain", "8bit", "attachment", "", "a\r\nb", "text/plain: " },
    { "nor from data", "application", "x", "base64", "", "", "DQo=", "application/x: \r\n" },
    { "line feeds of binary quoted-printable", "image", "png", "quoted-printable", "", "", "a\nb", "image/png: a\r\nb",
      "A quoted-printable binary body part contains an unencoded linefeed (LF). A CR character has been inserted." },
    { "uuencode", "text", "plain", "x-uuencode", "", "", "begin 644 a\n#86)C\n \nend\n", "text/plain: abc",
      "Deprecated Content-Transfer-Encoding (x-uuencode), but Postwick can handle it." },
  };
  for (auto const& row : rows) {
    test::exact_copy_t const bytes(row.body);
    std::string type = row.type, subtype = row.subtype;
    std::vector<char> decoded;
    mime_errors_handler_t errors;
    decode(bytes.begin(), bytes.end(), /*top_level*/ false, type, subtype, row.encoding, row.disposition, row.charset, decoded, &errors);
    EXPECT_EQ(type + "/" + subtype + ": " + std::string(decoded.begin(), decoded.end()), row.expected) << row.name;
    EXPECT_EQ(errors.records().empty() ? "" : errors.records().front().at("description"), row.record) << row.name;
  }
}

TEST(DecodeText, ConvertsAndDeflows) {
  struct { char const* name; char const* headers; char const* body; char const* expected; std::vector<std::string> descriptions = {}; } const rows[] = {
    { "latin-1", "Content-Type: text/plain; charset=ISO-8859-1", "f\xFCr\n", "f\u00FCr\n" },
    { "flowed with delsp", "Content-Type: text/plain; format=Flowed; DelSp=Yes", "a \nb\n", "ab\n" },
    { "delsp alone", "Content-Type: text/plain; delsp=yes", "a\n", "a\n", { "Ignoring 'delsp=yes' since 'format!=flowed" } },
    { "flowed html", "Content-Type: text/html; format=flowed; delsp=yes", "a \nb\n", "a \nb\n",
      { "Ignoring 'format=flowed' which should not be used for text/html", "Ignoring 'delsp=yes' which should not be used for text/html" } },
    { "other text is copied", "Content-Type: text/css; format=flowed", "a \nb\n", "a \nb\n" },
    { "attachments keep their charset", "Content-Type: text/plain; charset=iso-8859-1\nContent-Disposition: attachment", "f\xFCr\n", "f\xFCr\n" },
    { "the second pass reports what UTF-8 means in the declared charset", "Content-Type: text/plain; charset=euc-jp",
      "\xA4\xA2\n", "\u3042\n", { "Invalid multibyte sequence encountered (iconv / euc-jp)" } },
    { "charset guessed from the headers", "X-Mailer: koi8-r", "\xC1\n", "\u0430\n",
      { "Non-ASCII detected in string claimed to be ASCII (\u201C\u201D). It is not valid UTF-8. Instead KOI8-R is assumed" } },
  };
  for (auto const& row : rows) {
    auto const part = message_of(std::string(row.headers) + "\n\n" + row.body);
    EXPECT_EQ(part->decoded_body(), row.expected) << row.name;
    part->decode_body();
    EXPECT_EQ(records(*part), row.descriptions) << row.name << ": once";
  }
  auto const empty = message_of("Subject: x\n\n");
  empty->set_id(7);
  testing::internal::CaptureStderr();
  empty->decode_body();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: Decoding empty text body for id 7\n");
}

// Encoded containers come with CR LF inside, as all MIME does; their children are read in LF form all the same.
TEST(DecodeBody, UnfoldsEncodedContainers) {
  auto const unfolded = [](std::string const& type, std::string const& headers, std::string const& body) {
    auto const message = message_of(multipart("mixed", { leaf(type, body, headers) }));
    body_part_t& container = message->subpart(0);
    return test::describe(container) + " " + container.get_header("#mime-preamble", "-") + " " + std::string(container.subpart(0).raw_data());
  };
  // "pre", CR LF, "--i", CR LF, CR LF, "one", CR LF, "--i--", CR LF
  EXPECT_EQ(unfolded("multipart/mixed; boundary=i", "Content-Transfer-Encoding: base64\n", "cHJlDQotLWkNCg0Kb25lDQotLWktLQ0K"),
            "multipart/mixed[text/plain(3)] pre \none");
  EXPECT_EQ(unfolded("multipart/mixed; boundary=i", "Content-Transfer-Encoding: quoted-printable\n", "pre\n--i\n\none=3D\n--i--\n"),
            "multipart/mixed[text/plain(4)] pre \none=");
  // "Subject: x", CR LF, CR LF, "y", CR LF
  EXPECT_EQ(unfolded("message/rfc822", "Content-Transfer-Encoding: base64\nContent-Disposition: attachment\n", "U3ViamVjdDogeA0KDQp5DQo="),
            "message/rfc822[text/plain(2)] - Subject: x\n\ny\n");
}

TEST(DecodeBody, KeepsWhatStandsOutsideTheParts) {
  auto const message = message_of("Content-Type: multipart/mixed; boundary=b\n\npre\n--b\n\none\n--b--\nepi\n");
  EXPECT_EQ(message->num_subparts(), 1u);
  EXPECT_EQ(message->get_header("#mime-preamble", ""), "pre");
  EXPECT_EQ(message->get_header("#mime-epilogue", ""), "epi\n");
  mime_error_t const expected = { { "description", "Non-empty MIME epilogue" }, { "context", "epi\n" },
                                  { "content-type", "multipart/mixed" }, { "content-transfer-encoding", "7bit" } };
  EXPECT_EQ(message->errors().records(), std::vector{ expected });

  auto const closing_only = message_of("Content-Type: multipart/mixed; boundary=b\n\npre\n--b--\nepi\n");
  EXPECT_EQ(test::describe(*closing_only), "multipart/mixed(14)");
  EXPECT_EQ(records(*closing_only), (std::vector<std::string>{ "Non-empty MIME epilogue" }));
}

TEST(DecodeBody, ReadsAMultipartWithoutDelimiterAsText) {
  auto const message = message_of("Content-Type: multipart/mixed; boundary=b; charset=KOI8-R\n\n\xC1\n");
  EXPECT_EQ(message->subpart(0).raw_data(), "Content-Type: text/plain; charset='koi8-r'\n\n\xC1\n");
  EXPECT_EQ(message->subpart(0).decoded_body(), "\xD0\xB0\n");
  EXPECT_EQ(message->errors().records().back().at("context"), "multipart/mixed; boundary=b; charset=KOI8-R");
}

TEST(DecodeBody, CreatesNoChildOfAHeaderBlock) {
  std::string const block = "Content-Type: message/rfc822\n\n";
  std::vector<char> bytes(block.begin(), block.end());
  EXPECT_EQ(create_body_part_from_headers(bytes)->num_subparts(), 0u);
  EXPECT_EQ(message_of(block)->num_subparts(), 1u);
}

TEST(DefaultPreferredSubpart, Chooses) {
  std::string const html = leaf("text/html", "x"), calendar = leaf("text/calendar", "x"), png = leaf("image/png", "x"), with_id = "Content-ID: <a>\n" + png;
  struct { char const* name; std::string subtype; std::vector<std::string> children; std::size_t expected, preferring_plain; } const rows[] = {
    { "last displayable", "alternative", { "\nx", html, leaf("application/x", "x") }, 1, 0 },
    { "blank plain text", "alternative", { "\n \n", html }, 1, 1 },
    { "calendar hides HTML", "alternative", { "\nx", html, calendar }, 0, 0 },
    { "HTML as child 0", "alternative", { html, calendar }, 0, 0 },
    { "nothing displayable", "alternative", { leaf("audio/x", "x"), calendar }, 2, 2 },
    { "image or pdf", "alternative", { "\nx", leaf("application/pdf", "x") }, 1, 1 },
    { "mixed shows all", "mixed", { "\nx", "\ny" }, 2, 2 },
    { "related root", "related", { html, with_id }, 0, 0 },
    { "related without an id", "related", { html, png }, 2, 2 },
    { "related without HTML", "related", { "\nx", with_id }, 2, 2 },
  };
  testing::internal::CaptureStderr();
  for (auto const& row : rows) {
    auto const message = message_of(multipart(row.subtype, row.children));
    EXPECT_EQ(message->get_preferred_subpart(), row.expected) << row.name;
    preferences::set("PwPreferPlainText", "YES");
    EXPECT_EQ(message->get_preferred_subpart(), row.preferring_plain) << row.name;
    preferences::set("PwNeverDisplayHTML", "YES");
    EXPECT_TRUE(row.subtype != "related" || message->get_preferred_subpart() == row.children.size()) << row.name;
    preferences::reset();
    message->subpart(0).add_header("##security-details", "x");
    EXPECT_TRUE(row.subtype != "alternative" || message->get_preferred_subpart() == 0) << row.name;
  }
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST(DefaultPreferredSubpart, SaysWhatIsMissing) {
  auto const related = message_of(multipart("related", { leaf("text/html", "x"), "\nx", "\nx" }));
  EXPECT_EQ(related->get_preferred_subpart(), 3u);
  EXPECT_EQ(records(*related), (std::vector<std::string>{ "Missing 2 \u201CContent-ID\u201D header(s) for multipart/related subparts" }));
  related->set_preferred_subpart(9);
  related->set_preferred_subpart(1);
  EXPECT_EQ(related->get_preferred_subpart(), 1u);

  testing::internal::CaptureStderr();
  EXPECT_EQ(message_of("Content-Type: multipart/mixed; boundary=b\n\n")->get_preferred_subpart(), 0u);
  EXPECT_EQ(message_of(multipart("alternative", { leaf("text/calendar", "x") }))->get_preferred_subpart(), 1u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: No subparts of multi part in message\n"
                                                    "Warning: Unable to handle alternative in multipart of MIME type: 'text/calendar'\n");
}

TEST(DecodeTextBodies, VisitsWhatIsShownInline) {
  std::string const attached = "Content-Disposition: attachment\n";
  auto const message = message_of(multipart("mixed", { multipart("alternative", { "\nplain", leaf("text/html", "<p>") }, attached),
      leaf("text/html", "<i>", attached), leaf("text/html", "<b>"),
      multipart("alternative", { leaf("text/plain; markup=markdown", "*x*"), leaf("text/html", "<em>") }) }));
  std::string calls;
  set_html_rendering({
      [&](body_part_t& html) {
        calls += "canonicalize " + std::string(html.decoded_body()) + "\n";
        return std::string("text");
      },
      [&](body_part_t& html, body_part_t& plain) {
        calls += "compare " + html.get_canonicalized_text() + " " + std::string(plain.decoded_body()) + "\n";
      } });
  decode_text_bodies(*message);
  set_html_rendering({});
  EXPECT_EQ(calls, "canonicalize <p>\ncompare text plain\ncanonicalize <b>\n");

  body_part_t& alternative = message->subpart(0);
  EXPECT_EQ(alternative.subpart(1).equivalent_plain_text_alternative(), &alternative.subpart(0));
  EXPECT_EQ(alternative.subpart(0).equivalent_plain_text_alternative(), nullptr);
  EXPECT_EQ(message->subpart(2).equivalent_plain_text_alternative(), nullptr) << "not among alternatives";
  EXPECT_TRUE(alternative.uses_html_header() && message->subpart(2).uses_html_header());
  EXPECT_FALSE(message->uses_html_header()) << "a mixed message is not looked into";
}

}  // namespace
}  // namespace kel
