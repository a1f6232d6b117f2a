#include <gtest/gtest.h>

#include <codec/codec_verbs.h>
#include <helpers/repeated.h>
#include <kelmime/charset.h>

namespace kel {
namespace {

using test::described;
using test::lines_t;

std::string const illegal = "Invalid multibyte sequence encountered (iconv / ";
std::string const incomplete = "Incomplete multibyte sequence encountered (iconv / ";

std::string indicated(char const* charset, char const* instead = "ISO-2022-JP-3") {
  return std::string("Escape sequence indicates the charset is “") + charset + "” (and not “" + instead + "”). | ";
}

TEST(JapaneseConvert, RecoversWhatTheLabelDoesNotCover) {
  struct {
    char const* name;
    char const* charset;
    std::string_view input;
    std::string expected;
    lines_t records;
  } const rows[] = {
    { "plain text", "iso-2022-jp", "\x1B$B$\"\x1B(J a\x1B(B b\n\x1B$@$\"", "あ a b\nあ", {} },
    { "half-width katakana", "iso-2022-jp", "a \x1B(I12\x1B(B b\n", "a ｱｲ b\n", {} },
    { "JIS X 0213-2004", "iso-2022-jp", "a \x1B$(Q$w\x1B(B b\nc", "a か゚ b\nc", { illegal +
      "iso-2022-jp-3) | a {1B}$(Q$w{1B}(B ", indicated("ISO-2022-JP-4") + "a {1B}$(Q$w{1B}(B b\\nc" } },
    { "JIS X 0212", "iso-2022-jp", "\x1B$(D0!\x1B(B b\nc", "丂 b\nc", { illegal + "iso-2022-jp-3) | {1B}$(D0!{1B}(B ",
      indicated("ISO-2022-JP-1") + "{1B}$(D0!{1B}(B b\\nc" } },
    { "Chinese, Korean, Greek", "iso-2022-jp", "\x1B$A0!\x1B$(C0!\x1B.F\x1BNa\n", "啊가α\n", { illegal +
      "iso-2022-jp-3) | {1B}$A0!{1B}$(C0", indicated("ISO-2022-JP-2") + "{1B}$A0!{1B}$(C0!{1B}.F{1B}Na\\n" } },
    { "two variants in one line", "iso-2022-jp", "\x1B$(D0!\x1B(B b \x1B(I12\x1B(B c\nd", "丂 b ｱｲ c\nd", { illegal +
      "iso-2022-jp-3) | {1B}$(D0!{1B}(B ", indicated("ISO-2022-JP-1") + "{1B}$(D0!{1B}(B b {1B}(I12{1B}(B", illegal +
      "iso-2022-jp-1) | (D0!{1B}(B b {1B}(I12{1B}(B c" } },
    { "a bad pair in line 3 of 5", "shift_jis", "1\n2\n\x82\xA0\x81\x20\x82\xA2\n\x82\xA4\n5\n",
      "1\n2\nあ<U+0081> い\nう\n5\n", { illegal + "shift_jis) | 1\\n2\\n{82}{A0}{81} {82}{A2}\\n{82}{A4}\\n5\\n" } },
    { "a bad pair in the last line", "shift_jis", "\x82\xA0\n\x81\x20z", "あ\n<U+0081> z", { illegal +
      "shift_jis) | {82}{A0}\\n{81} z" } },
    { "a pair cut off by the end", "shift_jis", "a\x82", "a<U+0082>", { incomplete + "shift_jis) | a{82}", incomplete +
      "shift_jis) | a{82}" } },
    { "an escape sequence cut off by the end", "iso-2022-jp", "a\x1B$", "a<U+001B><U+0024>", { incomplete +
      "iso-2022-jp-3) | a{1B}$", incomplete + "iso-2022-jp-3) | a{1B}$" } },
    { "an unknown escape sequence", "iso-2022-jp", "a\x1BZ\x1B$B$\"\nb\n", "a<U+001B>Zあ\nb\n", { illegal +
      "iso-2022-jp-3) | a{1B}Z{1B}$B$\"\\nb\\n" } },
    { "a character cut off by an escape sequence", "iso-2022-jp", "\x1B$B$\x1B(Bz", "<U+0024>z", { illegal +
      "iso-2022-jp-3) | {1B}$B${1B}(Bz" } },
    { "the shift state survives a substitution", "iso-2022-jp", "\x1B$B$\"\xFF$\"\n$\"\x1B(B", "あ<U+00FF>あ\n$\"", {
      illegal + "iso-2022-jp-3) | {1B}$B$\"{FF}$\"\\n$\"{1B}(B" } },
    { "a bad byte before an escape sequence of another variant", "iso-2022-jp",
      "\x80 \x1B$(D0!\x1B(B\nb\x1B$(D0!\x1B(B \x80\nc", "<U+0080> <U+001B>$(D0!\nb丂 <U+0080>\nc", { illegal +
      "iso-2022-jp-3) | {80} {1B}$(D0!{1B}(", illegal + "iso-2022-jp-3) | b{1B}$(D0!{1B}(B ", indicated("ISO-2022-JP-1")
      + "{80} {1B}$(D0!{1B}(B\\nb{1B}$(D0!{1B}(B {80}\\nc", illegal + "iso-2022-jp-1) | {1B}$(D0!{1B}(B {80}\\nc" } },
    { "another variant in lines 1 and 3, a bad byte later", "iso-2022-jp",
      "\x1B$(D0!\x1B(B\n2\n\x1B$(D0!\x1B(B\n4 \x80\n5", "丂\n2\n丂\n4 <U+0080>\n5", { illegal +
      "iso-2022-jp-3) | {1B}$(D0!{1B}(B\\n", indicated("ISO-2022-JP-1") + "{1B}$(D0!{1B}(B\\n2\\n{1B}$(D0!{1B}(",
      illegal + "iso-2022-jp-1) | (D0!{1B}(B\\n4 {80}\\n5" } },
    { "ESC at the end", "iso-2022-jp", "\x1B$B$\"\x1B", "あ<U+001B>", { incomplete + "iso-2022-jp-3) | {1B}$B$\"{1B}",
      incomplete + "iso-2022-jp-3) | {1B}$B$\"{1B}" } },
    { "one character of a set that is not designated yet", "iso-2022-jp", "\x1B$(C0!\x1BNa\x1B.F\x1BNa\n",
      "가<U+001B>Na<U+001B>.F<U+001B>Na\n", { illegal + "iso-2022-jp-3) | {1B}$(C0!{1B}Na{1B}",
      indicated("ISO-2022-JP-2") + "{1B}$(C0!{1B}Na{1B}.F{1B}Na\\n", illegal +
      "iso-2022-jp-2) | {1B}$(C0!{1B}Na{1B}.F{1B}Na\\n" } },
    { "circled numbers", "iso-2022-jp", "a\x1B$B-!-*$\"\x1B(B \x1B$B-\"\x1B(B", "a(1)(10)あ (2)", {
      "Non-standard circled number detected in Japanese encoding (charset is “iso-2022-jp-3”) | a{1B}$B-!" } },
    { "not a circled number", "iso-2022-jp", "\x1B$B-+\x1B(Bx", "<U+002D><U+002B>x", { illegal +
      "iso-2022-jp-3) | {1B}$B-+{1B}(Bx" } },
    { "a circled number cut off by the end", "iso-2022-jp", "\x1B$B-", "<U+002D>", { incomplete +
      "iso-2022-jp-3) | {1B}$B-", incomplete + "iso-2022-jp-3) | {1B}$B-" } },
  };
  for (auto const& row : rows) {
    mime_errors_handler_t errors;
    std::string charset = row.charset;
    EXPECT_EQ(test::output_of(row.input, [&](auto first, auto last,
                                             auto out) { convert_to_utf8(first, last, out, charset, {}, &errors); }),
              row.expected)
        << row.name;
    EXPECT_EQ(described(errors), row.records) << row.name;
  }
}

TEST(JapaneseConvert, TakesEveryVariantByItsName) {
  auto const converted = [](std::string_view input, char const* charset, lines_t const& records) {
    mime_errors_handler_t errors;
    std::string const text = test::output_of(
        input, [&](auto first, auto last, auto out) { japanese_convert(first, last, out, charset, &errors); });
    EXPECT_EQ(described(errors), records) << charset;
    return text;
  };
  EXPECT_EQ(converted("\x1B$(D0!", "iso-2022-jp-1", {}), "丂");
  EXPECT_EQ(converted("\x1B$(Q$w", "iso-2022-jp-4", {}), "か゚");
  EXPECT_EQ(converted("\x1B(I1", "iso-2022-jp",
                      { illegal + "iso-2022-jp) | {1B}(I1", indicated("ISO-2022-JP-3", "ISO-2022-JP") + "{1B}(I1" }),
            "ｱ");
  std::string const unknown = "Unknown charset specified for conversion (iconv)";
  EXPECT_EQ(converted("a", "no-charset", { unknown, unknown }), "<U+0061>");
}

// Text that makes every line, or every few bytes, a new beginning. Nothing is lost or written twice, and the collector
// keeps its limit.
TEST(JapaneseConvert, LosesNothingInHostileText) {
  struct {
    char const* charset;
    std::string_view unit, text;
  } const rows[] = {
    { "iso-2022-jp", "\x1B", "<U+001B>" },
    { "iso-2022-jp", "\x1B(B", "" },
    { "iso-2022-jp", "\x1B(B\x80", "<U+0080>" },
    { "iso-2022-jp", "\x1B$B\x80\n", "<U+0080>\n" },
    { "iso-2022-jp", "\x1B$(D0!\x1B(I12\x1B(B\n", "丂ｱｲ\n" },
    { "iso-2022-jp", "\x1B$(D\n", "\n" },
    { "iso-2022-jp", "\x1B$B-!\x1B(B", "(1)" },
    { "iso-2022-jp", "\x1B$B$\"$\"$\"\x1B(B\n", "あああ\n" },
    { "shift_jis", "\x81\n", "<U+0081>\n" },
    { "shift_jis", "\x81 ", "<U+0081> " },
  };
  for (auto const& row : rows) {
    std::size_t const count = 200'000 / row.unit.size();
    std::string const text = repeated(row.unit, count);
    std::string charset = row.charset;
    mime_errors_handler_t errors;
    EXPECT_TRUE(test::output_of(text, [&](auto first, auto last, auto out) {
                  convert_to_utf8(first, last, out, charset, {}, &errors);
                }) == repeated(row.text, count))
        << row.charset << " " << row.unit;
    EXPECT_LE(errors.records().size(), 10'001u);
  }
}

}  // namespace
}  // namespace kel
