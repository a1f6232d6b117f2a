#include <kelmime/header_parser.h>

#include <gtest/gtest.h>

#include <algorithm>

#include <helpers/exact_copy.h>
#include <helpers/repeated.h>
#include <helpers/short_strings.h>
#include <kel/text.h>
#include <kelmime/cleanup_header_body.h>
#include <kelmime/unset.h>

namespace kel::header_parser {

namespace {

std::string located(std::string_view name, std::string_view block) {
  test::exact_copy_t const bytes(block);
  auto const [first, last] = locate_header(name, bytes.begin(), bytes.end());
  return { first, last };
}

std::string wrapped(std::string const& line, std::size_t soft = 78, std::size_t hard = 998) {
  std::string out;
  wrap(line.begin(), line.end(), std::back_inserter(out), soft, hard);
  return out;
}

std::size_t longest_line(std::string_view text) {
  return std::ranges::max(text::split(text, "\n"), {}, &std::string::size).size();
}

}  // namespace

TEST(HeaderParser, EveryKindOfBody) {
  std::string const body = "Ann <a@x>, b@y";
  field_path_t const path = { "to", "split", "address" };
  EXPECT_EQ(parse_from_header("to.split.address", body), "a@x");
  EXPECT_EQ(parse_from_header("to.split.address", body.c_str()), "a@x");
  EXPECT_EQ(parse_from_header("to.split.address", to_hstring(body)), "a@x");
  EXPECT_EQ(parse_from_header(path, to_hstring(body)), "a@x");
  EXPECT_EQ(parse_all_from_header("to.split.address", to_hstring(body)), (std::vector<std::string>{ "a@x", "b@y" }));
  EXPECT_EQ(parse_from_header("to.split.address", "nobody"), unset_string);
  EXPECT_EQ(parse_from_header("x.y", header_string_t{}), "");
}

TEST(HeaderParser, LocatesHeaders) {
  std::string const block = "X: about Subject: \nSubject: a\n b\n\tc\nTo: d";
  EXPECT_EQ(located("Subject:", block), "Subject: \n") << "not anchored at line starts";
  EXPECT_EQ(located("Subject: a", block), "Subject: a\n b\n\tc\n");
  EXPECT_EQ(located("To:", block), "To: d");
  EXPECT_EQ(located("cc:", block), "");
}

TEST(Wrap, FoldsBetweenElements) {
  struct { char const* name; char const* line; char const* expected; } const rows[] = {
    { "short", "To: a@x, b@y", "To: a@x, b@y" },
    { "addresses", "To: \"Doe, J\" <a@x>, Bob B <b@y>, c@z", "To: \"Doe, J\" <a@x>,\n Bob B <b@y>, c@z" },
    { "no blank behind the comma", "To: aaaaaaaa@x,bbbbbbbb@y,c@z", "To: aaaaaaaa@x,\n bbbbbbbb@y,c@z" },
    { "words", "Subject: one two three four five", "Subject: one two\n three four five" },
    { "quoted words", "X-Any: one \"two three\" four", "X-Any: one\n \"two three\" four" },
    { "long first word", "Subject: onetwothreefourfivesix seven", "Subject: onetwothreefourfivesix\n seven" },
    { "first word too long beside the name", "Subject: onetwothreefourfive six", "Subject:\n onetwothreefourfive\n six" },
    { "long element", "To: Bobby Tables Senior <b@y>,c@z", "To: Bobby Tables\n Senior <b@y>,c@z" },
    { "a space is added for a comma", "To: aaaaaaaa@x,bbbbb@y", "To: aaaaaaaa@x,\n bbbbb@y" },
    { "quoted parameter", "Content-Type: a/b; x=\"one two three four\"; y=1", "Content-Type: a/b;\n x=\"one two three four\";\n y=1" },
    { "open quote", "Subject: 5\" disks and no drive", "Subject: 5\" disks\n and no drive" },
    { "open quote of a parameter", "X-A: x=\"one two three four", "X-A: x=\"one two\n three four" },
    { "tabs", "Subject: one two\tthree\t four", "Subject: one two\t\n three\t four" },
    { "runs of blanks", "Subject: one two \t\t three", "Subject: one two\n \t\t three" },
    { "brackets of identifiers", "References: <aaaa@b><cccc@d>", "References: <aaaa@b>\n <cccc@d>" },
    { "list of URLs", "List-Post: <http:a>,<http:bc>", "List-Post: <http:a>,\n <http:bc>" },
    { "keywords", "Keywords: one,two,three,four", "Keywords: one,two,\n three,four" },
    { "blanks at the end", "Subject: one two three   ", "Subject: one two\n three   " },
    { "without a name", "onetwothree fourfivesixseven", "onetwothree\n fourfivesixseven" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(wrapped(row.line, 20), row.expected) << row.name;
}

TEST(Wrap, KeepsTheHardLimitAtBlanks) {
  std::string const element = "To: \"" + std::string(30, 'a') + " " + std::string(30, 'b') + "\" <c@d>";
  EXPECT_EQ(wrapped(element, 200, std::string::npos), element);
  EXPECT_LE(longest_line(wrapped(element, 20, 50)), 50U);

  std::string line = "Subject:";
  for (int i = 0; i < 3000; ++i)
    line += i % 7 == 0 ? "  word" : " x\"";
  for (std::size_t const blanks_at_end : { 0, 300, 100'000 }) {
    std::string const unfolded = line + std::string(blanks_at_end, ' ');
    std::string text = wrapped(unfolded);
    EXPECT_LE(longest_line(text), std::max<std::size_t>(998, blanks_at_end + 10));
    EXPECT_GT(std::ranges::count(text, '\n'), 3);
    std::erase(text, '\n');
    EXPECT_EQ(text, unfolded) << "unfolding gives the line back";
  }
  EXPECT_EQ(wrapped("Subject: aaaa bbbb   ", 10, 15), "Subject:\n aaaa\n bbbb   ") << "also before blanks at the end";
  EXPECT_EQ(wrapped("X: " + std::string(2000, 'a')), "X:\n " + std::string(2000, 'a')) << "a word is never broken";
}

// Unfolding gives the line back, blanks are where lines begin and never all of a line, and no line is longer than it must be.
TEST(Wrap, UnfoldingGivesTheLineBack) {
  test::for_all_short_strings("a\v \t,\"", [](std::string const& letters) {
    for (std::string const& value : { "x" + letters, repeated("x" + letters, 9) + "y", std::string(14, 'x') + letters + "yyyyy" + letters }) {
      for (char const* name : { "S: ", "Subject: ", "To: ", "Keywords: ", "References: " }) {
        std::string const line = name + value, text = wrapped(line, 16, 24);
        std::string unfolded = text;
        cleanup_header_body(unfolded);
        std::size_t at = 0;
        for (char const c : line) {  // a space may have been added behind a comma
          at += at > 0 && at < unfolded.size() && unfolded[at] != c && unfolded[at] == ' ' && unfolded[at - 1] == ',';
          ASSERT_TRUE(at < unfolded.size() && unfolded[at] == c) << line << " is now " << text;
          ++at;
        }
        ASSERT_EQ(at, unfolded.size());
        for (std::size_t first = 0, end; first < text.size(); first = end + 1) {
          end = std::min(text.find('\n', first), text.size());
          std::string_view const bytes(text.data() + first, end - first);
          ASSERT_TRUE(bytes.find_first_not_of(" \t") != bytes.npos && (first == 0 || bytes[0] == ' ')) << text;
          std::string_view const words = bytes.substr(0, bytes.find_last_not_of(" \t") + 1);
          std::size_t const word = words.find_first_not_of(" \t", words.find(':') + 1);
          ASSERT_TRUE(bytes.size() <= 16 || words.find_first_of(" \t", word) == words.npos) << text;
        }
      }
    }
  });
}

}  // namespace kel::header_parser
