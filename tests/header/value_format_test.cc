#include <kelmime/value_format.h>

#include <gtest/gtest.h>

#include <ctime>

#include <kel/date.h>

namespace kel {

namespace {

std::string applied(std::string (*function)(char const*, char const*), std::string_view text) {
  std::string const copy(text);
  return function(copy.data(), copy.data() + copy.size());
}

std::string relative(std::int64_t seconds_ago) {
  std::time_t const time = std::time(nullptr) - seconds_ago;
  char text[32];
  std::strftime(text, sizeof text, "%F %T", std::gmtime(&time));
  return applied(relative_date, text);
}

}  // namespace

TEST(ValueFormat, CanonicalDates) {
  EXPECT_EQ(date_for_string("2024-01-01 00:00:00"), 1704067200);
  EXPECT_EQ(date_for_string("2024-01-01 02:00:00 +0200"), 1704067200);
  testing::internal::CaptureStderr();
  EXPECT_EQ(date_for_string("2024-01-01 99:00:00"), invalid_date);
  EXPECT_EQ(date_for_string("yesterday"), invalid_date);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Failed to parse utc_date: '2024-01-01 99:00:00'\nFailed to parse #date: 'yesterday'\n");
}

TEST(ValueFormat, DatesForDisplay) {
  EXPECT_EQ(applied(formatted_date, "2024-01-01 10:00:00"), long_date_and_short_time(1704103200));
  EXPECT_NE(applied(formatted_date, "2024-01-01 10:00:00").find("2024"), std::string::npos);
  EXPECT_EQ(applied(local_date, "2024-01-01 10:00:00"), date_in_local_zone(1704103200));
  EXPECT_EQ(applied(local_date, "x"), "unknown");
  testing::internal::CaptureStderr();
  EXPECT_EQ(applied(formatted_date, "x"), "unknown");
  EXPECT_EQ(applied(formatted_date, "1969-08-20 08:04:16"), "unknown") << "the moment that marks invalid dates";
  EXPECT_EQ(applied(relative_date, ""), "unknown");
  testing::internal::GetCapturedStderr();
}

// The clock may go on between the two looks at it, so no row is near the end of its unit.
TEST(ValueFormat, RelativeDates) {
  constexpr std::int64_t hour = 3600, day = 24 * hour;
  struct { char const* name; std::int64_t seconds_ago; char const* expected; } const rows[] = {
    { "now", 0, "unknown" }, { "one hour falls through", hour + 30 * 60 + 2, "90 minutes ago" },
    { "minutes", 5 * 60 + 2, "5 minutes ago" }, { "one day falls through", day + 3 * hour + 2, "27 hours ago" },
    { "days", 5 * day + hour, "5 days ago" },   { "one month falls through", 34 * day + hour, "34 days ago" },
    { "years", 800 * day, "2 years ago" },      { "some seconds ahead", -30, "unknown" },
    { "the future", -2 * hour, "future time" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(relative(row.seconds_ago), row.expected) << row.name;
  EXPECT_EQ(relative(400 * day), "13 months ago");
  EXPECT_TRUE(relative(90).ends_with(" seconds ago")) << "one minute falls through";
}

TEST(ValueFormat, SizesAndTabs) {
  using row_t = std::pair<char const*, char const*>;
  for (auto const& [text, size] : { row_t{ "1536", "1.5 KB" }, { " +12 bytes", "12 bytes" }, { "none", "0 bytes" },
                                    { "-1", "16.0 EB" }, { "+-1", "0 bytes" } })
    EXPECT_EQ(applied(formatted_size, text), size);
  EXPECT_EQ(applied(no_tabs, "a\tb\t"), "a b ");
}

}  // namespace kel
