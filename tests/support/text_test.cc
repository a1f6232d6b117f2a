#include <kel/text.h>

#include <gtest/gtest.h>

namespace kel {

using strings_t = std::vector<std::string>;

TEST(Text, SplitsIntoOneMorePieceThanSeparators) {
  struct { char const* name; char const* text; char const* separator; strings_t expected; } const rows[] = {
    { "nothing", "", ",", { "" } },                                   { "no separator in it", "a", ",", { "a" } },
    { "empty pieces stay", ",a,,b,", ",", { "", "a", "", "b", "" } }, { "longer separator", "a, b,c", ", ", { "a", "b,c" } },
    { "overlapping separator", "a---b", "--", { "a", "-b" } },        { "empty separator", "abc", "", { "abc" } },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(text::split(row.text, row.separator), row.expected) << row.name;
    EXPECT_EQ(text::join(row.expected, row.separator), row.text) << row.name;
  }
}

TEST(Text, Trims) {
  EXPECT_EQ(text::trim("\t\v\f a b \r\n"), "a b");
  EXPECT_EQ(text::trim(" \n "), "");
  EXPECT_EQ(text::trim("<<a>b>", "<>"), "a>b");
}

TEST(Text, FormatsTextsOfAnyLength) {
  std::string const longer(5000, 'x');
  EXPECT_EQ(text::format("%s-%d", longer.c_str(), 7), longer + "-7");
  EXPECT_EQ(text::format("%s", ""), "");
}

TEST(Text, ChangesTheCaseOfAsciiOnly) {
  EXPECT_EQ(text::lowercase("AZ[@\xC3\x84"), "az[@\xC3\x84");
  EXPECT_EQ(text::uppercase("az{`\xC3\xA4"), "AZ{`\xC3\xA4");
}

TEST(Text, FormatsSizesForPeople) {
  struct { std::uint64_t bytes; char const* expected; } const rows[] = {
    { 0, "0 bytes" },   { 1, "1 byte" },    { 1023, "1023 bytes" },
    { 1024, "1.0 KB" }, { 1536, "1.5 KB" }, { 1024 * 1024 - 52, "1023.9 KB" },
    { 1024 * 1024 - 51, "1.0 MB" },  // and not 1024.0 KB
    { 3'221'225'472, "3.0 GB" }, { (1ULL << 60) - 1, "1.0 EB" }, { 18'446'744'073'709'551'615U, "16.0 EB" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(text::format_size(row.bytes), row.expected) << row.bytes;
}

}  // namespace kel
