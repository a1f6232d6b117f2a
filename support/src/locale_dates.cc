// Dates as the user's locale has them, by ICU.
//
// ICU is loaded when it is first asked for, since linking to it would cost each program that merely parses mail a
// millisecond at the start and some megabytes. The version is the one whose headers we were built with.
#include <kel/date.h>

#include <dlfcn.h>
#include <array>
#include <mutex>

#include <unicode/ucal.h>
#include <unicode/udat.h>

namespace kel {

namespace {

class locale_services_t {
public:
  locale_services_t() {
    std::string const version = U_ICU_VERSION_SHORT;
    void* const library = dlopen(("libicui18n.so." + version).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library)
      return;
    auto const load = [&](auto& function, std::string const& name) {
      function =
          reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, (name + "_" + version).c_str()));
      return function != nullptr;
    };
    _is_available = load(_open_format, "udat_open") && load(_format, "udat_format") &&
                    load(_open_calendar, "ucal_open") && load(_close_calendar, "ucal_close") &&
                    load(_set_time, "ucal_setMillis") && load(_difference, "ucal_getFieldDifference");
  }

  // The text in UTF-8; empty when it cannot be had.
  std::string long_date_and_short_time(std::int64_t seconds) {
    if (!_is_available)
      return {};
    std::lock_guard const lock(_mutex);
    UErrorCode error = U_ZERO_ERROR;
    if (!_formatter)
      _formatter = _open_format(UDAT_SHORT, UDAT_LONG, nullptr, nullptr, -1, nullptr, -1, &error);
    std::array<UChar, 256> text;
    int const length = _format(_formatter, milliseconds(seconds), text.data(), text.size(), nullptr, &error);
    return U_SUCCESS(error) ? to_utf8({ text.data(), static_cast<std::size_t>(length) }) : std::string();
  }

  std::optional<int> calendar_difference(std::int64_t from, std::int64_t to, UCalendarDateFields field) const {
    if (!_is_available)
      return std::nullopt;
    UErrorCode error = U_ZERO_ERROR;
    UCalendar* const calendar = _open_calendar(nullptr, -1, nullptr, UCAL_DEFAULT, &error);
    if (U_FAILURE(error))
      return std::nullopt;
    _set_time(calendar, milliseconds(from), &error);
    int const difference = _difference(calendar, milliseconds(to), field, &error);
    _close_calendar(calendar);
    return U_SUCCESS(error) ? std::optional(difference) : std::nullopt;
  }

private:
  static UDate milliseconds(std::int64_t seconds) { return static_cast<UDate>(seconds) * 1000; }

  static std::string to_utf8(std::u16string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
      char32_t code;
      U16_NEXT_OR_FFFD(text, i, text.size(), code);
      std::array<char, U8_MAX_LENGTH> bytes;
      std::size_t length = 0;
      U8_APPEND_UNSAFE(bytes, length, code);
      result.append(bytes.data(), length);
    }
    return result;
  }

  bool _is_available = false;
  decltype(&udat_open) _open_format = nullptr;
  decltype(&udat_format) _format = nullptr;
  decltype(&ucal_open) _open_calendar = nullptr;
  decltype(&ucal_close) _close_calendar = nullptr;
  decltype(&ucal_setMillis) _set_time = nullptr;
  decltype(&ucal_getFieldDifference) _difference = nullptr;
  std::mutex _mutex;
  UDateFormat* _formatter = nullptr;  // kept for the life of the process, and guarded by the mutex
};

// Never destroyed, since other threads and static objects may ask while the process ends.
locale_services_t& locale_services() {
  static locale_services_t& services = *new locale_services_t;
  return services;
}

UCalendarDateFields field_of(calendar_unit_t unit) {
  switch (unit) {
    case calendar_unit_t::years: return UCAL_YEAR;
    case calendar_unit_t::months: return UCAL_MONTH;
    case calendar_unit_t::days: return UCAL_DATE;
    case calendar_unit_t::hours: return UCAL_HOUR_OF_DAY;
    case calendar_unit_t::minutes: return UCAL_MINUTE;
    case calendar_unit_t::seconds: return UCAL_SECOND;
  }
  __builtin_unreachable();
}

}  // namespace

std::string long_date_and_short_time(std::int64_t seconds) {
  std::string text = locale_services().long_date_and_short_time(seconds);
  return text.empty() ? date_in_local_zone(seconds, "%F %H:%M") : text;
}

std::optional<int> calendar_difference(std::int64_t from, std::int64_t to, calendar_unit_t unit) {
  return locale_services().calendar_difference(from, to, field_of(unit));
}

}  // namespace kel
