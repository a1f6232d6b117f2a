#include <kel/format_string.h>

#include <gtest/gtest.h>

#include <helpers/repeated.h>

namespace kel {
namespace {

using format_string::expand;
using format_string::replace;

TEST(FormatString, ExpandsVariables) {
  format_string::variables_t const variables = {
    { "atom", "[^ ]+" }, { "a", "$atom" }, { "none", "" }, { "b_2", "B" }
  };
  struct { char const* name; char const* format; char const* expected; } const rows[] = {
    { "plain name", "<$atom>", "<[^ ]+>" }, { "longest name", "$b_2x$b_2.", "B." }, { "name in braces", "${b_2}x", "Bx" },
    { "values are not expanded", "$a", "$atom" },             { "unknown name", "<$zz${zz}>", "<>" },
    { "dollars without a name", "$ $$ $) $", "$ $$ $) $" },   { "if", "${b_2:?yes:no}", "yes" },
    { "else, missing", "${zz:?yes:no}", "no" },               { "else, empty", "${none:?yes:no}", "no" },
    { "no else", "<${zz:?yes}>", "<>" },                      { "further colons", "${zz:?a:b:c}", "b:c" },
    { "with a value", "<${b_2:+ $b_2}${zz:+x}>", "< B>" },    { "default", "${b_2:-x}${zz:-y}", "By" },
    { "forms in forms", "${zz:?a:${b_2:?${b_2}1:c}}", "B1" }, { "colon of an inner form", "${b_2:?${zz:-in}:out}", "in" },
    { "balanced braces", "${b_2:+a{1,2}}", "a{1,2}" },        { "escaped in braces", "${b_2:?a\\:b\\}:c}", "a:b}" },
    { "not escaped outside", "\\: \\}", "\\: \\}" },          { "escaped dollar", "\\$atom \\${atom}", "$atom ${atom}" },
    { "pair before a dollar", "\\\\$b_2", "\\\\B" }, { "regular expression", "\\A(?:$atom|\\(\\s*)\\.$", "\\A(?:[^ ]+|\\(\\s*)\\.$" },
    { "backslash at the end", "a\\", "a\\" },                     { "unclosed form", "${atom", "${atom" },
    { "unclosed form with an inner", "${zz:?${b_2}", "${zz:?B" }, { "unknown operation", "${b_2:/x}", "${b_2:/x}" },
    { "form without a name", "${}${:?a:b}", "${}${:?a:b}" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(expand(row.format, variables), row.expected) << row.name;
}

TEST(FormatString, TakesFormsNestedTooDeeplyAsText) {
  std::string const nested = repeated("${a:+", 1000) + "x" + repeated("}", 1000);
  EXPECT_EQ(expand(nested, { { "a", "1" } }).substr(0, 10), "${a:+${a:+");
  EXPECT_EQ(expand(nested.substr(5 * 950), { { "a", "1" } }), "x" + std::string(950, '}'));
}

TEST(FormatString, ReplacesEveryMatch) {
  struct { char const* name; char const* text; char const* pattern; char const* format; char const* expected; } const rows[] = {
    { "groups", "ab cd", "(\\w)(\\w)", "$2$1", "ba dc" },      { "whole match", "ab", "b", "<$0>", "a<b>" },
    { "no match", "ab", "x", "y", "ab" },                      { "empty text", "", "x", "y", "" },
    { "empty match of empty text", "", "x*", "y", "y" },       { "empty matches", "ab", "x*", "-", "-a-b-" },
    { "match after a match", "aab", "a*", "-", "--b-" },       { "start of every line", "a\nb", "^", "> ", "> a\n> b" },
    { "start of the text once", "aaa", "\\Aa", "b", "baa" },   { "look-behind sees matches", "aaa", "(?<=a)a", "b", "abb" },
    { "digit after a group", "a", "(a)", "${1}0 $10", "a0 " }, { "group without a part", "b", "(a)|b", "${1:?a:none}", "none" },
    { "name of no group", "b", "b", "<$x$99999999999999999999>", "<>" }, { "pattern that is broken", "a(b", "(", "x", "a(b" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(replace(row.text, regexp::pattern_t(row.pattern), row.format), row.expected) << row.name;
}

}  // namespace
}  // namespace kel
