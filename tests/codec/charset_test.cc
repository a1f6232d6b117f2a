#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <random>
#include <sstream>

#include <iconv.h>

#include <base/utf8.h>
#include <codec/codec_verbs.h>
#include <codec/conversion.h>
#include <helpers/threads.h>
#include <kel/text.h>
#include <kelmime/charset.h>

namespace kel {
namespace {

using namespace std::literals;
using namespace test;

std::string const latin1_form = "caf\xC3\xA9";

TEST(ConvertToUtf8, CorrectsClaims) {
  auto const not_utf8 = [](std::string const& declared, std::string const& assumed, std::string const& context) {
    return "Non-ASCII detected in string claimed to be ASCII (“" + declared + "”). It is not valid UTF-8. Instead " + assumed +
           " is assumed | " + context;
  };
  auto const escape = [](std::string const& context) {
    return "Escape character detected in string (charset is “”). Instead ISO-2022-JP is assumed | " + context;
  };
  std::string const is_utf8 = "” and contains 8 bit characters. It is valid and assumed to be UTF-8. | \xC3\xA9";
  struct { char const* name; std::string_view input; std::string declared, guess, text, used; lines_t records; } const rows[] = {
    { "ascii", "abc", "ascii", "", "abc", "us-ascii", { "Non-standard charset is assumed to be 'us-ascii' | ascii" } },
    { "utf-8 called ASCII", "0123456789\t0123456789ab\n\xC3\xA9", "us-ascii", "koi8-r", "0123456789\t0123456789ab\n\xC3\xA9", "utf-8",
      { "Non-ASCII detected in string claimed to be ASCII (“us-ascii”). It is valid and assumed to be UTF-8. | "
        "456789\\t0123456789ab\\n\xC3\xA9" } },
    { "no charset, guessed", "\xE9", "", "iso-8859-1", "\xC3\xA9", "iso-8859-1", { not_utf8("", "ISO-8859-1", "{E9}") } },
    { "no charset, nothing guessed", "\xE9", "", "", "\xC3\xA9", "", { not_utf8("", "", "{E9}"), invalid("", "{E9}") } },
    { "unknown-8bit", "\xC1\n", "unknown-8bit", "koi8-r", "а\n", "koi8-r",
      { "Charset is “unknown-8bit” and contains 8 bit characters. It is not valid UTF-8. Instead KOI8-R is assumed | {C1}\\n" } },
    { "unknown-8bit in UTF-8", "\xC3\xA9", "unknown-8bit", "koi8-r", "\xC3\xA9", "utf-8", { "Charset is “unknown-8bit" + is_utf8 } },
    { "x-unknown in UTF-8", "\xC3\xA9", "x-unknown", "", "\xC3\xA9", "utf-8", { "Charset is “x-unknown" + is_utf8 } },
    { "a mislabel guessed", "\x81\x40", "us-ascii", "gb2312", "丂", "gb18030", { not_utf8("us-ascii", "GB2312", "{81}@") } },
    { "x-unknown in ASCII", "abc", "x-unknown", "", "abc", "x-unknown", { unknown_charset } },
    { "another name of ASCII", "abc", "iso_646.irv:1991", "", "abc", "iso_646.irv:1991", {} },
    { "no charset in ASCII", "abc", "", "", "abc", "", {} },
    { "escape sequence without a charset", "a\x1B$B$\"\x1B(B", "", "", "aあ", "iso-2022-jp-3", { escape("a{1B}$B$\"{1B}(B") } },
    { "escape sequence, guessed too", "\x1B$B$\"", "", "iso-2022-jp", "あ", "iso-2022-jp-3", { escape("{1B}$B$\"") } },
    { "escape sequence, something else guessed", "\x1B$B", "", "koi8-r", "\x1B$B", "", {} },
    { "escape sequence in declared ASCII", "\x1B$B", "us-ascii", "", "\x1B$B", "us-ascii", {} },
    { "escape sequence before an 8-bit byte", "\x1B$B$\"\x1B(B\xC1", "", "", "あ<U+00C1>", "iso-2022-jp-3",
      { escape("{1B}$B$\"{1B}(B{C1}"), invalid("iso-2022-jp-3", "{1B}$B$\"{1B}(B{C1}") } },
    { "before an 8-bit byte, another guessed", "\x1B$B\xC1", "", "koi8-r", "\x1B$Bа", "koi8-r", { not_utf8("", "KOI8-R", "{1B}$B{C1}") } },
    { "escape sequence behind an 8-bit byte", "\xC1\x1B$B", "", "koi8-r", "а\x1B$B", "koi8-r", { not_utf8("", "KOI8-R", "{C1}{1B}$B") } },
    { "gb2312 is more than it says", "\x81\x40", "gb2312", "", "丂", "gb18030", {} },
    { "ks_c_5601-1987", "\xB0\xA1", "ks_c_5601-1987", "", "가", "euc-kr", {} },
    { "western", "caf\xE9", "western", "", latin1_form, "iso-8859-1", {} },
    { "unknown charset", "caf\xE9", "foo", "", latin1_form, "foo", { unknown_charset } },
    { "stray byte", "\xC3\xA9 \xFF \xC3\xA9", "utf-8", "", "\xC3\xA9 ÿ Ã©", "utf-8", { invalid("utf-8", "{C3}{A9} {FF} {C3}{A9}") } },
    { "utf-8 cut off", "a\xE2\x82", "utf-8", "", "aâ\xC2\x82", "utf-8", { incomplete("utf-8", "a{E2}{82}") } },
    { "beyond Unicode", "\xF4\x90\x80\x80", "utf-8", "", "ô\xC2\x90\xC2\x80\xC2\x80", "utf-8", { invalid("utf-8", "{F4}{90}{80}{80}") } },
    { "a byte without a meaning", "a\x81z", "windows-1252", "", "a\xC2\x81z", "windows-1252", { invalid("windows-1252", "a{81}z") } },
    { "nothing", "", "ascii", "", "", "ascii", {} },
  };
  for (auto const& row : rows) {
    converted_t const result = converted(row.input, row.declared, [&] { return row.guess; });
    EXPECT_EQ(result.text, row.text) << row.name;
    EXPECT_EQ(result.charset, row.used) << row.name;
    EXPECT_EQ(result.records, row.records) << row.name;

    std::string charset = row.declared;
    std::vector<char> unrecorded;
    convert_to_utf8(row.input.begin(), row.input.end(), std::back_inserter(unrecorded), charset, [&] { return row.guess; }, nullptr);
    EXPECT_EQ(std::string(unrecorded.begin(), unrecorded.end()), row.text) << row.name;
  }
}

TEST(ConvertToUtf8, AsksTheGuesserOnlyWhenNeeded) {
  std::string const escapes = "\x1B$B\x1B$B\x1B$B";
  struct { std::string input, declared, guess; int asked; } const rows[] = {
    { "plain", "", "koi8-r", 0 },      { "plain", "us-ascii", "koi8-r", 0 }, { "\xE9", "iso-8859-1", "koi8-r", 0 },
    { escapes, "", "iso-2022-jp", 1 }, { escapes, "", "", 2 },               { escapes, "", "koi8-r", 2 },
    { escapes, "us-ascii", "", 0 },    { "\xE9", "us-ascii", "koi8-r", 1 },  { latin1_form, "us-ascii", "koi8-r", 0 },
  };
  for (auto const& row : rows) {
    int asked = 0;
    converted(row.input, row.declared, [&] { return ++asked, row.guess; });
    EXPECT_EQ(asked, row.asked) << row.input << " " << row.declared << " " << row.guess;
  }
}

// One pass through iconv, as the definition has it.
struct reference_t {
  std::string text;
  std::size_t stop;
  int error;
};

reference_t reference(std::string input, char const* charset) {
  iconv_t const descriptor = iconv_open("UTF-8", charset);
  EXPECT_NE(descriptor, reinterpret_cast<iconv_t>(-1)) << charset;
  std::string text(input.size() * 8 + 16, '\0');
  char *in = input.data(), *out = text.data();
  std::size_t in_left = input.size(), out_left = text.size();
  bool const is_whole = iconv(descriptor, &in, &in_left, &out, &out_left) != static_cast<std::size_t>(-1);
  int const error = is_whole ? 0 : errno;
  iconv(descriptor, nullptr, nullptr, &out, &out_left);
  iconv_close(descriptor);
  return { text.substr(0, text.size() - out_left), input.size() - in_left, error };
}

constexpr char const* many_charsets[] = {
  "us-ascii",  "iso-8859-1", "iso-8859-8", "windows-1252", "windows-1255", "windows-1258", "koi8-r", "koi8-u",
  "macintosh", "cp437",      "tcvn",       "shift_jis",    "euc-jp",       "gb18030",      "big5",   "big5-hkscs",
  "euc-kr",    "utf-16be",   "utf-16le",   "utf-32be",     "utf-7",        "iso-2022-kr",  "ebcdic-us",
};

// Tables, kept converters and windows must not show: positions, text and records are those of a new converter.
TEST(Convert, AgreesWithIconv) {
  std::mt19937 random(1);
  for (int round = 0; round < 40; ++round) {
    for (auto const* charset : many_charsets) {
      std::string input(random() % (round % 8 ? 40 : 20000), ' ');
      std::ranges::generate(input, [&] { return static_cast<char>(random() % (round % 3 ? 128 : 256)); });
      reference_t const expected = reference(input, charset);
      mime_errors_handler_t errors;
      std::string text;
      auto const stop = convert(input.begin(), input.end(), std::back_inserter(text), charset, "UTF-8", /*use_fallback*/ false, &errors);
      ASSERT_EQ(text, expected.text) << charset;
      ASSERT_EQ(stop - input.begin(), static_cast<std::ptrdiff_t>(expected.stop)) << charset;
      ASSERT_EQ(errors.records().size(), expected.error ? 1u : 0u) << charset;
      if (expected.error) {
        ASSERT_EQ(errors.records()[0].at("description").starts_with("Incomplete"), expected.error == EINVAL) << charset;
      }
      ASSERT_TRUE(utf8::is_valid(text.begin(), text.end())) << charset;
    }
  }
}

// Every charset name that the C library tells.
lines_t all_charsets() {
  lines_t names(std::begin(many_charsets), std::end(many_charsets));
  std::unique_ptr<FILE, int (*)(FILE*)> const list(popen("iconv -l 2>/dev/null", "r"), pclose);
  std::string text;
  for (int c; list && (c = std::getc(list.get())) != EOF;)
    text += std::string_view(",/\n").find(static_cast<char>(c)) == std::string_view::npos ? static_cast<char>(c) : ' ';
  std::istringstream words(text);
  for (std::string name; words >> name;)
    names.push_back(text::lowercase(name));
  return names;
}

std::string substituted(std::string_view input, std::string_view from, std::string_view to = "UTF-8") {
  return output_of(input, [&](auto... range) { convert(range..., from, to, /*use_fallback*/ true, nullptr); });
}

TEST(Convert, WritesValidUtf8Only) {
  for (std::string const& charset : all_charsets()) {
    for (auto const unit : { "\xF4\x90\x80\x80"sv, "\xED\xA0\x80"sv, "\xD8\0"sv, "\0\xD8"sv, "\0\0\xD8\0"sv,
                             "\0\xD8\0\0"sv, "\0\x11\0\0"sv, "\0\0\x11\0"sv, "+2AA-"sv, "\\ud800"sv }) {
      std::string const text = substituted(unit, charset);
      EXPECT_TRUE(utf8::is_valid(text.begin(), text.end())) << charset << " " << unit;
    }
  }
}

TEST(Convert, SubstitutesWhatDoesNotConvert) {
  EXPECT_EQ(substituted("a\xFF\xC3\xA9\x80z", "utf-8"), "a<U+00FF>é<U+0080>z");
  EXPECT_EQ(substituted("a\x81\x8Dz", "windows-1252"), "a<U+0081><U+008D>z");
  EXPECT_EQ(substituted("a\xE9", "us-ascii"), "a<U+00E9>");
  EXPECT_EQ(substituted("\x1B$B$\"\xFF$\"\x1B(Bz", "iso-2022-jp"), "あ<U+00FF>あz");
  EXPECT_EQ(substituted("xa\x8A\xECz", "cp1258"), "xa<U+008A>\xCC\x81z");
  EXPECT_EQ(substituted("\xF9\xFF\xC8z", "windows-1255"), "ש<U+00FF>\xD6\xB8z");
  EXPECT_EQ(substituted("a\xC3\xA9\xFF\xE2\x82\xAC!", "utf-8", "iso-8859-1"), "a\xE9<U+00FF><U+00E2><U+0082><U+00AC>!");
}

// The row before must not show either.
TEST(Convert, ReadsTheByteOrderOfEachText) {
  std::string const big_16 = "\0a\xD8\x3D\xDE\x00"s, little_16 = "a\0\x3D\xD8\x00\xDE"s;
  std::string const big_32 = "\0\0\0a\0\x01\xF6\0"s, little_32 = "a\0\0\0\0\xF6\x01\0"s;
  for (auto const* charset : { "utf-16", "ucs-2", "unicode", "csunicode", "iso-10646-ucs-2" }) {
    for (std::string const& text : { "\xFE\xFF" + big_16, "\xFF\xFE" + little_16, big_16 })
      EXPECT_EQ(converted(text, charset).text, "a😀") << charset;
  }
  for (auto const* charset : { "utf-32", "ucs-4", "iso-10646", "iso-10646-ucs-4" }) {
    for (std::string const& text : { "\0\0\xFE\xFF"s + big_32, "\xFF\xFE\0\0"s + little_32, big_32 })
      EXPECT_EQ(converted(text, charset).text, "a😀") << charset;
    EXPECT_EQ(converted("\0\0\0a\0\x11\0\0"sv, charset).text, "a\0\x11\0\0"sv) << charset;
  }
  for (auto const* charset : { "utf-16le", "ucs-2le", "unicodelittle" })
    EXPECT_EQ(converted("a\0"sv, charset).text, "a") << charset;
  EXPECT_EQ(converted(little_32, "ucs-4le").text, "a😀");
  EXPECT_EQ(converted(big_32, "ucs-4be").text, "a😀");
  EXPECT_EQ(converted("\xFE", "utf-16").records, lines_t{ incomplete("utf-16", "{FE}") });
}

TEST(Convert, KnowsTheSpellingsOfMail) {
  struct { char const* charset; std::string_view input, text; } const rows[] = {
    { "cp-1250", "\x8A", "Š" },         { "cp-1251", "\xC0", "А" },       { "cp-1252", "\x80", "€" },
    { "cp-850", "\x82", "é" },          { "csbig5", "\xA4\x40", "一" },   { "gb_2312-80", "\xB0\xA1", "啊" },
    { "iso-8859-6-e", "\xC7", "ا" },    { "iso-8859-6-i", "\xC7", "ا" },  { "iso-8859-8-e", "\xE0", "א" },
    { "iso-8859-8-i", "\xE0", "א" },    { "ksc_5601", "\xB0\xA1", "가" }, { "macroman", "\x8E", "é" },
    { "unicode-1-1-utf-7", "+AOk-", "é" }, { "windows-949", "\x81\x41", "갂" }, { "x-cp1250", "\x8A", "Š" },
    { "x-cp1251", "\xC0", "А" },        { "x-cp1252", "\x80", "€" },      { "x-euc-jp", "\xA4\xA2", "あ" },
    { "x-gbk", "\x81\x40", "丂" },      { "x-mac-cyrillic", "\x80", "А" }, { "x-mac-roman", "\x8E", "é" },
    { "x-sjis", "\x82\xA0\x87\x40", "あ①" }, { "unicode-1-1-utf-8", "é", "é" }, { "utf8mb4", "é", "é" },
    { "osf05010001", "é", "é" },
  };
  for (auto const& row : rows) {
    converted_t const result = converted(row.input, row.charset);
    EXPECT_EQ(result.text, row.text) << row.charset;
    EXPECT_EQ(result.charset, row.charset);
    EXPECT_EQ(result.records, lines_t{}) << row.charset;
  }
}

TEST(Convert, OpensOnlyCharsetsOfMail) {
  for (std::string const name : { "wchar_t", "(wchar_t)", "internal", "char", "ucs-4-internal", "java", "utf-8//ignore",
                                  "utf-8,utf-16", "iso 8859-1", "\xC3\xA9", "no-such-charset", "+" })
    EXPECT_EQ(converted("abcd", name).records, lines_t{ unknown_charset }) << name;
  EXPECT_EQ(converted("a", "utf-8" + std::string(60, '+')).records.size(), 1u);
  EXPECT_EQ(converted("caf\xE9", "nf_z_62-010_(1973)").records, lines_t{ invalid("nf_z_62-010_(1973)", "caf{E9}") });

  mime_errors_handler_t errors;
  std::string text;
  std::string const input = "abc";
  EXPECT_EQ(convert(input.begin(), input.end(), std::back_inserter(text), "none", "UTF-8", false, &errors), input.begin());
  EXPECT_EQ(errors.records()[0].at("from_charset") + " " + errors.records()[0].at("to_charset"), "none UTF-8");
}

// A pass that is said to record nothing records nothing; the common ones are said to.
TEST(ConvertToUtf8, KnowsSilentPasses) {
  for (std::string const text : { "plain", "caf\xC3\xA9", "\xC2\x81\xD0\x8D", "\x1B$B", "\xEF\xBF\xBD" }) {
    for (std::string const charset : { "", "ascii", "us-ascii", "utf-8", "iso-8859-1", "windows-1252", "koi8-r",
                                       "x-unknown", "western", "shift_jis", "iso-2022-jp-3", "gb2312", "foo" }) {
      if (is_silent_conversion(text, charset)) {
        EXPECT_EQ(converted(text, charset).records, lines_t{}) << charset << " " << text;
      }
    }
  }
  EXPECT_TRUE(is_silent_conversion(latin1_form, "utf-8") && is_silent_conversion(latin1_form, "iso-8859-1"));
  EXPECT_TRUE(is_silent_conversion("plain", "us-ascii") && is_silent_conversion("plain", "windows-1252"));
  EXPECT_FALSE(is_silent_conversion("\xC2\x81", "windows-1252") || is_silent_conversion(latin1_form, "us-ascii"));
}

TEST(Convert, StartsColdInTwoThreads) {
  in_threads(2, [](int) {
    for (auto const* charset : { "cp866", "iso-8859-7", "euc-tw", "cp1250" })
      EXPECT_EQ(converted("abc", charset).text, "abc");
  });
}

TEST(GuessCharset, FindsTheFirstName) {
  struct { std::string input; char const* expected; } const rows[] = {
    { "charset=Windows-1251; or koi8-r", "windows-1251" }, { "ISO-8859-15", "iso-8859-1" },
    { "=?WINDOWS-874?", "windows-874" },                   { "koi8-cs", "koi8-cs" },
    { "koi8-x EUC-TW", "euc-tw" },                         { "Subject: \x1B$B", "iso-2022-jp" },
    { "iso-2022-kr \x1B$", "iso-2022-kr" },                { "utf-8, us-ascii, \x1B(", "" },
    { std::string(2994, '\xFF') + "gb2312", "gb2312" }, { std::string(2995, ' ') + "gb2312", "" }, { "", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(on_exact_copy(row.input, [](auto... range) { return guess_charset(range...); }), row.expected) << row.input;
}

}  // namespace
}  // namespace kel
