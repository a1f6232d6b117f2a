#include <kel/date.h>

#include <clocale>

#include <gtest/gtest.h>

#include <helpers/surroundings.h>
#include <helpers/threads.h>

namespace kel {
namespace {

constexpr char const* central_europe = "CET-1CEST,M3.5.0,M10.5.0/3";

// The locale services read zone and locale once per process, so they are pinned before anything asks for them.
bool const is_pinned = [] {
  setenv("TZ", "Europe/Berlin", /*overwrite*/ 1);
  setenv("LC_ALL", "en_GB.UTF-8", /*overwrite*/ 1);
  return true;
}();

std::int64_t utc(char const* text) {
  return seconds_since_epoch(text).value();
}

TEST(Date, ReadsTheBeginningOfATextInUtc) {
  variable_guard_t const zone("TZ", central_europe);
  EXPECT_EQ(seconds_since_epoch("1970-01-01 00:00:00"), 0);
  EXPECT_EQ(seconds_since_epoch("2024-02-29 12:34:56 +0200"), 1709210096);
  EXPECT_EQ(seconds_since_epoch("1969-12-31 23:59:59"), -1);
  EXPECT_EQ(seconds_since_epoch("2024-02-29"), std::nullopt);
  EXPECT_EQ(seconds_since_epoch(""), std::nullopt);
  EXPECT_EQ(seconds_since_epoch("3 Feb 2001", "%d %b %Y"), 981158400);
  EXPECT_EQ(seconds_since_epoch(std::string_view("2024-02-29 12:34:56789", 18)), utc("2024-02-29 12:34:05")) << "and no byte beyond";
}

TEST(Date, PrintsInTheLocalZone) {
  variable_guard_t const zone("TZ", central_europe);
  struct { char const* name; char const* utc; char const* local; } const rows[] = {
    { "winter", "2024-01-15 12:00:00", "2024-01-15 13:00:00 +0100" }, { "summer", "2024-07-15 12:00:00", "2024-07-15 14:00:00 +0200" },
    { "and its second time", "2024-10-27 01:30:00", "2024-10-27 02:30:00 +0100" },
    { "before the epoch", "1969-12-31 12:00:00", "1969-12-31 13:00:00 +0100" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(date_in_local_zone(utc(row.utc), "%F %T %z"), row.local) << row.name;
  EXPECT_EQ(date_in_local_zone(0, "%a, %d %b %Y"), "Thu, 01 Jan 1970");
  EXPECT_EQ(date_in_local_zone(INT64_MAX), "");
}

TEST(Date, NoticesAnotherZone) {
  {
    variable_guard_t const zone("TZ", central_europe);
    EXPECT_EQ(date_in_local_zone(0), "1970-01-01 01:00:00");
  }
  variable_guard_t const zone("TZ", "XXX+5");
  EXPECT_EQ(date_in_local_zone(0), "1969-12-31 19:00:00");
}

TEST(Date, ReadsCanonicalDatesExactly) {
  EXPECT_EQ(parse_canonical_date("2024-02-29 12:34:56"), 1709210096);
  EXPECT_EQ(parse_canonical_date("0000-01-01 00:00:00"), -62167219200);
  EXPECT_EQ(parse_canonical_date("9999-12-31 23:59:59"), 253402300799);
  for (char const* text : { "2023-02-29 00:00:00", "2024-04-31 00:00:00", "2024-04-00 00:00:00", "2024-13-01 00:00:00",
                            "2024-01-01 24:00:00", "2024-01-01 00:60:00", "2024-01-01 00:00:60", "2024-01-01T00:00:00",
                            "2024-01-01 00:00:+1", "2024-01-01 00:00:0", "2024-01-01 00:00:000", "" })
    EXPECT_EQ(parse_canonical_date(text), std::nullopt) << text;
}

TEST(Date, ReadsCanonicalDatesWithAZone) {
  EXPECT_EQ(parse_canonical_date_with_zone("2024-02-29 12:34:56 +0000"), utc("2024-02-29 12:34:56"));
  EXPECT_EQ(parse_canonical_date_with_zone("2024-03-01 00:30:00 +0200"), utc("2024-02-29 22:30:00"));
  EXPECT_EQ(parse_canonical_date_with_zone("2024-02-29 20:00:00 -0830"), utc("2024-03-01 04:30:00"));
  for (char const* text : { "2024-02-29 12:34:56", "2024-02-29 12:34:56 ", "2024-02-29 12:34:56 0200", "2024-02-29 12:34:56 +02:00",
                            "2024-02-29 12:34:56 +0260", "2024-02-29 12:34:56 +2400", "2024-02-30 12:34:56 +0200",
                            "2024-02-29 12:34:56 GMT", "not a date" })
    EXPECT_EQ(parse_canonical_date_with_zone(text), std::nullopt) << text;
}

TEST(LocaleDates, ShowTheLongDateAndTheShortTime) {
  ASSERT_TRUE(is_pinned);
  EXPECT_EQ(long_date_and_short_time(utc("2021-06-03 07:41:30")), "3 June 2021 at 09:41");
  EXPECT_EQ(long_date_and_short_time(utc("2021-12-31 23:05:00")), "1 January 2022 at 00:05");
}

TEST(LocaleDates, CountUnitsOfTheCalendar) {
  using enum calendar_unit_t;
  struct { char const* name; char const* from; char const* to; calendar_unit_t unit; std::optional<int> expected; } const rows[] = {
    { "a year and a month, in years", "2023-01-10 12:00:00", "2024-02-10 12:00:00", years, 1 },
    { "a year and a month, in months", "2023-01-10 12:00:00", "2024-02-10 12:00:00", months, 13 },
    { "not quite a year", "2023-01-10 12:00:00", "2024-01-10 11:59:59", years, 0 },
    { "a day and three hours", "2023-01-10 12:00:00", "2023-01-11 15:00:00", hours, 27 },
    { "a day with 23 hours", "2024-03-30 12:00:00", "2024-03-31 11:00:00", days, 1 },
    { "its hours", "2024-03-30 12:00:00", "2024-03-31 11:00:00", hours, 23 },
    { "seconds", "2023-01-10 12:00:00", "2023-01-10 12:00:01", seconds, 1 },
    { "the future", "2023-01-10 12:00:00", "2023-01-10 10:59:00", hours, -1 },
    { "more seconds than fit", "1900-01-01 00:00:00", "2024-01-01 00:00:00", seconds, std::nullopt },
  };
  for (auto const& row : rows)
    EXPECT_EQ(calendar_difference(utc(row.from), utc(row.to), row.unit), row.expected) << row.name;
}

TEST(LocaleDates, MayBeAskedByManyThreadsFromTheFirstQuestion) {
  in_threads(4, [](int) {
    for (int n = 0; n < 50; ++n) {
      EXPECT_EQ(long_date_and_short_time(1622706090), "3 June 2021 at 09:41");
      EXPECT_EQ(calendar_difference(0, 86400 * 5, calendar_unit_t::days), 5);
      EXPECT_EQ(date_in_local_zone(seconds_since_epoch("2021-06-03 07:41:30").value(), "%T").size(), 8U);
    }
  });
}

}  // namespace
}  // namespace kel
