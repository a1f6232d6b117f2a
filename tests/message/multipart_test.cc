#include <gtest/gtest.h>

#include <random>

#include <kelmime/body_parser.h>
#include <kelmime/unset.h>
#include <message/multipart.h>
#include <helpers/describe.h>

namespace kel {
namespace {

using test::exact_copy_t;

// The ranges as "[...][...]", and the records behind them.
std::string split(std::string const& body, std::string const& boundary, bool first_only = false) {
  exact_copy_t const bytes(body);
  mime_errors_handler_t errors;
  std::string text;
  for (auto const& [begin, end] : parse_subparts(bytes.begin(), bytes.end(), boundary, first_only, &errors))
    text += "[" + std::string(begin, end) + "]";
  for (mime_error_t const& record : errors.records()) {
    auto const context = record.find("context");
    text += " " + record.at("description") + (context == record.end() ? "" : " <" + context->second + ">") +
            (record.contains("priority") ? " low" : "");
  }
  return text;
}

TEST(ParseSubparts, CutsAtDelimiterLines) {
  std::string const unclosed = " No closing MIME boundary found <--b>";
  std::string const no_line_feed = " Missing newline after boundary string at end of body part <delimiter>";
  std::string const no_preamble = " Empty preamble of MIME (must contain at least 1 empty line) low";
  struct { char const* name; char const* body; std::string expected; } const rows[] = {
    { "two parts", "pre\n--b\none\n--b\ntwo\n--b--\nepi", "[pre][one][two][epi]" },
    { "the part keeps all line feeds but the last", "\n--b\none\n\n--b--\n", "[][one\n][]" },
    { "blanks behind delimiters", "\n--b \t\none\n--b-- \n", "[][one][]" },
    { "a longer boundary is content", "\n--b\n--bb\n--b--x\n--b--\n", "[][--bb\n--b--x][]" },
    { "no closing delimiter", "\n--b\none\n", "[][one\n][]" + unclosed }, { "no delimiter", "text\n", "[text\n][]" + unclosed },
    { "closing delimiter at the very end", "\n--b\none\n--b--", "[][one][]" + no_line_feed },
    { "delimiter as the last bytes does not count", "\n--b\none\n--b", "[][one\n--b][]" + unclosed },
    { "blanks up to the end do not count", "\n--b\none\n--b-- ", "[][one\n--b-- ][]" + unclosed },
    { "no preamble", "--b\none\n--b--\n", "[][one][]" + no_preamble },
    { "the line behind a delimiter is content", "\n--b\n--b--\n", "[][--b--\n][]" + unclosed },
    { "only a closing delimiter", "\n--b--\ntext", "[][text]" }, { "case matters", "\n--B\none\n--b--\n", "[\n--B\none][]" },
    { "nothing follows the closing delimiter", "\n--b\n1\n--b--\n--b\n2\n--b--\n", "[][1][--b\n2\n--b--\n]" }, { "empty body", "", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(split(row.body, "b"), row.expected) << row.name;
  EXPECT_EQ(split("\n--\nx\n----\n", ""), "") << "an empty boundary";
  EXPECT_EQ(split("\n--b\none\n--b\ntwo\n--b\nthree\n--b--\n", "b", true), "[][one][two\n--b\nthree\n--b--\n]");
}

TEST(FindBoundary, AnswersWithAndWithoutLineStart) {
  std::string const body = "--b\nx\n--b--\nrest";
  char const* next = nullptr;
  bool is_closing = true;
  char const* const begin = body.data();
  char const* const end = begin + body.size();
  EXPECT_EQ(find_boundary(begin, end, "--b", true, &next, &is_closing, nullptr), begin);
  EXPECT_EQ(next - begin, 4);
  EXPECT_FALSE(is_closing);
  EXPECT_EQ(find_boundary(begin, end, "--b", false, &next, &is_closing, nullptr) - begin, 5);
  EXPECT_EQ(std::string(next, end), "rest");
  EXPECT_TRUE(is_closing);
}

TEST(ParsePreamble, IsUnsetWhenBlank) {
  auto const preamble = [](std::string const& body, std::string const& boundary) {
    exact_copy_t const bytes(body);
    return parse_preamble(bytes.begin(), bytes.end(), boundary);
  };
  EXPECT_EQ(preamble("hello\n--b\n", "b"), "hello");
  EXPECT_EQ(preamble(" \n\n--b\n", "b"), unset_string);
  EXPECT_EQ(preamble("hello\n--b\n", ""), unset_string);
  EXPECT_EQ(preamble("no delimiter", "b"), "no delimiter");
}

// The index must never change what the plain scan finds: same ranges, same records, for every sub-range of lines.
TEST(ParseSubparts, IndexAgreesWithScan) {
  std::vector<std::string> const lines = { "--b",  "--b--", "--b ", "--b--\t", "--bb", "--",     "-b", "",
                                           "text", "--b x", "--c",  "--c--",   "--b-", "--b----" };
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    std::vector<std::size_t> starts = { 0 };
    for (std::size_t count = random() % 9; count > 0; --count) {
      text += lines[random() % lines.size()] + "\n";
      starts.push_back(text.size());
    }
    text += lines[random() % lines.size()];
    std::size_t const first = starts[random() % starts.size()];
    exact_copy_t const bytes(text);
    delimiter_index_t const index(bytes.begin(), bytes.end());
    for (std::string const boundary : { "b", "b ", "b--", "c", "\nb", "" }) {
      mime_errors_handler_t scanned;
      mime_errors_handler_t indexed;
      auto const expected = parse_subparts(bytes.begin() + first, bytes.end(), boundary, false, &scanned);
      auto const found = parse_subparts(bytes.begin() + first, bytes.end(), boundary, &indexed, index);
      ASSERT_EQ(found, expected) << text << "\nboundary: " << boundary;
      ASSERT_EQ(indexed.records(), scanned.records()) << text << "\nboundary: " << boundary;
    }
  }
}

}  // namespace
}  // namespace kel
