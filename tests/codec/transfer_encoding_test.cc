#include <gtest/gtest.h>

#include <random>

#include <codec/codec_verbs.h>
#include <helpers/repeated.h>
#include <kel/text.h>
#include <kelmime/decoding.h>
#include <kelmime/encoding.h>
#include <kelmime/hex.h>

namespace kel {
namespace {

using namespace std::literals;
using namespace test;

std::string encoded(std::string_view input, std::string_view encoding) {
  return output_of(input, [&](auto... range) { encode(range..., encoding); });
}

std::string decoded(std::string_view input, std::string_view encoding, mime_errors_handler_t* errors = nullptr, bool binary = false) {
  return output_of(input, [&](auto... range) { EXPECT_TRUE(mime_decode(range..., encoding, errors, binary)); });
}

std::string const illegal = "A quoted-printable text contains an illegal use of '='. It has been passed through. | ";
std::string const feed = "A quoted-printable binary body part contains an unencoded linefeed (LF). A CR character has been inserted. | ";

TEST(QuotedPrintable, Decodes) {
  struct { char const* name; std::string_view input; std::string_view expected; lines_t records; } const rows[] = {
    { "digits of either case", "=41=3d", "A=", {} }, { "one digit at the end", "=4", "=4", { illegal + "=4" } },
    { "no digits", "a=xyz=4Gb", "a=xyz=4Gb", { illegal + "a=xyz=4Gb", illegal + "a=xyz=4Gb" } },
    { "blanks before the soft line break", "abc= \t\nxyz", "abcxyz", {} }, { "= ends the text", "abc=", "abc", {} },
    { "= and blanks end the text", "abc= \t ", "abc", {} }, { "CR is no blank", "a=\r\nb", "a=\r\nb", { illegal + "a=\r\nb" } },
    { "blanks before something else stay", "=  x", "=  x", { illegal + "=  x" } },
    { "decoding goes on just after an illegal =", "==41", "=A", { illegal + "==41" } },
    { "context of ten bytes", "0123456789abcde=0123456789abcde", "0123456789abcde\x01" "23456789abcde", {} },
    { "context is cut on both sides", "0123456789abcde=x123456789abcde", "0123456789abcde=x123456789abcde", { illegal +
      "56789abcde=x12345678" } },
    { "line feeds are text", "a\nb", "a\nb", {} }, { "8-bit bytes pass", "\xE9=E9"sv, "\xE9\xE9", {} },
  };
  for (auto const& row : rows) {
    mime_errors_handler_t errors;
    EXPECT_EQ(decoded(row.input, "quoted-printable", &errors), row.expected) << row.name;
    EXPECT_EQ(described(errors), row.records) << row.name;
    EXPECT_EQ(decoded(row.input, "quoted-printable"), row.expected) << row.name;
  }
}

TEST(QuotedPrintable, RestoresLineEndsOfBinaryBodies) {
  mime_errors_handler_t errors;
  EXPECT_EQ(decoded("a\n=0Ab=\n\n", "quoted-printable", &errors, /*binary*/ true), "a\r\n\nb\r\n");
  EXPECT_EQ(described(errors), (lines_t{ feed + "a\n=0Ab=\n\n", feed + "a\n=0Ab=\n\n" }));
}

TEST(QuotedPrintable, Encodes) {
  std::string const wide(72, 'x');
  struct { char const* name; std::string input; std::string expected; } const rows[] = {
    { "From at the beginning of a line", "From here\nFrom there, From\n", "=46rom here\n=46rom there, From\n" },
    { "From without its space", "From", "From" },         { "dot at the beginning of a line", ".x.\n.", "=2Ex.\n=2E" },
    { "space before the line end", "a \nb", "a =\n\nb" }, { "tab before the line end", "a\t\n", "a\t=\n\n" },
    { "space at the end of the text", "a ", "a " },       { "carriage return", "\r", "=0D" },
    { "delete, equals, 8-bit, null", "\x7F=\xE9"s + '\0', "=7F=3D=E9=00" }, { "tab stays", "\tx", "\tx" },
    { "72 columns need no break", wide, wide }, { "a break behind the 73rd", wide + "yz", wide + "y=\nz" },
    { "an encoded byte makes a line of 76", wide + "=z", wide + "=3D=\nz" },
    { "a broken line begins anew", wide + "y.From ", wide + "y=\n=2EFrom " },
    { "From after a soft line break", wide + "yFrom x", wide + "y=\n=46rom x" },
    { "a soft line break ends blanks", wide + " \n", wide + " =\n\n" },
    { "the From of the first line counts as seven", "From " + wide, "=46rom " + wide.substr(0, 66) + "=\nxxxxxx" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(encoded(row.input, "quoted-printable"), row.expected) << row.name;
}

TEST(Base64, EncodesLinesOf76) {
  std::string const full = repeated("QUFB", 19);
  EXPECT_EQ(encoded(std::string(57, 'A'), "base64"), full);
  EXPECT_EQ(encoded(std::string(58, 'A'), "base64"), full + "\nQQ==");
  EXPECT_EQ(encoded(std::string(114, 'A'), "base64"), full + "\n" + full);
  EXPECT_EQ(encoded("A", "base64") + encoded("AB", "base64") + encoded("ABC", "base64"), "QQ==QUI=QUJD");
  EXPECT_EQ(output_of(std::string(58, 'A'), [](auto... range) { encode_base64(range...); }).find('\n'), std::string::npos);
}

// A reader that follows the definition and knows no groups.
std::string decoded_one_by_one(std::string_view input) {
  while (!input.empty() && (input.ends_with('\n') || input.ends_with('=')))
    input.remove_suffix(1);
  std::string const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string output;
  unsigned bits = 0;
  int count = 0;
  for (char const c : input) {
    auto const value = alphabet.find(c);
    if (value != std::string::npos) {
      bits = bits << 6 | static_cast<unsigned>(value);
      count += 6;
    }
    if (c == '=')
      count = 0;
    if (count >= 8)
      output += static_cast<char>(bits >> (count -= 8));
  }
  return output;
}

TEST(Base64, AgreesWithTheDefinition) {
  for_all_short_strings("A/=\n-\xFF\0"sv, [](std::string const& text) {
    for (std::string const& whole : { text, text + "QUJD" })
      EXPECT_EQ(decoded(whole, "base64"), decoded_one_by_one(whole)) << whole;
  });
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    std::string const text = random_text(random, 30000, "ABCDEFGHabcdefgh0123456789+/\n=- "sv.substr(0, round % 2 ? 28 : 32));
    ASSERT_EQ(decoded(text, "base64"), decoded_one_by_one(text)) << text;
  }
}

TEST(TransferEncodings, DecodeWhatTheyEncoded) {
  for_all_short_strings("aF.= \t\n\r\x7F\xE9"s + '\0', [](std::string const& text) {
    mime_errors_handler_t errors;
    for (auto const* encoding : { "quoted-printable", "base64" })
      ASSERT_EQ(decoded(encoded(text, encoding), encoding, &errors), text) << encoding;
    ASSERT_TRUE(errors.records().empty());
  });
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    std::string const text = random_text(random, 20000, "From ., =\t\n\xC3\xA9");
    for (auto const* encoding : { "quoted-printable", "base64" }) {
      std::string const sent = encoded(text, encoding);
      ASSERT_EQ(decoded(sent, encoding), text);
      for (std::string const& line : text::split(sent, "\n")) {
        ASSERT_LE(line.size(), 76u);
        ASSERT_FALSE(encoding[0] == 'q' && (line.starts_with('.') || line.starts_with("From ")));
      }
    }
  }
}

TEST(TransferEncodings, LeaveTheRestAlone) {
  EXPECT_EQ(encoded("a\xE9 ", "8bit") + encoded("b", "7bit"), "a\xE9 b");
  EXPECT_EQ(encoded("a", "binary") + encoded("a", "BASE64") + encoded("a", "x-uuencode"), "");
  for (auto const* encoding : { "7bit", "8bit", "binary", "BASE64", "" }) {
    std::vector<char> output;
    std::string const input = "QUJD";
    EXPECT_FALSE(mime_decode(input.begin(), input.end(), std::back_inserter(output), encoding, nullptr, false));
    EXPECT_TRUE(output.empty());
  }
}

TEST(Uuencode, Decodes) {
  struct { char const* name; std::string_view input; std::string_view expected; bool is_given_up; } const rows[] = {
    { "a file", "begin 644 cat.txt\n#0V%T\n`\nend\n", "Cat", false }, { "begin and end are missing", "#0V%T", "Cat", false },
    { "length characters are ignored", "!0V%T\n", "Cat", false },     { "values run across lines", "#0V\n\n#%T\n", "Cat", false },
    { "text after the end", "#0V%T\nend\n#0V%T\n", "Cat", false },    { "one bad byte in five", "#0V%T~", "Cat", false },
    { "more than that", "#0V%T~~", "", true }, { "more than that, and an end", "#~~~\nend\nrest", "end\nrest", true },
  };
  for (auto const& row : rows) {
    mime_errors_handler_t errors;
    testing::internal::CaptureStderr();
    std::string const output = decoded(row.input, "x-uuencode", &errors), warning = testing::internal::GetCapturedStderr();
    EXPECT_EQ(output, row.expected) << row.name;
    EXPECT_EQ(warning, row.is_given_up ? "Warning: Giving up on decoding uunencoded text. Too many errors.\n" : "") << row.name;
    EXPECT_EQ(described(errors), lines_t{ "Deprecated Content-Transfer-Encoding (x-uuencode), but Postwick can handle it. | x-uuencode" });
  }
}

TEST(Hex, MakesBytesReadable) {
  EXPECT_EQ(output_of("a ~\t\r\n\x1B\x7F\x80\xFF\0"sv, [](auto... range) { hex_print(range...); }), "a ~\\t\\r\\n{1B}{7F}{80}{FF}{00}");
  std::string digits;
  text::int_to_hex(0xAB, std::back_inserter(digits), 1);
  text::int_to_hex(0xAB, std::back_inserter(digits), 4);
  EXPECT_EQ(digits, "B00AB");
  EXPECT_EQ(hex_to_int('f') * hex_to_int('9') + hex_to_int('G') + hex_to_int('\xFF'), 15 * 9 - 2);
}

// A flood of illegal bytes costs as much per byte as anything else, full collector or not.
TEST(QuotedPrintable, StaysLinearInAFlood) {
  mime_errors_handler_t errors;
  for (std::string const unit : { "=", "= ", "=\t=4" }) {
    std::string const flood = repeated(unit, 2'000'000 / unit.size() + 1);
    EXPECT_GE(decoded(flood + ".", "quoted-printable", &errors).size(), 2'000'000u);
  }
  EXPECT_EQ(errors.records().size(), 10'001u);
}

}  // namespace
}  // namespace kel
