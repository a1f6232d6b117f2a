// Display texts for values of headers: dates, sizes and text without tabs.
//
// Dates come in the canonical form that `rfc822_date_t` gives: "yyyy-MM-dd HH:mm:ss" in UTC, or the same with a blank and
// a zone ("+0200").
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <kelmime/export.h>

namespace kel {

// Seconds since 1970-01-01 00:00:00 UTC of a canonical date. A text that is none gives `invalid_date` and a line on
// standard error.
KELMIME_EXPORT std::int64_t date_for_string(std::string_view text);

// What `date_for_string` gives for a text that is no date: 1969-08-20 08:04:16 UTC.
inline constexpr std::int64_t invalid_date = -11548544;

// The date in the user's locale, in the long style with a short time; "unknown" when it cannot be read.
KELMIME_EXPORT std::string formatted_date(char const* first, char const* last);

// "3 days ago", "future time", or "unknown". The largest unit of which there are at least two is used; a date whose
// every difference is 0 or 1, such as one second ago, is deliberately "unknown".
KELMIME_EXPORT std::string relative_date(char const* first, char const* last);

// A canonical date in UTC converted to the local zone, as "2024-05-01 13:45:00"; "unknown" when it cannot be read.
KELMIME_EXPORT std::string local_date(char const* first, char const* last);

// The leading decimal number of the text as a number of bytes, in a short human form. Without digits it is 0.
KELMIME_EXPORT std::string formatted_size(char const* first, char const* last);

// The text with every tab replaced by one space.
KELMIME_EXPORT std::string no_tabs(char const* first, char const* last);

}  // namespace kel
