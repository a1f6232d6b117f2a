// Dates of headers (RFC 5322, section 3.3), with the obsolete forms that mail still uses.
//
//    rfc822_date_t const date(value.begin(), value.end(), errors);
//    date.canonical_format();         "2024-01-01 08:20:30", UTC
//    date.local_canonical_format();   "2024-01-01 10:20:30 +0200", as the sender wrote it
#pragma once

#include <cstddef>
#include <ctime>
#include <memory>
#include <string>

#include <kelmime/bytes.h>
#include <kelmime/export.h>
#include <kelmime/mime_errors_handler.h>

namespace kel {

// A cursor over the date text and one verb per rule of the grammar. Each verb says whether it took something; one that
// takes several pieces puts the cursor back when it fails. Text and collector must outlive the parsing, not the
// results.
//
// Accepted besides RFC 5322, each with a record whose context is the whole text:
//   1. "-" between day, month and year;
//   2. years below 100;
//   3. zones without a sign, beyond 9959 or with a name, between double quotes too. Names outside RFC 822 follow a
//      table; an unknown name means UTC.
// Accepted without a record: month before day, a missing time, minute or zone, a time zone's minutes above 59, and
// anything after the zone.
class KELMIME_EXPORT rfc822_date_parser_t {
public:
  rfc822_date_parser_t(char const* first, char const* last, mime_errors_handler_t& errors);

  bool parse();

  bool parse_day_of_week();
  bool parse_day_name();
  bool parse_date();
  bool parse_day();
  bool parse_month();
  bool parse_year();
  bool parse_time();
  bool parse_time_of_day();
  bool parse_zone();
  bool parse_zone_number();

  bool skip_fws();
  bool skip_dash();
  bool skip_single_comment();
  bool skip_ccontent();
  bool skip_ctext();
  bool skip_quoted_pair();

  // One to four decimal digits. Nothing is taken of a number that has more.
  bool parse_int(int& value);

  // One of the characters of `set`, or a zero byte.
  bool parse_char(char const* set);

  // The moment in UTC, "yyyy-MM-dd HH:mm:ss"; empty when the date is not valid.
  std::string canonical_format() const;

  // The fields as written, with the zone: "yyyy-MM-dd HH:mm:ss +hhmm"; empty when the date is not valid.
  std::string local_canonical_format() const;

  // The fields as written, with the full year (2024). Of an invalid date: the current local time in the platform's
  // form, in which the year counts from 1900.
  std::tm get_time();

private:
  void skip_comments();
  bool parse_optional_time();
  bool parse_day_month_year();
  bool parse_month_day_year();
  bool parse_zone_name();
  void report_deviation(std::string const& description) const;
  void report_obsolete(char const* description) const;

  char const* _start;
  char const* _cursor;
  char const* _end;
  mime_errors_handler_t& _errors;
  bool _valid = false;
  std::ptrdiff_t _zone = 0;  // as a decimal number: +0200 is 200, -0330 is -330
  std::tm _time = {};        // with the full year
};

// A parsed date. Copies share it.
class KELMIME_EXPORT rfc822_date_t {
public:
  // Parses at once. What deviates is recorded in `errors`; a text that is no date makes an invalid date.
  rfc822_date_t(char const* first, char const* last, mime_errors_handler_t& errors);

  template <byte_iterator In>
  rfc822_date_t(In first, In last, mime_errors_handler_t& errors)
      : rfc822_date_t(pointer_to(first), pointer_to(last), errors) {}

  std::string canonical_format() const { return _parser->canonical_format(); }
  std::string local_canonical_format() const { return _parser->local_canonical_format(); }
  std::tm get_time() const { return _parser->get_time(); }

private:
  std::shared_ptr<rfc822_date_parser_t> _parser;
};

}  // namespace kel
