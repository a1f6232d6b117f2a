#include <kel/regexp.h>

#include <atomic>

#include <gtest/gtest.h>

#include <helpers/exact_copy.h>
#include <helpers/threads.h>

namespace kel {
namespace {

// The groups with "|" between them and "-" for a group that took no part; "none" without a match. The text is searched
// in a block of its exact size.
std::string groups(std::string_view pattern, std::string_view text, regexp::option_t option = regexp::option_t::none) {
  test::exact_copy_t const bytes(text);
  auto const match = regexp::search(regexp::pattern_t(pattern, option), bytes.begin(), bytes.end());
  if (!match)
    return "none";
  std::string result;
  for (std::size_t i = 0; i < match.count(); ++i)
    result.append(i ? "|" : "").append(match.matched(i) ? match.text(i) : "-");
  return result;
}

TEST(Regexp, ReadsOurSyntax) {
  struct { char const* name; char const* pattern; char const* text; char const* expected; } const rows[] = {
    { "line begins and ends", "^b$", "a\nb\nc", "b" },                { "text begins", "\\Ab", "a\nb", "none" },
    { "text ends before last break", "b\\Z", "a\nb\n", "b" },         { "line is not the text's end", "a\\Z", "a\nb\n", "none" },
    { "carriage return is no break", "a$", "a\r\n", "none" },         { "dot stops at the line feed", "a.*", "ab\nc", "ab" },
    { "m lets the dot pass", "(?m:a.*)", "ab\nc", "ab\nc" },          { "m among other options", "(?im:A.*)", "ab\nc", "ab\nc" },
    { "m without a group", "(?m)a.*", "ab\nc", "ab\nc" },             { "m switched off again", "(?m)a(?-m:.)", "a\n", "none" },
    { "group that begins with m", "(m:a)", "m:a", "m:a|m:a" },        { "escaped parenthesis before ?m", "\\(?m:", "m:", "m:" },
    { "option in brackets is text", "[(?m:]+", "(?m:s", "(?m:" },     { "bracket that comes first", "[](?m]+\\k<0>?", "x](?m", "none" },
    { "brackets in brackets", "[^[:space:](?m:]+", "(?m:sx ", "sx" }, { "option's own letters only", "(?<m>a)\\k<m>", "aa", "aa|a" },
    { "back-reference by number", "(a|b)\\k<1>", "abb", "bb|b" },     { "digit after a back-reference", "(a)\\k<1>0", "aa0", "aa0|a" },
    { "escaped backslash before k", "(a)\\\\k<1>", "a\\k<1>", "a\\k<1>|a" }, { "look-behind", "(?<=a)b", "bab", "b" },
    { "case in a group", "(?i:koi8)-r", "KOI8-R Koi8-r", "Koi8-r" }, { "group that takes no part", "(a)|(b)", "b", "b|-|b" },
    { "group that takes no part, last", "(b)|(a)", "b", "b|b|-" },   { "group that is empty", "(x*)b", "b", "b|" },
    { "bytes and not characters", "\\A.\\Z", "\xC3\xA4", "none" },   { "high bytes have no class", "\\w|\\s", "\xE4\xA0\x85", "none" },
    { "UTF-8 cannot be asked for", "(*UTF)a", "a", "none" },         { "empty text", "\\A\\s*\\Z", "", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(groups(row.pattern, row.text), row.expected) << row.name;
  EXPECT_EQ(groups("SUBJECT", "Subject", regexp::option_t::ignore_case), "Subject");
  EXPECT_EQ(groups("a.c", std::string_view("a\0c", 3)), std::string_view("a\0c", 3));
}

TEST(Regexp, FindsNothingWithAPatternThatDoesNotCompile) {
  for (char const* const broken : { "(", "[a", "a{2,1}", "\\k<2>", "\\", "(?", "(?m", "\\k<", "\\k<1", "[[:", "*" }) {
    regexp::pattern_t const pattern(broken);
    EXPECT_FALSE(pattern.is_valid()) << broken;
    EXPECT_EQ(pattern.error().find("at offset "), 0U) << pattern.error();
    EXPECT_FALSE(regexp::search(pattern, "a")) << broken;
  }
  EXPECT_TRUE(regexp::pattern_t("").is_valid());
}

TEST(Regexp, KnowsNothingOfGroupsThatDoNotExist) {
  auto const match = regexp::search(regexp::pattern_t("a"), "a");
  EXPECT_TRUE(!match.matched(1) && match.text(1).empty());
  auto const nothing = regexp::search(regexp::pattern_t("b"), std::string_view());
  EXPECT_TRUE(nothing.count() == 0 && !nothing.matched(0));
}

TEST(Regexp, SeesWhatStandsBeforeTheStartOnlyWhenSearchingFrom) {
  regexp::pattern_t const pattern("(?<!a)b|^c|\\Ad");
  char const text[] = "abcd";
  char const* const end = text + 4;
  EXPECT_FALSE(regexp::search_from(pattern, text, text + 1, end));
  EXPECT_EQ(regexp::search(pattern, text + 1, end).begin(), text + 1);
  EXPECT_EQ(regexp::search(pattern, text + 2, end).begin(), text + 2);
  EXPECT_EQ(regexp::search(pattern, text + 3, end).begin(), text + 3);
}

TEST(Regexp, GivesUpOnPatternsThatRunAway) {
  for (char const* const pattern : { "\\A(a+)+$", "\\A(?:a|a)*\\Z", "\\A(a*)*b", "\\A(.*)(.*)(.*)(.*)(.*)(.*)x" })
    EXPECT_EQ(groups(pattern, std::string(1000, 'a') + "!"), "none") << pattern;
}

// More than the machine code's stack holds.
TEST(Regexp, MatchesGroupsThatRepeatOften) {
  std::string const text(100'000, 'a');
  EXPECT_EQ(groups("\\A(?:a|b)*\\Z", text), text);
  EXPECT_EQ(groups("\\A(?:a|b)*\\Z", text), text) << "and once more after that";
}

TEST(Regexp, KeepsRoomForManyGroups) {
  std::string pattern;
  for (int i = 0; i < 40; ++i)
    pattern += "(a)";
  EXPECT_EQ(groups(pattern, std::string(40, 'a')).size(), 40U + 40 * 2);
  EXPECT_EQ(groups("(a)", "a"), "a|a");
}

TEST(Regexp, SharesPatternsBetweenThreadsFromTheFirstSearch) {
  for (int round = 0; round < 20; ++round) {
    regexp::pattern_t const pattern("(\\w+)@(\\w+)");
    std::atomic<int> found = 0;
    in_threads(4, [&](int) {
      regexp::pattern_t const copy = pattern;
      for (int n = 0; n < 50; ++n)
        found += regexp::search(copy, "mail for joe@example please").text(2) == "example";
    });
    EXPECT_EQ(found, 200);
  }
}

}  // namespace
}  // namespace kel
