#include <kel/date.h>

#include <array>
#include <charconv>
#include <chrono>
#include <clocale>
#include <ctime>

namespace kel {

namespace {

// Names of days and months in mail are English, whatever locale the application has set.
locale_t english() {
  static locale_t const locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

constexpr std::string_view shape_of_date = "0000-00-00 00:00:00";
constexpr std::string_view shape_of_zone = " +0000";

// The same length and the same punctuation; "0" stands for any digit and "+" for either sign.
bool has_shape(std::string_view text, std::string_view shape) {
  if (text.size() != shape.size())
    return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool const fits = shape[i] == '0'   ? text[i] >= '0' && text[i] <= '9'
                      : shape[i] == '+' ? text[i] == '+' || text[i] == '-'
                                        : text[i] == shape[i];
    if (!fits)
      return false;
  }
  return true;
}

int number_at(std::string_view text, std::size_t at, std::size_t length) {
  int number = 0;
  std::from_chars(text.data() + at, text.data() + at + length, number);
  return number;
}

}  // namespace

std::optional<std::int64_t> seconds_since_epoch(std::string_view text, char const* form) {
  std::tm time{};
  time.tm_mday = 1;
  if (!strptime_l(std::string(text).c_str(), form, &time, english()))
    return std::nullopt;
  return timegm(&time);
}

std::string date_in_local_zone(std::int64_t seconds, char const* form) {
  tzset();  // notices that the user has travelled
  std::time_t const time = seconds;
  std::tm local{};
  if (!localtime_r(&time, &local))
    return {};
  std::array<char, 256> text;
  return { text.data(), strftime_l(text.data(), text.size(), form, &local, english()) };
}

std::optional<std::int64_t> parse_canonical_date(std::string_view text) {
  if (!has_shape(text, shape_of_date))
    return std::nullopt;
  std::chrono::year_month_day const day(std::chrono::year(number_at(text, 0, 4)),
                                        std::chrono::month(static_cast<unsigned>(number_at(text, 5, 2))),
                                        std::chrono::day(static_cast<unsigned>(number_at(text, 8, 2))));
  std::chrono::hours const hours(number_at(text, 11, 2));
  std::chrono::minutes const minutes(number_at(text, 14, 2));
  std::chrono::seconds const seconds(number_at(text, 17, 2));
  if (!day.ok() || hours.count() > 23 || minutes.count() > 59 || seconds.count() > 59)
    return std::nullopt;
  return (std::chrono::sys_days(day) + hours + minutes + seconds).time_since_epoch() / std::chrono::seconds(1);
}

std::optional<std::int64_t> parse_canonical_date_with_zone(std::string_view text) {
  if (text.size() < shape_of_date.size() || !has_shape(text.substr(shape_of_date.size()), shape_of_zone))
    return std::nullopt;
  auto const seconds = parse_canonical_date(text.substr(0, shape_of_date.size()));
  int const hours = number_at(text, 21, 2);
  int const minutes = number_at(text, 23, 2);
  if (!seconds || hours > 23 || minutes > 59)
    return std::nullopt;
  int const offset = (hours * 60 + minutes) * 60;
  return *seconds + (text[20] == '-' ? offset : -offset);
}

}  // namespace kel
