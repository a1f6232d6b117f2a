#include <kelmime/value_format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <optional>

#include <base/fatal.h>
#include <kel/ascii.h>
#include <kel/date.h>
#include <kel/text.h>

namespace kel {

namespace {

std::int64_t or_invalid(std::optional<std::int64_t> date, char const* form, std::string_view text) {
  if (date)
    return *date;
  std::fprintf(stderr, "Failed to parse %s: '%s'\n", form, printable(text).c_str());
  return invalid_date;
}

}  // namespace

std::int64_t date_for_string(std::string_view text) {
  constexpr std::size_t utc_form = std::string_view("yyyy-MM-dd HH:mm:ss").size();
  if (text.size() == utc_form)
    return or_invalid(parse_canonical_date(text), "utc_date", text);
  return or_invalid(parse_canonical_date_with_zone(text), "#date", text);
}

std::string formatted_date(char const* first, char const* last) {
  std::int64_t const date = date_for_string({ first, last });
  return date == invalid_date ? "unknown" : long_date_and_short_time(date);
}

std::string relative_date(char const* first, char const* last) {
  struct unit_t {
    calendar_unit_t unit;
    char const* name;
  };
  static constexpr std::array<unit_t, 6> units = { {
      { calendar_unit_t::years, "years" },
      { calendar_unit_t::months, "months" },
      { calendar_unit_t::days, "days" },
      { calendar_unit_t::hours, "hours" },
      { calendar_unit_t::minutes, "minutes" },
      { calendar_unit_t::seconds, "seconds" },
  } };
  std::string result = "unknown";
  std::int64_t const date = date_for_string({ first, last });
  if (date == invalid_date)
    return result;
  std::int64_t const now = std::time(nullptr);
  for (auto const& [unit, name] : units) {
    std::optional<int> const difference = calendar_difference(date, now, unit);
    if (!difference)
      continue;
    if (*difference >= 2)
      return text::format("%d %s ago", *difference, name);
    // A date some seconds ahead is within the error of clocks, and no future.
    if (*difference < 0 && unit != calendar_unit_t::seconds)
      result = "future time";
  }
  return result;
}

std::string local_date(char const* first, char const* last) {
  std::optional<std::int64_t> const seconds = seconds_since_epoch({ first, last });
  return seconds ? date_in_local_zone(*seconds) : "unknown";
}

std::string formatted_size(char const* first, char const* last) {
  while (first != last && ascii::is_space(*first))
    ++first;
  if (last - first > 1 && *first == '+' && first[1] != '-')
    ++first;
  std::int64_t bytes = 0;
  if (std::from_chars(first, last, bytes).ec == std::errc::result_out_of_range)
    bytes = *first == '-' ? INT64_MIN : INT64_MAX;
  return text::format_size(static_cast<std::uint64_t>(bytes));
}

std::string no_tabs(char const* first, char const* last) {
  std::string text(first, last);
  std::replace(text.begin(), text.end(), '\t', ' ');
  return text;
}

}  // namespace kel
