#include <kelmime/transfer_encoding_choice.h>

#include <gtest/gtest.h>

#include <helpers/exact_copy.h>
#include <helpers/repeated.h>

namespace kel {

TEST(WhichMimeEncoding, WeighsProblems) {
  using enum encoding_options;
  std::string const long_line(80, 'x');
  struct { char const* name; std::string bytes; encoding_options options; char const* expected; } const rows[] = {
    { "nothing", "", none, "7bit" }, { "text", "abc\n", none, "7bit" },
    { "trailing blank", "abc \n", none, "quoted-printable" }, { "trailing blank, ignored", "abc \n", ignore_trailing_blanks, "7bit" },
    { "trailing blank without line end", "abc ", none, "7bit" }, { "blanks before text", "a \t b\n", none, "7bit" },
    { "signature separator", "-- \n", none, "quoted-printable" },
    { "signature separator, ignored", "a\n-- \n>> -- \n", ignore_signature_blanks, "7bit" },
    { "no space after the quotes", ">-- \n", ignore_signature_blanks, "quoted-printable" },
    { "no separator", "x-- \n", ignore_signature_blanks, "quoted-printable" }, { "79 bytes", long_line.substr(1) + "\n", none, "7bit" },
    { "80 bytes", long_line + "\n", none, "quoted-printable" }, { "blanks do not count", repeated("x    ", 60) + "x\n", none, "7bit" },
    { "last line is not measured", long_line, none, "7bit" },     { "control bytes", "\x01\x02\x03\x7F", none, "base64" },
    { "a carriage return", "abc\r\n", none, "quoted-printable" }, { "8-bit", "\xC3\xA9\n", none, "quoted-printable" },
    { "8-bit, allowed", "\xC3\xA9\n", allow_8bit, "8bit" },
    { "8-bit, allowed, with a problem", "\xC3\xA9 \n", allow_8bit, "quoted-printable" },
    { "half of 100 bytes", repeated("x\xE9", 50), none, "base64" },
    { "half of 100 bytes, allowed", repeated("x\xE9", 50), allow_8bit, "8bit" },
    { "one in eight", repeated("xxxxxxx\xE9", 100), none, "base64" },
    { "one in nine", repeated("xxxxxxxx\xE9", 100), none, "quoted-printable" },
    { "stops behind 1000 bytes", "\x01\n" + repeated("x\n", 500) + repeated("\x01", 5000), none, "quoted-printable" },
    { "does not stop without a problem", repeated("x\n", 501) + repeated("\x01", 5000), none, "base64" },
  };
  for (auto const& row : rows) {
    auto const chosen = test::on_exact_copy(row.bytes, [&](auto... range) { return which_mime_encoding(range..., row.options); });
    EXPECT_EQ(chosen, row.expected) << row.name;
  }
}

TEST(WhichMimeEncoding, GoesByTheType) {
  std::string const accent = "\u00E9\n", long_line = repeated("x", 80) + "\n";
  using enum encoding_options;
  struct { char const *type, *subtype; std::string bytes; char const* expected; encoding_options options = none; } const rows[] = {
    { "text", "plain", accent, "8bit" }, { "text", "plain", long_line, "quoted-printable" },
    { "text", "html", "a \n", "quoted-printable" }, { "text", "plain", accent + "a \n", "8bit", ignore_trailing_blanks },
    { "text", "plain", "-- \n", "7bit", ignore_signature_blanks }, { "multipart", "mixed", accent, "8bit" },
    { "image", "png", "", "base64" }, { "audio", "mpeg", "a", "base64" }, { "video", "mp4", "a", "base64" },
    { "application", "json", "{}\n", "base64" }, { "application", "pgp-signature", "-----BEGIN\n", "7bit" },
    { "application", "pgp-encrypted", "Version: 1 \n", "quoted-printable" }, { "image", "pgp-signature", "a", "base64" },
    { "message", "rfc822", "", "7bit" }, { "message", "rfc822", long_line + "\x01 \n", "7bit" },
    { "message", "delivery-status", "a\n" + repeated("b\n", 1000) + accent, "8bit" },
  };
  for (auto const& row : rows) {
    test::exact_copy_t const bytes(row.bytes);
    EXPECT_EQ(which_mime_encoding(bytes.begin(), bytes.end(), row.type, row.subtype, row.options), row.expected)
        << row.type << "/" << row.subtype << " " << row.bytes;
  }
}

}  // namespace kel
