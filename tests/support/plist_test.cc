#include <kel/plist.h>

#include <gtest/gtest.h>

#include <helpers/exact_copy.h>
#include <helpers/repeated.h>
#include <helpers/short_strings.h>

namespace kel {
namespace {

using plist::array_t;
using plist::dictionary_t;
using plist::value_t;

plist::parsed_t parsed(std::string_view text) {
  return test::on_exact_copy(text, [](char const* first, char const* last) { return plist::parse({ first, last }); });
}

std::string error_of(std::string_view text) {
  auto const result = parsed(text);
  if (!result.error)
    return "";
  EXPECT_EQ(result.value, value_t()) << text;
  return std::to_string(result.error->line) + ":" + std::to_string(result.error->column) + " " + result.error->message;
}

TEST(Plist, ReadsValues) {
  struct { char const* name; char const* text; value_t expected; } const rows[] = {
    { "plain text", "a_b$c/d:e.f-9", "a_b$c/d:e.f-9" }, { "slashes inside of text", "http://x//y", "http://x//y" },
    { "quoted", "\"a b\"", "a b" },                     { "single quotes", "'say \"x\"'", "say \"x\"" },
    { "quoted line feed", "\"a\nb\"", "a\nb" },         { "comment signs in quotes", "\"/*a//b\"", "/*a//b" },
    { "letters escaped", "\"\\a\\b\\f\\n\\r\\t\\v\"", "\a\b\f\n\r\t\v" }, { "others escaped", "\"\\\"\\\\\\'\\q\"", "\"\\'q" },
    { "octal", "\"\\1012 \\7z\\0331\"", "A2 \az\0331" }, { "UTF-16", "\"\\U00e4\\U20AC\\U41g\"", "\xC3\xA4\xE2\x82\xAC" "Ag" },
    { "pair of UTF-16", "\"\\Ud83d\\Ude00\"", "\xF0\x9F\x98\x80" },
    { "half a pair", "\"\\Ud83dx\\Ude00\\Ud83d\\U0041\"", "\xEF\xBF\xBDx\xEF\xBF\xBD\xEF\xBF\xBD" "A" },
    { "U without digits", "\"\\Ux\"", "Ux" }, { "data", "<0fBD 77\n1c>", plist::data_t{ "\x0F\xBD\x77\x1C" } },
    { "no data", "< >", plist::data_t{} },
    { "array", "(a, \"b\", (c), {d = e;})", array_t{ "a", "b", array_t{ "c" }, dictionary_t{ { "d", "e" } } } },
    { "comma at the end", "(a,)", array_t{ "a" } }, { "empty array", "( )", array_t{} },
    { "empty dictionary", "{}", dictionary_t{} },
    { "dictionary", "{a=b;\"c d\" = <41>;}", dictionary_t{ { "a", "b" }, { "c d", plist::data_t{ "A" } } } },
    { "last of equal keys", "{a=b;a=c;}", dictionary_t{ { "a", "c" } } },
    { "comments", "//x\n/* { */(/**/a /* **/,//)\nb)//", array_t{ "a", "b" } }, { "byte order mark", "\xEF\xBB\xBF" "a", "a" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(error_of(row.text), "") << row.name;
    EXPECT_EQ(plist::to_s(parsed(row.text).value), plist::to_s(row.expected)) << row.name;
  }
}

TEST(Plist, SaysWhereReadingStopped) {
  struct { char const* text; char const* expected; } const rows[] = {
    { "", "1:1 Expected a value" },                                   { "\n  // x", "2:7 Expected a value" },
    { "{a = b}", "1:7 Expected ';' after the value" },                { "{\n  a = b;\n  c d;\n}", "3:5 Expected '=' after the key" },
    { "{\n  = b;\n}", "2:3 Expected a key or '}'" },                  { "{a = ;}", "1:6 Expected a value" },
    { "(a b)", "1:4 Expected ',' or ')' after the value" },           { "(,)", "1:2 Expected a value" },
    { "(a,\n{b = (c;\n", "2:8 Expected ',' or ')' after the value" }, { "a\n\n b", "3:2 Unexpected text after the value" },
    { "\n \"a\nb", "2:2 Unclosed text" },                             { "'a\\'", "1:1 Unclosed text" },
    { "(\n a, /* \n", "2:5 Unclosed comment" },                       { "a /*/", "1:3 Unclosed comment" },
    { "{ a = { b = c; ", "1:7 Unclosed dictionary" },                 { "(a", "1:1 Unclosed array" },
    { " <00", "1:2 Unclosed data" },                                  { "<0>", "1:2 Expected two hexadecimal digits or '>'" },
    { "<00 x0>", "1:5 Expected two hexadecimal digits or '>'" },      { "{#a = b;}", "1:2 Expected a key or '}'" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(error_of(row.text), row.expected) << row.text;
}

std::string nested(std::size_t levels, std::string_view opening, std::string_view closing) {
  return repeated(opening, levels) + "x" + repeated(closing, levels);
}

TEST(Plist, StopsAtDeepNesting) {
  EXPECT_EQ(error_of(nested(129, "(", ")")), "1:130 Nested too deeply");
  EXPECT_EQ(error_of(nested(100'000, "{a=", ";}")), "1:388 Nested too deeply");
  EXPECT_EQ(error_of(plist::to_s(parsed(nested(128, "{a=", ";}")).value)), "");
}

TEST(Plist, ReadsBackWhatItWrites) {
  constexpr std::string_view nasty("\0\x1B\n\"\\'7aU/*=; \x7F\xC3\xEF", 17);
  test::for_all_short_strings(nasty, [](std::string const& text) {
    value_t const value = dictionary_t{ { text, array_t{ text, plist::data_t{ text }, array_t{}, "" } } };
    ASSERT_EQ(parsed(plist::to_s(value)).value, value) << plist::to_s(value);
  });
  EXPECT_EQ(plist::to_s(dictionary_t{ { "a", array_t{ "b\x7F c", plist::data_t{ "\xFF" } } }, { "d", dictionary_t{} } }),
            "{\n  a = (\n    \"b\\177 c\",\n    <ff>,\n  );\n  d = {};\n}");
}

TEST(Plist, SurvivesEveryPrefixAndEveryWrongByte) {
  std::string const text = "{ a = \"\\U00e4\\101\\\\\"; /* c */ b = (<00 ff>, 'd'); // e\n}";
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_NE(error_of(text.substr(0, length)), "") << length;
    for (char const wrong : std::string_view("\0\\\"{(<", 6)) {
      std::string changed = text;
      changed[length] = wrong;
      auto const result = parsed(changed);
      EXPECT_TRUE(result.error || result.value.dictionary()) << changed;
    }
  }
}

TEST(Plist, AnswersWithTheFallbackForOtherKinds) {
  auto const root = parsed("{ yes = YES; one = 1; no = false; word = maybe; n = -12; m = 12x; big = 9223372036854775808;"
                        "  list = (a, (b), c); map = { k = v; }; }").value;
  dictionary_t const& entries = *root.dictionary();
  EXPECT_TRUE(plist::get_boolean(entries, "yes") && plist::get_boolean(entries, "one"));
  EXPECT_FALSE(plist::get_boolean(entries, "no", true));
  EXPECT_TRUE(plist::get_boolean(entries, "word", true) && plist::get_boolean(entries, "list", true));
  EXPECT_EQ(plist::get_integer(entries, "n"), -12);
  EXPECT_EQ(plist::get_integer(entries, "m", 7), 7);
  EXPECT_EQ(plist::get_integer(entries, "big", 7), 7);
  EXPECT_EQ(plist::get_string(entries, "list", "none"), "none");
  EXPECT_EQ(plist::get_strings(entries, "list"), (std::vector<std::string>{ "a", "c" }));
  EXPECT_TRUE(plist::get_strings(entries, "word").empty());
  EXPECT_TRUE(plist::get_array(entries, "map").empty());
  EXPECT_EQ(plist::get_string(plist::get_dictionary(entries, "map"), "k"), "v");
  EXPECT_TRUE(plist::get_dictionary(entries, "missing").empty());
  EXPECT_EQ(value_t(true), value_t("YES"));
}

}  // namespace
}  // namespace kel
