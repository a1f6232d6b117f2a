#include <kelmime/disposition.h>

#include <gtest/gtest.h>

#include <kel/preferences.h>
#include <helpers/describe.h>
#include <helpers/repeated.h>

namespace kel {
namespace {

using test::message_of;

std::string disposition_of(std::string const& headers, std::string const& body) {
  return get_disposition(*message_of(headers + "\n\n" + body));
}

TEST(Disposition, IsDecidedForDisplay) {
  struct { char const* name; char const* headers; char const* expected; } const rows[] = {
    { "no headers at all", "X: y", "inline" }, { "text with a name", "Content-Type: text/plain; name=a.txt", "attachment" },
    { "text with a name, inline", "Content-Type: text/x-patch; name=a\nContent-Disposition: INLINE; filename=a", "inline" },
    { "text as attachment", "Content-Disposition: Attachment", "attachment" },
    { "unknown word", "Content-Disposition: form-data", "attachment" },
    { "parameters only", "Content-Disposition: ; filename=a", "attachment" },
    { "image with a name", "Content-Type: image/png; name=a.png", "inline" },
    { "image as attachment", "Content-Type: image/png\nContent-Disposition: attachment", "attachment" },
    { "message", "Content-Type: message/rfc822; name=a.eml", "inline" },
    { "message as attachment", "Content-Type: message/rfc822\nContent-Disposition: attachment", "attachment" },
    { "report", "Content-Type: message/delivery-status", "attachment" },
    { "container", "Content-Type: multipart/mixed; boundary=b; name=c", "inline" },
    { "data, inline", "Content-Type: application/zip\nContent-Disposition: inline", "attachment" },
    { "sound", "Content-Type: audio/mpeg", "attachment" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(disposition_of(row.headers, "x"), row.expected) << row.name;
}

TEST(Disposition, OfPDFByItsPages) {
  std::string const page = "<< /Type /Page >>\n", pages = "<< /Type /Pages /Count 2 >>\n";
  struct { char const* name; std::string body; char const* expected; } const rows[] = {
    { "one page", pages + page, "inline" }, { "two pages", pages + page + page, "attachment" },
    { "without blanks", "/Type/Page/x/Type/Page>>", "attachment" }, { "many blanks", repeated("/Type\r\n \t/Page\n", 2), "attachment" },
    { "other types", "/Type/Pages/Type/PageLabel /Type /Catalog/Type", "inline" },
    { "type before type", "/Type/Type/Page /Type/Type/Page ", "attachment" }, { "cut off", page + "/Type/Page", "inline" },
    { "compressed", "\x78\x9C\x01", "inline" }, { "empty", "", "inline" },
    { "flood", repeated("/Type   ", 100'000) + repeated("/Type/Pages", 100'000), "inline" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(disposition_of("Content-Type: application/pdf; name=a.pdf\nContent-Transfer-Encoding: binary", row.body), row.expected) << row.name;
    EXPECT_EQ(disposition_of("Content-Type: application/pdf\nContent-Disposition: attachment", row.body), "attachment") << row.name;
  }
  preferences::set("PwNeverInlinePDF", "YES");
  EXPECT_EQ(disposition_of("Content-Type: application/pdf", page), "attachment");
  preferences::reset();
  EXPECT_EQ(disposition_of("Content-Type: application/pdf\nContent-Transfer-Encoding: base64", "L1R5cGUvUGFnZSAvVHlwZS9QYWdlIA=="), "attachment");
}

}  // namespace
}  // namespace kel
