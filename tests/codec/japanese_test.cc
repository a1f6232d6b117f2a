#include <gtest/gtest.h>

#include <codec/codec_verbs.h>
#include <helpers/repeated.h>
#include <kelmime/charset.h>

namespace kel {
namespace {

using namespace test;

std::string indicated(char const* charset, char const* instead = "ISO-2022-JP-3") {
  return std::string("Escape sequence indicates the charset is “") + charset + "” (and not “" + instead + "”). | ";
}

TEST(JapaneseConvert, RecoversWhatTheLabelDoesNotCover) {
  std::string const jp3 = "iso-2022-jp-3";
  std::string const is_jp1 = indicated("ISO-2022-JP-1"), is_jp2 = indicated("ISO-2022-JP-2"), is_jp4 = indicated("ISO-2022-JP-4");
  struct { char const* name; std::string_view input, expected; lines_t records; char const* charset = "iso-2022-jp"; } const rows[] = {
    { "plain text", "\x1B$B$\"\x1B(J a\x1B(B b\n\x1B$@$\"", "あ a b\nあ", {} },
    { "half-width katakana", "a \x1B(I12\x1B(B b\n", "a ｱｲ b\n", {} },
    { "JIS X 0213-2004", "a \x1B$(Q$w\x1B(B b\nc", "a か゚ b\nc",
      { invalid(jp3, "a {1B}$(Q$w{1B}(B "), is_jp4 + "a {1B}$(Q$w{1B}(B b\\nc" } },
    { "JIS X 0212", "\x1B$(D0!\x1B(B b\nc", "丂 b\nc", { invalid(jp3, "{1B}$(D0!{1B}(B "), is_jp1 + "{1B}$(D0!{1B}(B b\\nc" } },
    { "Chinese, Korean, Greek", "\x1B$A0!\x1B$(C0!\x1B.F\x1BNa\n", "啊가α\n",
      { invalid(jp3, "{1B}$A0!{1B}$(C0"), is_jp2 + "{1B}$A0!{1B}$(C0!{1B}.F{1B}Na\\n" } },
    { "two variants in one line", "\x1B$(D0!\x1B(B b \x1B(I12\x1B(B c\nd", "丂 b ｱｲ c\nd",
      { invalid(jp3, "{1B}$(D0!{1B}(B "), is_jp1 + "{1B}$(D0!{1B}(B b {1B}(I12{1B}(B",
       invalid("iso-2022-jp-1", "(D0!{1B}(B b {1B}(I12{1B}(B c") } },
    { "a bad pair in line 3 of 5", "1\n2\n\x82\xA0\x81\x20\x82\xA2\n\x82\xA4\n5\n", "1\n2\nあ<U+0081> い\nう\n5\n",
      { invalid("shift_jis", "1\\n2\\n{82}{A0}{81} {82}{A2}\\n{82}{A4}\\n5\\n") }, "shift_jis" },
    { "a bad pair in the last line", "\x82\xA0\n\x81\x20z", "あ\n<U+0081> z", { invalid("shift_jis", "{82}{A0}\\n{81} z") }, "shift_jis" },
    { "a pair cut off by the end", "a\x82", "a<U+0082>",
      { incomplete("shift_jis", "a{82}"), incomplete("shift_jis", "a{82}") }, "shift_jis" },
    { "an escape sequence cut off by the end", "a\x1B$", "a<U+001B><U+0024>", { incomplete(jp3, "a{1B}$"), incomplete(jp3, "a{1B}$") } },
    { "an unknown escape sequence", "a\x1BZ\x1B$B$\"\nb\n", "a<U+001B>Zあ\nb\n", { invalid(jp3, "a{1B}Z{1B}$B$\"\\nb\\n") } },
    { "a character cut off by an escape sequence", "\x1B$B$\x1B(Bz", "<U+0024>z", { invalid(jp3, "{1B}$B${1B}(Bz") } },
    { "the shift state survives a substitution", "\x1B$B$\"\xFF$\"\n$\"\x1B(B", "あ<U+00FF>あ\n$\"",
      { invalid(jp3, "{1B}$B$\"{FF}$\"\\n$\"{1B}(B") } },
    { "a bad byte before another variant", "\x80 \x1B$(D0!\x1B(B\nb\x1B$(D0!\x1B(B \x80\nc", "<U+0080> <U+001B>$(D0!\nb丂 <U+0080>\nc",
      { invalid(jp3, "{80} {1B}$(D0!{1B}("), invalid(jp3, "b{1B}$(D0!{1B}(B "), is_jp1 + "{80} {1B}$(D0!{1B}(B\\nb{1B}$(D0!{1B}(B {80}\\nc",
       invalid("iso-2022-jp-1", "{1B}$(D0!{1B}(B {80}\\nc") } },
    { "another variant in lines 1 and 3, a bad byte later", "\x1B$(D0!\x1B(B\n2\n\x1B$(D0!\x1B(B\n4 \x80\n5", "丂\n2\n丂\n4 <U+0080>\n5",
      { invalid(jp3, "{1B}$(D0!{1B}(B\\n"), is_jp1 + "{1B}$(D0!{1B}(B\\n2\\n{1B}$(D0!{1B}(",
       invalid("iso-2022-jp-1", "(D0!{1B}(B\\n4 {80}\\n5") } },
    { "ESC at the end", "\x1B$B$\"\x1B", "あ<U+001B>", { incomplete(jp3, "{1B}$B$\"{1B}"), incomplete(jp3, "{1B}$B$\"{1B}") } },
    { "one character of a set that is not designated yet", "\x1B$(C0!\x1BNa\x1B.F\x1BNa\n", "가<U+001B>Na<U+001B>.F<U+001B>Na\n",
      { invalid(jp3, "{1B}$(C0!{1B}Na{1B}"), is_jp2 + "{1B}$(C0!{1B}Na{1B}.F{1B}Na\\n",
       invalid("iso-2022-jp-2", "{1B}$(C0!{1B}Na{1B}.F{1B}Na\\n") } },
    { "circled numbers", "a\x1B$B-!-*$\"\x1B(B \x1B$B-\"\x1B(B",
      "a(1)(10)あ (2)", { "Non-standard circled number detected in Japanese encoding (charset is “iso-2022-jp-3”) | a{1B}$B-!" } },
    { "not a circled number", "\x1B$B-+\x1B(Bx", "<U+002D><U+002B>x", { invalid(jp3, "{1B}$B-+{1B}(Bx") } },
    { "a circled number cut off by the end", "\x1B$B-", "<U+002D>", { incomplete(jp3, "{1B}$B-"), incomplete(jp3, "{1B}$B-") } },
  };
  for (auto const& row : rows) {
    converted_t const result = converted(row.input, row.charset);
    EXPECT_EQ(result.text, row.expected) << row.name;
    EXPECT_EQ(result.records, row.records) << row.name;
  }
}

TEST(JapaneseConvert, TakesEveryVariantByItsName) {
  struct { std::string_view input; char const* charset; char const* expected; lines_t records; } const rows[] = {
    { "\x1B$(D0!", "iso-2022-jp-1", "丂", {} }, { "\x1B$(Q$w", "iso-2022-jp-4", "か゚", {} },
    { "\x1B(I1", "iso-2022-jp", "ｱ", { invalid("iso-2022-jp", "{1B}(I1"), indicated("ISO-2022-JP-3", "ISO-2022-JP") + "{1B}(I1" } },
    { "a", "no-charset", "<U+0061>", { unknown_charset, unknown_charset } },
  };
  for (auto const& row : rows) {
    mime_errors_handler_t errors;
    EXPECT_EQ(output_of(row.input, [&](auto... range) { japanese_convert(range..., row.charset, &errors); }), row.expected);
    EXPECT_EQ(described(errors), row.records) << row.charset;
  }
}

// Text that makes every line, or every few bytes, a new beginning. Nothing is lost or written twice, and the collector
// keeps its limit.
TEST(JapaneseConvert, LosesNothingInHostileText) {
  struct { char const* charset; std::string_view unit, text; } const rows[] = {
    { "iso-2022-jp", "\x1B", "<U+001B>" }, { "iso-2022-jp", "\x1B(B", "" }, { "iso-2022-jp", "\x1B(B\x80", "<U+0080>" },
    { "iso-2022-jp", "\x1B$B\x80\n", "<U+0080>\n" },       { "iso-2022-jp", "\x1B$(D0!\x1B(I12\x1B(B\n", "丂ｱｲ\n" },
    { "iso-2022-jp", "\x1B$(D\n", "\n" },                  { "iso-2022-jp", "\x1B$B-!\x1B(B", "(1)" },
    { "iso-2022-jp", "\x1B$B$\"$\"$\"\x1B(B\n", "あああ\n" }, { "shift_jis", "\x81\n", "<U+0081>\n" },
    { "shift_jis", "\x81 ", "<U+0081> " },
  };
  for (auto const& row : rows) {
    std::size_t const count = 200'000 / row.unit.size();
    converted_t const result = converted(repeated(row.unit, count), row.charset);
    EXPECT_TRUE(result.text == repeated(row.text, count)) << row.charset << " " << row.unit;
    EXPECT_LE(result.records.size(), 10'001u);
  }
}

}  // namespace
}  // namespace kel
