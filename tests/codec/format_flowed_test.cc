#include <gtest/gtest.h>

#include <codec/codec_verbs.h>
#include <kelmime/format_flowed.h>

namespace kel {
namespace {

std::string read(std::string_view text, bool flowed, bool delsp = false, bool keep_unquoted = false) {
  return test::output_of(
      text, [&](auto first, auto last, auto out) { format_deflow(first, last, out, flowed, delsp, keep_unquoted); });
}

TEST(FormatDeflow, ReadsFixedText) {
  struct {
    char const* name;
    char const* text;
    char const* expected;
  } const rows[] = {
    { "markers apart", "> > a", ">> a" },
    { "markers two apart", ">  >> a", ">>> a" },
    { "markers three apart", ">   > a", ">   > a" },
    { "no space after the marker", ">a", "> a" },
    { "space before the marker", " >a", "> a" },
    { "two spaces before the marker", "  >a", "  >a" },
    { "text keeps its space", ">  a", ">  a" },
    { "trailing spaces", "a  \n> b \n", "a\n> b\n" },
    { "only spaces", "   \n>  \n", "\n>\n" },
    { "tabs stay", "a\t\n", "a\t\n" },
    { "signature separator", "-- \n>-- \n", "-- \n> -- \n" },
    { "not a separator", "--  \n-- x \n> -- \n", "--\n-- x\n> --\n" },
    { "last line without a line feed", "a\nb ", "a\nb" },
    { "nothing", "", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(read(row.text, /*flowed*/ false), row.expected) << row.name;
}

TEST(FormatDeflow, ReadsFlowedText) {
  struct {
    char const* name;
    char const* text;
    char const* expected;
    char const* with_delsp;
  } const rows[] = {
    { "lines are joined", "a \nb\n", "a b\n", "ab\n" },
    { "a change of depth ends the paragraph", "> a \n>> b\n", "> a \n>> b\n", "> a\n>> b\n" },
    { "quoted lines are joined", ">> a \n>> b\n>> c", ">> a b\n>> c", ">> ab\n>> c" },
    { "an unquoted line ends a quoted paragraph", "> a \nb", "> a \nb", "> a\nb" },
    { "signature separator", "-- \nsig\n", "-- \nsig\n", "-- \nsig\n" },
    { "quoted signature separator", "> -- \n> sig\n", "> -- \n> sig\n", "> -- \n> sig\n" },
    { "stuffing is undone", " From\n  a\n", "From\n a\n", "From\n a\n" },
    { "stuffed quote markers stay", " >a\n  > b\n", " >a\n  > b\n", " >a\n  > b\n" },
    { "a stuffed empty line", "a\n \nb\n", "a\n\nb\n", "a\n\nb\n" },
    { "quoted empty lines", ">\n> \n>a\n", ">\n>\n> a\n", ">\n>\n> a\n" },
    { "markers apart are text", "> > a", "> > a", "> > a" },
    { "a quoted line of blanks", ">  \n> a\n", "> a\n", ">a\n" },
    { "the last line flows", "a ", "a ", "a" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(read(row.text, /*flowed*/ true), row.expected) << row.name;
    EXPECT_EQ(read(row.text, /*flowed*/ true, /*delsp*/ true), row.with_delsp) << row.name;
  }
}

TEST(FormatDeflow, KeepsUnquotedLines) {
  EXPECT_EQ(read(" From \nb \n> c \n> d\n e", /*flowed*/ true, /*delsp*/ true, /*keep_unquoted*/ true),
            " From \nb \n> cd\n e");
}

}  // namespace
}  // namespace kel
