#include <kelmime/rfc822_date_parser.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <kel/ascii.h>
#include <kel/text.h>

namespace kel {

namespace {

constexpr std::array<std::string_view, 7> day_names = { "mon", "tue", "wed", "thu", "fri", "sat", "sun" };

constexpr std::array<std::string_view, 12> month_names = { "jan", "feb", "mar", "apr", "may", "jun",
                                                           "jul", "aug", "sep", "oct", "nov", "dec" };

constexpr std::size_t name_length = 3;

// Offsets are decimal numbers in the form +hhmm.
struct zone_t {
  std::string_view name;
  int offset;
};

constexpr zone_t rfc822_zones[] = {
  { "UT", 0 },     { "GMT", 0 },    { "EDT", -400 }, { "EST", -500 }, { "CDT", -500 },
  { "CST", -600 }, { "MDT", -600 }, { "MST", -700 }, { "PDT", -700 }, { "PST", -800 },
};

// IST means Ireland here and AST the Atlantic coast: such names have several owners, and mail needs one.
constexpr zone_t other_zones[] = {
  { "UTC", 0 },     { "BST", 100 },   { "IST", 100 },    { "WET", 0 },     { "WEST", 100 }, { "WEDT", 100 },
  { "CET", 100 },   { "MEZ", 100 },   { "CEST", 200 },   { "CEDT", 200 },  { "MESZ", 200 }, { "EET", 200 },
  { "EEST", 300 },  { "EEDT", 300 },  { "MSK", 300 },    { "MSD", 400 },   { "NST", -330 }, { "HNT", -330 },
  { "NDT", -230 },  { "HAT", -230 },  { "AST", -400 },   { "HNA", -400 },  { "ADT", -300 }, { "HAA", -300 },
  { "AKST", -900 }, { "AKDT", -800 }, { "HAST", -1000 }, { "HADT", -900 }, { "FT", 1130 },  { "WST", 800 },
  { "AWST", 800 },  { "WDT", 900 },   { "AWDT", 900 },   { "CXT", 700 },   { "SGT", 800 },
};

template <std::size_t count>
zone_t const* find_zone(zone_t const (&zones)[count], std::string_view name) {
  zone_t const* const found = std::ranges::find(zones, name, &zone_t::name);
  return found == std::end(zones) ? nullptr : found;
}

// The signs that RFC 822 gives, though they are the reverse of those in use outside of mail. There is no "J".
constexpr bool military_zone(char letter, int& offset) {
  if (letter >= 'A' && letter <= 'I')
    offset = -100 * (letter - 'A' + 1);
  else if (letter >= 'K' && letter <= 'M')
    offset = -100 * (letter - 'K' + 10);
  else if (letter >= 'N' && letter <= 'Y')
    offset = 100 * (letter - 'N' + 1);
  else if (letter == 'Z')
    offset = 0;
  else
    return false;
  return true;
}

static_assert([] {
  int m = 0, y = 0, j = 0;
  return military_zone('M', m) && m == -1200 && military_zone('Y', y) && y == 1200 && !military_zone('J', j);
}());

// The index of the name whose three letters the text begins with, or -1.
template <std::size_t count>
int find_name(std::array<std::string_view, count> const& names, std::string_view text) {
  auto const found =
      std::ranges::find_if(names, [&](std::string_view name) { return ascii::starts_with_ignoring_case(text, name); });
  return found == names.end() ? -1 : static_cast<int>(found - names.begin());
}

void append_number(std::string& text, std::ptrdiff_t number, std::ptrdiff_t width, char padding) {
  std::array<char, 24> digits;
  char* const digits_end = std::to_chars(digits.begin(), digits.end(), number).ptr;
  std::ptrdiff_t const missing = std::max<std::ptrdiff_t>(width - (digits_end - digits.begin()), 0);
  text.append(static_cast<std::size_t>(missing), padding).append(digits.begin(), digits_end);
}

// "yyyy-MM-dd HH:mm:ss" of fields with the full year. By hand, since every message has a few dates and printf is slow.
std::string canonical_text(std::tm const& fields) {
  std::string text;
  text.reserve(32);
  append_number(text, fields.tm_year, 4, ' ');
  append_number(text += '-', fields.tm_mon + 1, 2, '0');
  append_number(text += '-', fields.tm_mday, 2, '0');
  append_number(text += ' ', fields.tm_hour, 2, '0');
  append_number(text += ':', fields.tm_min, 2, '0');
  append_number(text += ':', fields.tm_sec, 2, '0');
  return text;
}

// Printable characters except parentheses and the backslash.
constexpr bool is_ctext(char c) {
  return c > ' ' && c <= '~' && c != '(' && c != ')' && c != '\\';
}

}  // namespace

rfc822_date_parser_t::rfc822_date_parser_t(char const* first, char const* last, mime_errors_handler_t& errors)
    : _start(first), _cursor(first), _end(last), _errors(errors) {}

void rfc822_date_parser_t::report_deviation(std::string const& description) const {
  report(&_errors, description, { _start, _end });
}

void rfc822_date_parser_t::report_obsolete(char const* description) const {
  report_low(&_errors, description, { _start, _end });
}

// --- Characters, blanks and comments --------------------------------------------------------------------------------

bool rfc822_date_parser_t::parse_char(char const* set) {
  if (_cursor == _end || !std::strchr(set, *_cursor))
    return false;
  ++_cursor;
  return true;
}

bool rfc822_date_parser_t::parse_int(int& value) {
  constexpr std::ptrdiff_t most_digits = 4;
  char const* const digits_end = std::find_if_not(_cursor, _end, ascii::is_digit);
  if (digits_end == _cursor || digits_end - _cursor > most_digits)
    return false;
  for (value = 0; _cursor != digits_end; ++_cursor)
    value = 10 * value + (*_cursor - '0');
  return true;
}

bool rfc822_date_parser_t::skip_fws() {
  char const* const begin = _cursor;
  for (;;) {
    if (_cursor != _end && ascii::is_blank(*_cursor))
      ++_cursor;
    else if (_end - _cursor >= 3 && _cursor[0] == '\r' && _cursor[1] == '\n' && ascii::is_blank(_cursor[2]))
      _cursor += 3;
    else
      return _cursor != begin;
  }
}

bool rfc822_date_parser_t::skip_dash() {
  if (_cursor != _end && *_cursor == '-') {
    ++_cursor;
    report_deviation("Non-standard use of '-' ignored");
  }
  return true;
}

bool rfc822_date_parser_t::skip_ctext() {
  char const* const begin = _cursor;
  _cursor = std::find_if_not(_cursor, _end, is_ctext);
  return _cursor != begin;
}

bool rfc822_date_parser_t::skip_quoted_pair() {
  if (_end - _cursor < 2 || *_cursor != '\\')
    return false;
  _cursor += 2;
  return true;
}

// Comments inside are counted and not entered, since a stranger chooses how deep they are. One that is not closed is
// not taken, nor is anything behind its opening parenthesis.
bool rfc822_date_parser_t::skip_ccontent() {
  char const* const begin = _cursor;
  char const* settled = _cursor;
  for (std::size_t depth = 0;;) {
    if (depth == 0)
      settled = _cursor;
    if (skip_fws() || skip_ctext() || skip_quoted_pair())
      continue;
    if (_cursor != _end && *_cursor == '(')
      ++depth;
    else if (_cursor != _end && *_cursor == ')' && depth > 0)
      --depth;
    else
      break;
    ++_cursor;
  }
  _cursor = settled;
  return _cursor != begin;
}

bool rfc822_date_parser_t::skip_single_comment() {
  char const* const begin = _cursor;
  skip_fws();
  if (_cursor != _end && *_cursor == '(') {
    ++_cursor;
    skip_ccontent();
    if (_cursor != _end && *_cursor == ')') {
      ++_cursor;
      return true;
    }
  }
  _cursor = begin;
  return false;
}

void rfc822_date_parser_t::skip_comments() {
  while (skip_single_comment()) {
  }
}

// --- The date -------------------------------------------------------------------------------------------------------

bool rfc822_date_parser_t::parse() {
  char const* const begin = _cursor;
  if (parse_day_of_week() && !parse_char(","))
    _cursor = begin;
  if (!parse_date() || !parse_optional_time()) {
    _cursor = begin;
    return false;
  }
  skip_comments();
  _valid = true;
  return true;
}

// Nothing more, or blanks and a time. On failure the cursor stays where it is.
bool rfc822_date_parser_t::parse_optional_time() {
  bool const has_blank = skip_fws();
  _zone = 0;
  _time.tm_sec = _time.tm_min = _time.tm_hour = 0;
  return _cursor == _end || (has_blank && parse_time());
}

bool rfc822_date_parser_t::parse_day_of_week() {
  char const* const begin = _cursor;
  skip_fws();
  skip_comments();
  if (parse_day_name())
    return true;
  _cursor = begin;
  return false;
}

bool rfc822_date_parser_t::parse_day_name() {
  if (find_name(day_names, { _cursor, _end }) < 0)
    return false;
  _cursor = std::find_if_not(_cursor + name_length, _end, ascii::is_alpha);
  return true;
}

bool rfc822_date_parser_t::parse_date() {
  return parse_day_month_year() || parse_month_day_year();
}

bool rfc822_date_parser_t::parse_day_month_year() {
  char const* const begin = _cursor;
  if (parse_day() && skip_dash() && parse_month() && skip_dash() && parse_year())
    return true;
  _cursor = begin;
  return false;
}

bool rfc822_date_parser_t::parse_month_day_year() {
  char const* const begin = _cursor;
  if (parse_month() && skip_dash() && parse_day() && skip_dash() && parse_year())
    return true;
  _cursor = begin;
  return false;
}

bool rfc822_date_parser_t::parse_day() {
  char const* const begin = _cursor;
  skip_fws();
  skip_comments();
  int day = 0;
  if (!parse_int(day) || day < 1 || day > 31) {
    _cursor = begin;
    return false;
  }
  _time.tm_mday = day;
  skip_fws();
  skip_comments();
  return true;
}

// Three letters and no more, unlike the names of days: of "January" the rest stays and is no year.
bool rfc822_date_parser_t::parse_month() {
  char const* const begin = _cursor;
  skip_fws();
  skip_comments();
  int const month = find_name(month_names, { _cursor, _end });
  if (month < 0) {
    _cursor = begin;
    return false;
  }
  _cursor += name_length;
  _time.tm_mon = month;
  skip_fws();
  skip_comments();
  return true;
}

bool rfc822_date_parser_t::parse_year() {
  char const* const begin = _cursor;
  skip_comments();
  int year = 0;
  if (!parse_int(year)) {
    _cursor = begin;
    return false;
  }
  if (year <= 49) {
    year += 2000;
    report_obsolete(
        "Two-digit years obsoleted in RFC2822 (parsed according to RFC822, but assumed to be 20xx instead of 19xx)");
  } else if (year <= 99) {
    year += 1900;
    report_obsolete("Two-digit years obsoleted in RFC2822 (parsed according to RFC822 as 19xx)");
  }
  _time.tm_year = year;
  skip_comments();
  return true;
}

// --- The time -------------------------------------------------------------------------------------------------------

bool rfc822_date_parser_t::parse_time() {
  char const* const begin = _cursor;
  if (!parse_time_of_day())
    return false;
  skip_fws();
  if (_cursor == _end || parse_zone())
    return true;
  _cursor = begin;
  return false;
}

// A ":" that no minute follows is skipped. A minute or a second that is out of range leaves its ":" behind, which is no
// zone and so ends the date in parse_time.
bool rfc822_date_parser_t::parse_time_of_day() {
  char const* const begin = _cursor;
  skip_comments();
  if (!parse_int(_time.tm_hour) || _time.tm_hour > 23) {
    _cursor = begin;
    return false;
  }
  skip_comments();

  char const* before_colon = _cursor;
  int minute = 0;
  if (!parse_char(":") || !parse_int(minute))
    return true;
  if (minute > 59) {
    _cursor = before_colon;
    return true;
  }
  _time.tm_min = minute;
  skip_comments();

  before_colon = _cursor;
  int second = 0;
  if (!parse_char(":") || !parse_int(second) || second > 60) {
    _cursor = before_colon;
    return true;
  }
  _time.tm_sec = second;
  skip_comments();
  return true;
}

bool rfc822_date_parser_t::parse_zone_number() {
  char const* const begin = _cursor;
  bool const is_negative = _cursor != _end && *_cursor == '-';
  if (is_negative || (_cursor != _end && *_cursor == '+'))
    ++_cursor;
  else if (_cursor != _end && ascii::is_digit(*_cursor))
    report_deviation("Non-standard missing +/- in time zone");

  int number = 0;
  if (!parse_int(number)) {
    _cursor = begin;
    return false;
  }
  if (number >= 9960)
    report_deviation("Zone number is out of bounds (accepted anyways)");
  _zone = is_negative ? -number : number;
  return true;
}

bool rfc822_date_parser_t::parse_zone() {
  return parse_zone_number() || parse_zone_name();
}

bool rfc822_date_parser_t::parse_zone_name() {
  char const* const begin = _cursor;
  _cursor = std::find_if_not(_cursor, _end, [](char c) { return ascii::is_alpha(c) || c == '"'; });
  if (_cursor == begin)
    return false;
  std::string name = text::uppercase({ begin, _cursor });
  if (name.size() >= 2 && name.front() == '"') {
    report_deviation("Non-standard double-quoted zone name");
    name = name.substr(1, name.size() - 2);
  }

  int offset = 0;
  if (zone_t const* const known = find_zone(rfc822_zones, name)) {
    offset = known->offset;
    report_obsolete("Zone names obsoleted in RFC2822 (parsed according to RFC822)");
  } else if (zone_t const* const other = find_zone(other_zones, name)) {
    offset = other->offset;
    report_deviation(text::format("Zone name does not exist in RFC822 (assumed to be %+05d)", offset));
  } else if (name.size() == 1 && military_zone(name.front(), offset)) {
    report_deviation("Military zone names obsoleted in RFC2822 (parsed according to RFC822)");
  } else {
    report_deviation("Non-parsable zone name ignored (assumed UTC)");
  }
  _zone = offset;
  return true;
}

// --- Results --------------------------------------------------------------------------------------------------------

std::string rfc822_date_parser_t::canonical_format() const {
  if (!_valid)
    return {};
  std::tm written = {};
  written.tm_year = _time.tm_year - 1900;
  written.tm_mon = _time.tm_mon;
  written.tm_mday = _time.tm_mday;
  written.tm_hour = _time.tm_hour;
  written.tm_min = _time.tm_min;
  written.tm_sec = _time.tm_sec;
  std::time_t const moment = timegm(&written) - (_zone / 100) * 3600 - (_zone % 100) * 60;
  std::tm utc = {};
  gmtime_r(&moment, &utc);
  utc.tm_year += 1900;
  return canonical_text(utc);
}

std::string rfc822_date_parser_t::local_canonical_format() const {
  if (!_valid)
    return {};
  std::string text = canonical_text(_time) + (_zone < 0 ? " -" : " +");
  append_number(text, std::abs(_zone), 4, '0');
  return text;
}

std::tm rfc822_date_parser_t::get_time() {
  if (!_valid) {
    std::time_t const now = std::time(nullptr);
    localtime_r(&now, &_time);
  }
  return _time;
}

rfc822_date_t::rfc822_date_t(char const* first, char const* last, mime_errors_handler_t& errors)
    : _parser(std::make_shared<rfc822_date_parser_t>(first, last, errors)) {
  _parser->parse();
}

}  // namespace kel
