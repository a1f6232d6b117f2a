// Points in time, as seconds since 1970-01-01 00:00:00 UTC without leap seconds, and their texts.
//
// All functions may be called from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kel {

// Reads the beginning of the text as a time in UTC in the form of strptime; what follows is ignored. Names of days and
// months are English whatever the locale. Nothing when the text does not have the form.
std::optional<std::int64_t> seconds_since_epoch(std::string_view text, char const* form = "%F %T");

// The time in the zone of the user, in the form of strftime, with English names of days and months. Nothing but the
// empty text for a year that no calendar holds.
std::string date_in_local_zone(std::int64_t seconds, char const* form = "%F %T");

// Reads exactly "yyyy-MM-dd HH:mm:ss" (in UTC), or the same followed by a space and a zone as "+hhmm" or "-hhmm". Days
// that do not exist, such as February 30, are no dates; second 60 is none either.
std::optional<std::int64_t> parse_canonical_date(std::string_view text);
std::optional<std::int64_t> parse_canonical_date_with_zone(std::string_view text);

// The date in the long style and the time in the short style of the user's locale and zone: "June 3, 2021 at 9:41 AM".
// Where the locale services are not available the form is "%F %H:%M".
std::string long_date_and_short_time(std::int64_t seconds);

enum class calendar_unit_t { years, months, days, hours, minutes, seconds };

// Full units from `from` to `to` in the user's calendar and zone; negative when `to` is earlier. A month is a month of
// the calendar: from January 31 to February 28 it is 0 months and 28 days. Each unit is counted from `from` anew.
// Nothing where the locale services are not available or the count is too large.
std::optional<int> calendar_difference(std::int64_t from, std::int64_t to, calendar_unit_t unit);

}  // namespace kel
