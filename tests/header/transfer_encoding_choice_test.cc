#include <kelmime/transfer_encoding_choice.h>

#include <gtest/gtest.h>

#include <helpers/exact_copy.h>
#include <helpers/repeated.h>

namespace kel {
namespace {

TEST(WhichMimeEncoding, GoesByTheType) {
  std::string const accent = "\u00E9\n", long_line = repeated("x", 80) + "\n";
  struct {
    char const* type;
    char const* subtype;
    std::string bytes;
    char const* expected;
    encoding_options options = encoding_options::none;
  } const rows[] = {
    { "text", "plain", "", "7bit" },
    { "text", "plain", accent, "8bit" },
    { "text", "plain", long_line, "quoted-printable" },
    { "text", "html", "a \n", "quoted-printable" },
    { "text", "plain", accent + "a \n", "8bit", encoding_options::ignore_trailing_blanks },
    { "text", "plain", "-- \n", "7bit", encoding_options::ignore_signature_blanks },
    { "multipart", "mixed", accent, "8bit" },
    { "image", "png", "", "base64" },
    { "audio", "mpeg", "a", "base64" },
    { "video", "mp4", "a", "base64" },
    { "application", "json", "{}\n", "base64" },
    { "application", "pgp-signature", "-----BEGIN\n", "7bit" },
    { "application", "pgp-encrypted", "Version: 1 \n", "quoted-printable" },
    { "image", "pgp-signature", "a", "base64" },
    { "message", "rfc822", "", "7bit" },
    { "message", "rfc822", long_line + "\x01 \n", "7bit" },
    { "message", "delivery-status", "a\n" + repeated("b\n", 1000) + accent, "8bit" },
  };
  for (auto const& row : rows) {
    test::exact_copy_t const bytes(row.bytes);
    EXPECT_EQ(which_mime_encoding(bytes.begin(), bytes.end(), row.type, row.subtype, row.options), row.expected)
        << row.type << "/" << row.subtype << " " << row.bytes;
  }
}

}  // namespace
}  // namespace kel
