#include <gtest/gtest.h>

#include <codec/codec_verbs.h>
#include <helpers/repeated.h>
#include <kelmime/format_flowed.h>

namespace kel {
namespace {

std::string read(std::string_view text, bool flowed, bool delsp = false, bool keep_unquoted = false) {
  return test::output_of(text, [&](auto... range) { format_deflow(range..., flowed, delsp, keep_unquoted); });
}

TEST(FormatDeflow, ReadsFixedText) {
  struct { char const* name; char const* text; char const* expected; } const rows[] = {
    { "markers apart", "> > a", ">> a" },                     { "markers two apart", ">  >> a", ">>> a" },
    { "markers three apart", ">   > a", ">   > a" },          { "no space after the marker", ">a", "> a" },
    { "space before the marker", " >a", "> a" },              { "two spaces before the marker", "  >a", "  >a" },
    { "text keeps its space", ">  a", ">  a" },               { "trailing spaces", "a  \n> b \n", "a\n> b\n" },
    { "only spaces", "   \n>  \n", "\n>\n" },                 { "tabs stay", "a\t\n", "a\t\n" },
    { "signature separator", "-- \n>-- \n", "-- \n> -- \n" }, { "not a separator", "--  \n-- x \n> -- \n", "--\n-- x\n> --\n" },
    { "last line without a line feed", "a\nb ", "a\nb" },     { "nothing", "", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(read(row.text, /*flowed*/ false), row.expected) << row.name;
}

TEST(FormatDeflow, ReadsFlowedText) {
  struct { char const* name; char const* text; char const* expected; char const* with_delsp; } const rows[] = {
    { "lines are joined", "a \nb\n", "a b\n", "ab\n" },
    { "a change of depth ends the paragraph", "> a \n>> b\n", "> a \n>> b\n", "> a\n>> b\n" },
    { "quoted lines are joined", ">> a \n>> b\n>> c", ">> a b\n>> c", ">> ab\n>> c" },
    { "an unquoted line ends a quoted paragraph", "> a \nb", "> a \nb", "> a\nb" },
    { "signature separator", "-- \nsig\n", "-- \nsig\n", "-- \nsig\n" },
    { "quoted signature separator", "> -- \n> sig\n", "> -- \n> sig\n", "> -- \n> sig\n" },
    { "stuffing is undone", " From\n  a\n", "From\n a\n", "From\n a\n" },
    { "stuffed quote markers stay", " >a\n  > b\n", " >a\n  > b\n", " >a\n  > b\n" },
    { "a stuffed empty line", "a\n \nb\n", "a\n\nb\n", "a\n\nb\n" }, { "quoted empty lines", ">\n> \n>a\n", ">\n>\n> a\n", ">\n>\n> a\n" },
    { "markers apart are text", "> > a", "> > a", "> > a" }, { "a quoted line of blanks", ">  \n> a\n", "> a\n", ">a\n" },
    { "the last line flows", "a ", "a ", "a" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(read(row.text, /*flowed*/ true), row.expected) << row.name;
    EXPECT_EQ(read(row.text, /*flowed*/ true, /*delsp*/ true), row.with_delsp) << row.name;
  }
  EXPECT_EQ(read(" From \nb \n> c \n> d\n e", /*flowed*/ true, /*delsp*/ true, /*keep_unquoted*/ true), " From \nb \n> cd\n e");
}

struct flow_t {
  bool delsp = false;
  std::size_t width = 10;
  bool keep_unquoted = false, count_characters = false;
};

struct flowed_t {
  std::string text;
  bool is_broken = false;
};

flowed_t flowed(std::string_view text, flow_t how) {
  flowed_t result;
  result.text = test::output_of(text, [&](auto... range) {
    result.is_broken = format_flow(range..., how.delsp, how.width, how.keep_unquoted, how.count_characters);
  });
  return result;
}

TEST(FormatFlow, WritesFlowedText) {
  std::string const word(100, 'x'), endless(1000, 'x'), accents = repeated("\u00E9", 9);
  flow_t const delsp = { .delsp = true }, keep = { .keep_unquoted = true }, count = { .count_characters = true };
  struct { char const* name; std::string text; std::string expected; flow_t how; } const rows[] = {
    { "nothing", "", "", {} }, { "a break behind the last space", "aaaa bbbb cc\ndd\n", "aaaa bbbb \ncc\ndd\n", {} },
    { "the width is reached by a letter", "aaaa bbbbb", "aaaa \nbbbbb", {} }, { "one less", "aaaa bbbb", "aaaa bbbb", {} },
    { "a long word stays whole", word + "\n" + word + " a", word + "\n" + word + " \na", { .width = 72 } },
    { "a long word behind a short one", "a " + word, "a \n" + word, {} },
    { "a word longer than a line may be", endless, endless.substr(2) + "\nxx", {} },
    { "one that is no text", repeated("\x80", 1000), repeated("\x80", 996) + "\n" + repeated("\x80", 4), {} },
    { "quote markers are no words", repeated("a >", 400), repeated("a >", 332) + "a \n >" + repeated("a >", 67), {} },
    { "and quoted", "> " + endless, "> " + endless.substr(4) + "\n> xxxx", {} },
    { "words are broken", "aaaaaaaaaabb", "aaaaaaaaaa \nbb", delsp }, { "not at the end", "aaaaaaaaaa", "aaaaaaaaaa", delsp },
    { "a space more", "aaaa bbbb cc", "aaaa bbbb  \ncc", delsp },
    { "not within characters", accents, accents.substr(0, 10) + " \n" + accents.substr(10), delsp },
    { "characters count", accents + " \u00E9", accents + " \n\u00E9", count },
    { "bytes count", "\u00E9\u00E9 \u00E9\u00E9 \u00E9", "\u00E9\u00E9 \u00E9\u00E9 \n\u00E9", { .width = 11 } },
    { "trailing spaces", "a  \n> b  \n \n>  \nc ", "a\n> b\n\n>\nc", {} },
    { "trailing spaces of the last line", "a  \n> b  ", "a\n> b  ", keep }, { "there are none behind a line feed", "a  \n", "a\n", keep },
    { "quotes", ">> aaa bbb ccc\n>\n>b", ">> aaa \n>> bbb \n>> ccc\n>\n> b", {} }, { "markers apart are text", "> > a", "> > a", {} },
    { "signature separators", "-- \n>> -- \n--  \n> -- b", "-- \n>> -- \n--\n> -- b", {} },
    { "no new separator", "-- bbbbbbbbbb c", "-- bbbbbbbbbb \nc", {} },
    { "no new separator by the space more", "--bbb", "--b \nbb", { .delsp = true, .width = 2 } },
    { "stuffing", "From us\nFromage\n a\n  >a\n >a", " From us\n Fromage\n  a\n  >a\n >a", {} },
    { "no stuffing", "From here\n a\n", "From here\n a\n", keep }, { "stuffing takes room", " aaaa bbb", "  aaaa \nbbb", {} },
    { "later segments are stuffed", "aaaaaaaaa  b From", "aaaaaaaaa \n  b \n From", { .width = 8 } },
    { "no new quote", "aaaaa >bbbb c", "aaaaa >bbbb \nc", {} }, { "a blank before the quote", "aaaaaaaa  >b", "aaaaaaaa \n >b", {} },
    { "no blank line in quotes", ">          aaa b", ">          aaa \n> b", {} },
    { "unquoted lines are kept", "aaaa bbbb cccc\n> aaaa bbbb\n", "aaaa bbbb cccc\n> aaaa \n> bbbb\n", keep },
  };
  for (auto const& row : rows) {
    flowed_t const result = flowed(row.text, row.how);
    EXPECT_EQ(result.text, row.expected) << row.name;
    EXPECT_EQ(result.is_broken, std::ranges::count(row.expected, '\n') > std::ranges::count(row.text, '\n')) << row.name;
  }
}

TEST(FormatFlow, DeepQuotesDoNotMultiplyTheText) {
  std::string const text = repeated(">", 50'000) + " " + repeated("a ", 50'000);
  EXPECT_LT(flowed(text, { .width = 72 }).text.size(), 4 * text.size());
}

// As `format_deflow` gives it, but for spaces at line ends: a quoted line that flows into nothing keeps one.
std::vector<std::string> normal_forms(std::string_view any) {
  std::string text = read(any, /*flowed*/ true) + "\n";
  for (std::size_t line = 0, feed; line != text.size(); line = feed + 1) {
    feed = text.find('\n', line);
    std::size_t const depth = text.find_first_not_of('>', line) - line;
    while (feed > line && text[feed - 1] == ' ' && text.compare(line + depth, feed - line - depth, depth == 0 ? "-- " : " -- ") != 0)
      text.erase(--feed, 1);
  }
  text.pop_back();
  return { text, read(any, /*flowed*/ false) };
}

TEST(FormatFlow, ReadingGivesTheTextBack) {
  flow_t const ways[] = { { false, 2 }, { false, 5 }, { false, 7, false, true }, { false, 5, true },
                          { true, 2 },  { true, 4 },  { true, 5, false, true },  { true, 4, true } };
  std::vector<std::string> texts = { "" };
  for (std::size_t i = 0; i < texts.size(); ++i) {
    for (char const* const piece : { " ", ">", "-", "From", "\n", "a", "\u00E9" }) {
      if (texts.size() < 40'000)
        texts.push_back(texts[i] + piece);
    }
    for (std::string const& text : normal_forms(texts[i])) {
      for (flow_t const& how : ways) {
        std::string const sent = flowed(text, how).text;
        ASSERT_EQ(read(sent, /*flowed*/ true, how.delsp, how.keep_unquoted), text) << sent;
      }
    }
  }
}

TEST(ShouldFormatFlow, LooksForLongLines) {
  struct { std::string text; bool expected; } const rows[] = {
    { "", false },                                { repeated("x", 70) + " xxxxxxx\na", false },
    { repeated("x", 70) + " xxxxxxxx\na", true }, { "a\n" + repeated("x", 79), true },
    { " " + repeated("x", 76), false }, { " " + repeated("x", 77), true }, { ">" + repeated("x", 77), true },
  };
  for (auto const& row : rows) {
    bool delsp = true;
    bool const should = test::on_exact_copy(row.text, [&](auto... range) { return should_format_flow(range..., delsp, 72); });
    EXPECT_EQ(should, row.expected) << row.text;
    EXPECT_FALSE(delsp);
  }
  bool delsp = false;
  EXPECT_FALSE(should_format_flow(rows[3].text.data(), rows[3].text.data() + 70, delsp, SIZE_MAX));
}

}  // namespace
}  // namespace kel
