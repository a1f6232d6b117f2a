#include <kel/date.h>

#include <clocale>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <helpers/surroundings.h>

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
}

TEST(Date, ReadsNoByteBeyondTheText) {
  std::string const text = "2024-02-29 12:34:56789";
  EXPECT_EQ(seconds_since_epoch(std::string_view(text).substr(0, 18)), utc("2024-02-29 12:34:05"));
}

TEST(Date, PrintsInTheLocalZone) {
  variable_guard_t const zone("TZ", central_europe);
  struct {
    char const* name;
    char const* utc;
    char const* local;
  } const rows[] = {
    { "winter", "2024-01-15 12:00:00", "2024-01-15 13:00:00 +0100" },
    { "summer", "2024-07-15 12:00:00", "2024-07-15 14:00:00 +0200" },
    { "last second of winter time", "2024-03-31 00:59:59", "2024-03-31 01:59:59 +0100" },
    { "first second of summer time", "2024-03-31 01:00:00", "2024-03-31 03:00:00 +0200" },
    { "hour that comes twice", "2024-10-27 00:30:00", "2024-10-27 02:30:00 +0200" },
    { "and its second time", "2024-10-27 01:30:00", "2024-10-27 02:30:00 +0100" },
    { "next year", "2024-12-31 23:30:00", "2025-01-01 00:30:00 +0100" },
    { "leap day", "2024-02-28 23:00:00", "2024-02-29 00:00:00 +0100" },
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
  struct {
    char const* name;
    char const* text;
    std::optional<std::int64_t> expected;
  } const rows[] = {
    { "in UTC", "2024-02-29 12:34:56", 1709210096 },
    { "first year", "0000-01-01 00:00:00", -62167219200 },
    { "last year", "9999-12-31 23:59:59", 253402300799 },
    { "no such leap day", "2023-02-29 00:00:00", std::nullopt },
    { "no such day", "2024-04-31 00:00:00", std::nullopt },
    { "day zero", "2024-04-00 00:00:00", std::nullopt },
    { "no such month", "2024-13-01 00:00:00", std::nullopt },
    { "hour", "2024-01-01 24:00:00", std::nullopt },
    { "minute", "2024-01-01 00:60:00", std::nullopt },
    { "second", "2024-01-01 00:00:60", std::nullopt },
    { "separator", "2024-01-01T00:00:00", std::nullopt },
    { "sign in a number", "2024-01-01 00:00:+1", std::nullopt },
    { "too short", "2024-01-01 00:00:0", std::nullopt },
    { "too long", "2024-01-01 00:00:000", std::nullopt },
    { "nothing", "", std::nullopt },
  };
  for (auto const& row : rows)
    EXPECT_EQ(parse_canonical_date(row.text), row.expected) << row.name;
}

TEST(Date, ReadsCanonicalDatesWithAZone) {
  struct {
    char const* text;
    char const* expected;
  } const rows[] = {
    { "2024-02-29 12:34:56 +0000", "2024-02-29 12:34:56" },
    { "2024-03-01 00:30:00 +0200", "2024-02-29 22:30:00" },
    { "2024-02-29 20:00:00 -0830", "2024-03-01 04:30:00" },
    { "2024-02-29 12:34:56", nullptr },
    { "2024-02-29 12:34:56 ", nullptr },
    { "2024-02-29 12:34:56 0200", nullptr },
    { "2024-02-29 12:34:56 +02:00", nullptr },
    { "2024-02-29 12:34:56 +0260", nullptr },
    { "2024-02-29 12:34:56 +2400", nullptr },
    { "2024-02-30 12:34:56 +0200", nullptr },
    { "2024-02-29 12:34:56 GMT", nullptr },
    { "not a date", nullptr },
  };
  for (auto const& row : rows) {
    auto const expected = row.expected ? parse_canonical_date(row.expected) : std::nullopt;
    EXPECT_EQ(parse_canonical_date_with_zone(row.text), expected) << row.text;
  }
}

TEST(LocaleDates, ShowTheLongDateAndTheShortTime) {
  ASSERT_TRUE(is_pinned);
  EXPECT_EQ(long_date_and_short_time(utc("2021-06-03 07:41:30")), "3 June 2021 at 09:41");
  EXPECT_EQ(long_date_and_short_time(utc("2021-12-31 23:05:00")), "1 January 2022 at 00:05");
}

TEST(LocaleDates, CountUnitsOfTheCalendar) {
  using enum calendar_unit_t;
  struct {
    char const* name;
    char const* from;
    char const* to;
    calendar_unit_t unit;
    std::optional<int> expected;
  } const rows[] = {
    { "a year and a month, in years", "2023-01-10 12:00:00", "2024-02-10 12:00:00", years, 1 },
    { "a year and a month, in months", "2023-01-10 12:00:00", "2024-02-10 12:00:00", months, 13 },
    { "not quite a year", "2023-01-10 12:00:00", "2024-01-10 11:59:59", years, 0 },
    { "end of a short month", "2023-01-31 12:00:00", "2023-02-28 12:00:00", days, 28 },
    { "a day and three hours", "2023-01-10 12:00:00", "2023-01-11 15:00:00", hours, 27 },
    { "a day with 23 hours", "2024-03-30 12:00:00", "2024-03-31 11:00:00", days, 1 },
    { "its hours", "2024-03-30 12:00:00", "2024-03-31 11:00:00", hours, 23 },
    { "a day with 25 hours, too soon", "2024-10-26 12:00:00", "2024-10-27 12:00:00", days, 0 },
    { "leap day to leap day", "2020-02-29 12:00:00", "2024-02-29 12:00:00", years, 4 },
    { "minutes", "2023-01-10 12:00:00", "2023-01-10 13:59:59", minutes, 119 },
    { "seconds", "2023-01-10 12:00:00", "2023-01-10 12:00:01", seconds, 1 },
    { "the future", "2023-01-10 12:00:00", "2023-01-10 10:59:00", hours, -1 },
    { "the near future", "2023-01-10 12:00:00", "2023-01-10 11:59:30", minutes, 0 },
    { "more seconds than fit", "1900-01-01 00:00:00", "2024-01-01 00:00:00", seconds, std::nullopt },
  };
  for (auto const& row : rows)
    EXPECT_EQ(calendar_difference(utc(row.from), utc(row.to), row.unit), row.expected) << row.name;
}

TEST(LocaleDates, MayBeAskedByManyThreadsFromTheFirstQuestion) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < 50; ++n) {
        EXPECT_EQ(long_date_and_short_time(1622706090), "3 June 2021 at 09:41");
        EXPECT_EQ(calendar_difference(0, 86400 * 5, calendar_unit_t::days), 5);
        EXPECT_EQ(date_in_local_zone(seconds_since_epoch("2021-06-03 07:41:30").value(), "%T").size(), 8U);
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
}

}  // namespace
}  // namespace kel
