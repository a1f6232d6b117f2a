// From raw bodies to decoded ones: the functions on ranges, then whole parts.
#include <gtest/gtest.h>

#include <kel/preferences.h>
#include <kelmime/body.h>
#include <kelmime/body_parser.h>
#include <helpers/describe.h>

namespace kel {
namespace {

using test::message_of;
using test::records;

TEST(Decode, ChecksTheTransferEncoding) {
  struct {
    char const* name;
    bool top_level;
    char const* type;
    char const* encoding;
    char const* disposition;
    char const* charset;
    std::string body;
    char const* expected;  // "type/subtype: decoded"
    char const* record;
  } const rows[] = {
    { "base64 text", true, "text/plain", "base64", "", "", "aGk=", "text/plain: hi", "" },
    { "charset as encoding", true, "text/plain", "utf-8", "", "utf-8", "x", "text/plain: ",
      "Encoding 'utf-8' is unknown, but seems to be the charset of the message (7bit encoding assumed instead)" },
    { "unknown encoding", true, "text/plain", "foo", "", "utf-8", "x", "application/octet-stream: ",
      "Encoding 'foo' is unknown. Now treated as application/octet-stream with a binary encoding" },
    { "delivery status is data", false, "message/delivery-status", "7bit", "", "", "a\rb",
      "application/octet-stream: ", "" },
    { "outermost multipart", true, "multipart/mixed", "base64", "", "", "aGk=", "multipart/mixed: ",
      "Encoding 'base64' not allowed for body parts of type 'multipart' (7bit assumed)" },
    { "nested multipart", false, "multipart/mixed", "base64", "", "", "aGk=", "multipart/mixed: hi",
      "Encoding 'base64' not allowed for body parts of type 'multipart' (allowing it anyways)" },
    { "nested message", false, "message/rfc822", "quoted-printable", "", "", "a=41", "message/rfc822: aA",
      "Encoding 'quoted-printable' not allowed for body parts of type 'message' (allowing it anyways)" },
    { "every CR goes from text", true, "text/plain", "7bit", "", "", "a\r\nb\rc", "text/plain: a\nbc", "" },
    { "and from decoded text", true, "text/plain", "quoted-printable", "", "", "a=0D=0Ab", "text/plain: a\nb", "" },
    { "but not from attachments", true, "text/plain", "8bit", "attachment", "", "a\r\nb", "text/plain: ", "" },
    { "nor from data", true, "application/x", "base64", "", "", "DQo=", "application/x: \r\n", "" },
    { "line feeds of binary quoted-printable", true, "image/png", "quoted-printable", "", "", "a\nb",
      "image/png: a\r\nb",
      "A quoted-printable binary body part contains an unencoded linefeed (LF). A CR character has been inserted." },
    { "uuencode", true, "text/plain", "x-uuencode", "", "", "begin 644 a\n\"86$ \n \nend\n", "text/plain: aa",
      "Deprecated Content-Transfer-Encoding (x-uuencode), but Postwick can handle it." },
  };
  for (auto const& row : rows) {
    test::exact_copy_t const bytes(row.body);
    std::string type = row.type;
    std::string subtype = type.substr(type.find('/') + 1);
    type.erase(type.find('/'));
    std::vector<char> decoded;
    mime_errors_handler_t errors;
    decode(bytes.begin(), bytes.end(), row.top_level, type, subtype, row.encoding, row.disposition, row.charset, decoded,
           &errors);
    EXPECT_EQ(type + "/" + subtype + ": " + std::string(decoded.begin(), decoded.end()).c_str(), row.expected) << row.name;
    EXPECT_EQ(errors.records().empty() ? "" : errors.records().front().at("description"), row.record) << row.name;
  }
}

struct decoded_text_t {
  std::string text;
  std::vector<std::string> descriptions;
};

decoded_text_t decode_part(std::string const& headers, std::string const& body) {
  auto const part = message_of(headers + "\n\n" + body);
  std::string const text(part->decoded_body());
  return { text, records(*part) };
}

TEST(DecodeText, ConvertsAndDeflows) {
  struct {
    char const* name;
    char const* headers;
    char const* body;
    char const* expected;
    std::vector<std::string> descriptions;
  } const rows[] = {
    { "latin-1", "Content-Type: text/plain; charset=ISO-8859-1", "f\xFCr\n", "f\xC3\xBCr\n", {} },
    { "flowed", "Content-Type: text/plain; format=flowed", "a \nb\n", "a b\n", {} },
    { "flowed with delsp", "Content-Type: text/plain; format=Flowed; DelSp=Yes", "a \nb\n", "ab\n", {} },
    { "delsp alone", "Content-Type: text/plain; delsp=yes", "a\n", "a\n",
      { "Ignoring 'delsp=yes' since 'format!=flowed" } },
    { "flowed html", "Content-Type: text/html; format=flowed; delsp=yes", "a \nb\n", "a \nb\n",
      { "Ignoring 'format=flowed' which should not be used for text/html",
        "Ignoring 'delsp=yes' which should not be used for text/html" } },
    { "other text is copied", "Content-Type: text/css; format=flowed", "a \nb\n", "a \nb\n", {} },
    { "attachments keep their charset",
      "Content-Type: text/plain; charset=iso-8859-1\nContent-Disposition: attachment", "f\xFCr\n", "f\xFCr\n", {} },
    { "the second pass reports what UTF-8 means in the declared charset", "Content-Type: text/plain; charset=euc-jp",
      "\xA4\xA2\n", "\xE3\x81\x82\n", { "Invalid multibyte sequence encountered (iconv / euc-jp)" } },
    { "charset guessed from the headers", "X-Mailer: koi8-r", "\xC1\n", "\xD0\xB0\n",
      { "Non-ASCII detected in string claimed to be ASCII (\xE2\x80\x9C\xE2\x80\x9D). It is not valid UTF-8. Instead "
        "KOI8-R is assumed" } },
  };
  for (auto const& row : rows) {
    auto const [text, descriptions] = decode_part(row.headers, row.body);
    EXPECT_EQ(text, row.expected) << row.name;
    EXPECT_EQ(descriptions, row.descriptions) << row.name;
  }
}

TEST(DecodeBody, RecordsOnce) {
  auto const part = message_of("Content-Transfer-Encoding: foo\n\nx");
  part->decode_body();
  part->decode_body();
  EXPECT_EQ(part->num_errors(), 1u);
}

TEST(DecodeBody, WarnsOfAnEmptyTextWithAnId) {
  auto const part = message_of("Subject: x\n\n");
  part->set_id(7);
  testing::internal::CaptureStderr();
  part->decode_body();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: Decoding empty text body for id 7\n");
}

// Encoded containers come with CR LF inside, as all MIME does; their children are read in LF form all the same.
TEST(DecodeBody, UnfoldsEncodedContainers) {
  auto const unfolded = [](std::string const& headers, std::string const& body) {
    auto const message = message_of("Content-Type: multipart/mixed; boundary=o\n\n\n--o\n" + headers + "\n\n" + body + "\n--o--\n");
    body_part_t& container = message->subpart(0);
    std::string text = test::describe(container);
    text += " " + container.get_header("#mime-preamble", "-");
    for (body_part_t* part = &container; !part->subparts().empty(); part = &part->subpart(0))
      text += " " + std::string(part->subpart(0).raw_data());
    return text;
  };
  // "pre", CR LF, "--i", CR LF, CR LF, "one", CR LF, "--i--", CR LF
  EXPECT_EQ(unfolded("Content-Type: multipart/mixed; boundary=i\nContent-Transfer-Encoding: base64",
                     "cHJlDQotLWkNCg0Kb25lDQotLWktLQ0K"),
            "multipart/mixed[text/plain(3)] pre \none");
  EXPECT_EQ(unfolded("Content-Type: multipart/mixed; boundary=i\nContent-Transfer-Encoding: quoted-printable",
                     "pre\n--i\n\none=3D\n--i--\n"),
            "multipart/mixed[text/plain(4)] pre \none=");
  // "Subject: x", CR LF, CR LF, "y", CR LF
  EXPECT_EQ(unfolded("Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\nContent-Disposition: attachment",
                     "U3ViamVjdDogeA0KDQp5DQo="),
            "message/rfc822[text/plain(2)] - Subject: x\n\ny\n");
}

TEST(DecodeBody, KeepsWhatStandsOutsideTheParts) {
  auto const message = message_of("Content-Type: multipart/mixed; boundary=b\n\npre\n--b\n\none\n--b--\nepi\n");
  EXPECT_EQ(message->num_subparts(), 1u);
  EXPECT_EQ(message->get_header("#mime-preamble", ""), "pre");
  EXPECT_EQ(message->get_header("#mime-epilogue", ""), "epi\n");
  mime_error_t const expected = { { "description", "Non-empty MIME epilogue" },
                                  { "context", "epi\n" },
                                  { "content-type", "multipart/mixed" },
                                  { "content-transfer-encoding", "7bit" } };
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
  struct {
    char const* name;
    char const* subtype;
    std::vector<std::string> children;  // header blocks with bodies
    std::size_t expected;
    std::size_t preferring_plain;
  } const rows[] = {
    { "last displayable", "alternative", { "\nx", "Content-Type: text/html\n\nx", "Content-Type: application/x\n\nx" }, 1, 0 },
    { "blank plain text", "alternative", { "\n \n", "Content-Type: text/html\n\nx" }, 1, 1 },
    { "calendar hides HTML", "alternative",
      { "\nx", "Content-Type: text/html\n\nx", "Content-Type: text/calendar\n\nx" }, 0, 0 },
    { "HTML as child 0", "alternative", { "Content-Type: text/html\n\nx", "Content-Type: text/calendar\n\nx" }, 0, 0 },
    { "nothing displayable", "alternative", { "Content-Type: audio/x\n\nx", "Content-Type: text/calendar\n\nx" }, 2, 2 },
    { "image or pdf", "alternative", { "\nx", "Content-Type: application/pdf\n\nx" }, 1, 1 },
    { "mixed shows all", "mixed", { "\nx", "\ny" }, 2, 2 },
    { "related root", "related", { "Content-Type: text/html\n\nx", "Content-Type: image/png\nContent-ID: <a>\n\nx" }, 0, 0 },
    { "related without an id", "related", { "Content-Type: text/html\n\nx", "Content-Type: image/png\n\nx" }, 2, 2 },
    { "related without HTML", "related", { "\nx", "Content-Type: image/png\nContent-ID: <a>\n\nx" }, 2, 2 },
  };
  for (auto const& row : rows) {
    std::string text = "Content-Type: multipart/" + std::string(row.subtype) + "; boundary=b\n\n\n";
    for (std::string const& child : row.children)
      text += "--b\n" + child + "\n";
    testing::internal::CaptureStderr();
    auto const message = message_of(text + "--b--\n");
    EXPECT_EQ(message->get_preferred_subpart(), row.expected) << row.name;
    preferences::set("PwPreferPlainText", "YES");
    EXPECT_EQ(message->get_preferred_subpart(), row.preferring_plain) << row.name;
    if (row.subtype == std::string("related")) {
      preferences::set("PwNeverDisplayHTML", "YES");
      EXPECT_EQ(message->get_preferred_subpart(), row.children.size()) << row.name;
    }
    preferences::reset();
    message->subpart(0).add_header("##security-details", "x");
    if (row.subtype == std::string("alternative")) {
      EXPECT_EQ(message->get_preferred_subpart(), 0u) << row.name;
    }
    testing::internal::GetCapturedStderr();
  }
}

TEST(DefaultPreferredSubpart, SaysWhatIsMissing) {
  auto const related = message_of(
      "Content-Type: multipart/related; boundary=b\n\n\n--b\nContent-Type: text/html\n\nx\n--b\n\nx\n--b\n\nx\n--b--\n");
  EXPECT_EQ(related->get_preferred_subpart(), 3u);
  EXPECT_EQ(records(*related), (std::vector<std::string>{
                                   "Missing 2 \xE2\x80\x9C" "Content-ID\xE2\x80\x9D header(s) for multipart/related subparts" }));
  related->set_preferred_subpart(9);
  related->set_preferred_subpart(1);
  EXPECT_EQ(related->get_preferred_subpart(), 1u);

  testing::internal::CaptureStderr();
  EXPECT_EQ(message_of("Content-Type: multipart/mixed; boundary=b\n\n")->get_preferred_subpart(), 0u);
  EXPECT_EQ(message_of("Content-Type: multipart/alternative; boundary=b\n\n\n--b\nContent-Type: text/calendar\n\nx\n--b--\n")
                ->get_preferred_subpart(), 1u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Warning: No subparts of multi part in message\n"
            "Warning: Unable to handle alternative in multipart of MIME type: 'text/calendar'\n");
}

TEST(DecodeTextBodies, VisitsWhatIsShownInline) {
  auto const message = message_of(
      "Content-Type: multipart/mixed; boundary=b\n\n\n"
      "--b\nContent-Type: multipart/alternative; boundary=c\nContent-Disposition: attachment\n\n\n"
      "--c\n\nplain\n--c\nContent-Type: text/html\n\n<p>\n--c--\n"
      "--b\nContent-Type: text/html\nContent-Disposition: attachment\n\n<i>\n"
      "--b\nContent-Type: text/html\n\n<b>\n"
      "--b\nContent-Type: multipart/alternative; boundary=d\n\n\n"
      "--d\nContent-Type: text/plain; markup=markdown\n\n*x*\n--d\nContent-Type: text/html\n\n<em>\n--d--\n--b--\n");
  std::string calls;
  set_html_rendering({ [&](body_part_t& html) {
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
