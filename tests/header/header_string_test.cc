#include <kelmime/header_string.h>

#include <gtest/gtest.h>

namespace kel {

using namespace std::literals;

TEST(HeaderString, OrdersByCommonBytesThenByLength) {
  struct { char const* name; std::string_view a, b; int order, order_without_case; } const rows[] = {
    { "equal", "to", "to", 0, 0 }, { "case", "To", "to", -1, 0 }, { "shorter first", "to", "tox", -1, -1 },
    { "longer last", "tox", "to", 1, 1 },                  { "bytes before length", "tz", "tox", 1, 1 },
    { "8-bit bytes are above ASCII", "\xE9", "z", 1, 1 },  { "nothing counts behind a zero byte", "a\0b"sv, "a\0c"sv, 0, 0 },
    { "but the lengths do", "a\0b"sv, "a\0cd"sv, -1, -1 }, { "only ASCII has case", "\xC4", "\xE4", -1, -1 },
  };
  auto const sign = [](int order) { return (order > 0) - (order < 0); };
  for (auto const& row : rows) {
    header_string_t const a = to_hstring(row.a), b = to_hstring(row.b);
    EXPECT_EQ(sign(hstrcmp(a, b)), row.order) << row.name;
    EXPECT_EQ(sign(hstrcasecmp(a, b)), row.order_without_case) << row.name;
    EXPECT_EQ(a < b, row.order < 0) << row.name;
    EXPECT_EQ(a == b, row.order == 0) << row.name;
    EXPECT_EQ(a == std::string(row.b), row.order == 0) << row.name;
    EXPECT_EQ(case_insensitive_compare(a, b), row.order_without_case == 0) << row.name;
  }
}

TEST(HeaderString, SamePositionMeansEqualWhateverTheLength) {
  std::string const text = "abc";
  header_string_t const whole = to_hstring(text);
  header_string_t const part = { text.data(), 1 };
  EXPECT_TRUE(whole == part);
  EXPECT_EQ(hstrcmp(whole, part), 0);
  EXPECT_FALSE(case_insensitive_compare(whole, part));
}

TEST(HeaderString, NullIsNoString) {
  header_string_t view = to_hstring("x"sv);
  view.reset();
  EXPECT_TRUE(view == header_string_t() && view != std::string() && view != "" && to_hstring("x"sv) != view);
  EXPECT_TRUE(to_hstring("ab"sv) == "ab");
}

}  // namespace kel
