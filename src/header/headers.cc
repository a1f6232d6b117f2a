// Header blocks.
//
// A value is decoded once, here. Nearly all of them are plain ASCII without encoded words, and those go straight from
// the message into their final string: one look for what needs work, then one copy without the folding.
#include <kelmime/headers.h>

#include <algorithm>
#include <array>
#include <string_view>

#include <codec/find_byte.h>
#include <header/address_header.h>
#include <header/received_date.h>
#include <header/unfold.h>
#include <kel/ascii.h>
#include <kel/preferences.h>
#include <kel/text.h>
#include <kelmime/cleanup_header_body.h>
#include <kelmime/idn_wrapper.h>
#include <kelmime/limits.h>
#include <kelmime/rfc822_date_parser.h>

namespace kel {

namespace {

constexpr std::ptrdiff_t longest_name = 50;

// The printable ASCII bytes without space and colon.
constexpr auto is_name_byte = [] {
  std::array<bool, 256> table{};
  for (char c = '!'; c <= '~'; ++c)
    table[byte_value(c)] = c != ':';
  return table;
}();

// Whether decoding the value would give the value itself, whatever the guessed charset is: neither encoded words, nor
// 8-bit bytes, nor escape sequences, nor zero bytes.
bool is_plain(std::string_view value) {
  constexpr char escape = 27;  // may begin Japanese text
  std::uint8_t bits = 0, special = 0, equals = 0;
  for (char const c : value) {  // to the end, whatever is found, so that the compiler can look at many bytes at once
    bits |= byte_value(c);
    special |= static_cast<std::uint8_t>((c == 0) | (c == escape));
    equals |= static_cast<std::uint8_t>(c == '=');
  }
  return bits < 0x80 && !special && !(equals && value.find("=?") != value.npos);
}

// Charsets whose plain text is ASCII and whose use is never worth a record.
bool is_plain_charset(std::string_view charset) {
  return charset.empty() || charset == "us-ascii" || charset == "utf-8" || charset == "iso-8859-1";
}

// The colon behind the header name at `line`, or null if there is no name of 1 to 50 bytes with a colon.
char const* find_colon(char const* line, char const* end) {
  char const* const limit = line + std::min(end - line, longest_name);
  char const* cursor = line;
  while (cursor != limit && is_name_byte[byte_value(*cursor)])
    ++cursor;
  return cursor != line && cursor != end && *cursor == ':' ? cursor : nullptr;
}

// The line feed before the first line that is empty or begins with a byte that is no white space; `end` if there is
// none.
char const* find_value_end(char const* value, char const* end) {
  for (char const* cursor = value;;) {
    char const* const line_feed = find_byte(cursor, end, '\n');
    if (line_feed == end)
      return end;
    cursor = line_feed + 1;
    if (cursor == end || *cursor == '\n' || !ascii::is_space(*cursor))
      return line_feed;
  }
}

bool is_reserved(std::string_view name) {
  return name.front() == '#' || name == "security-generation-detail";
}

bool ignores_return_path() {
  static bool const answer = preferences::boolean("PwDisableReturnPathCheck");
  return answer;
}

void store_in(std::multimap<std::string, std::string>& headers, std::string name, std::string value) {
  headers.emplace(std::move(name), std::move(value));
}

void store_in(std::vector<header_pair_t>& headers, std::string name, std::string value) {
  headers.emplace_back(std::move(name), std::move(value));
}

template <typename Headers>
class block_parser_t {
public:
  block_parser_t(char const* begin, char const* end, Headers& headers, mime_errors_handler_t& errors,
                 std::string const& charset, std::function<std::string()> const& guess_charset)
      : _cursor(begin),
        _end(end),
        _headers(headers),
        _errors(errors),
        _charset(charset),
        _guess_charset(guess_charset),
        _is_plain_charset(is_plain_charset(charset)) {}

  char const* parse() {
    while (_cursor != _end) {
      if (*_cursor == '\n') {
        ++_cursor;
        break;
      }
      if (char const* const colon = find_colon(_cursor, _end))
        parse_field(colon);
      else
        skip_malformed_line();
    }
    store_dates();
    return _cursor;
  }

private:
  void skip_malformed_line() {
    char const* const line_feed = find_byte(_cursor, _end, '\n');
    report(&_errors, "Warning: Skipping malformed header line",
           std::string_view(_cursor, line_feed).substr(0, longest_name));
    _cursor = line_feed == _end ? _end : line_feed + 1;
  }

  void parse_field(char const* colon) {
    char const* const line = _cursor;
    char const* const value_end = find_value_end(colon + 1, _end);
    _cursor = value_end == _end ? _end : value_end + 1;

    std::string_view const typed_name(line, colon);
    error_context_t const guard(&_errors, { "header", typed_name });
    if (is_full())
      return;
    std::string value;
    if (!read_value(colon + 1, value_end, value))
      return;
    std::string name = text::lowercase(typed_name);
    if (is_reserved(name)) {
      report(&_errors,
             "Warning: Raw message contained virtual header (it has been skipped since Postwick cannot handle it)",
             { line, value_end });
      return;
    }
    if (is_address_header(name) && idn::is_encoded(value))
      value = idn::header_domains_to_utf8(value);
    store_field(std::move(name), std::move(value));
  }

  // Records the first field that finds no room.
  bool is_full() {
    if (_field_count < limits::header_fields)
      return false;
    if (_field_count++ == limits::header_fields)
      report(&_errors, "Too many headers (this one and the following ones have been skipped)");
    return true;
  }

  // False when the decoded value is empty or nothing but white space.
  bool read_value(char const* first, char const* last, std::string& value) {
    if (static_cast<std::size_t>(last - first) > limits::header_field_bytes) {
      report(&_errors, "Header is too long (only its beginning has been read)");
      last = first + limits::header_field_bytes;
    }
    first = std::find_if_not(first, last, ascii::is_space);
    if (first == last)
      return false;
    if (_is_plain_charset && is_plain({ first, last })) {
      append_unfolded(first, last, value);
      return true;
    }
    decode_header_line(first, last, std::back_inserter(value), &_errors, _charset, _guess_charset);
    if (std::ranges::all_of(value, ascii::is_space))
      return false;
    cleanup_header_body(value);
    return true;
  }

  void store_field(std::string name, std::string value) {
    std::string local_date;
    if (name == "date")
      local_date = read_date(value);
    else if (name == "received")
      read_received(value);
    else if (name == "return-path")
      start_delivery();
    ++_field_count;
    store_in(_headers, std::move(name), std::move(value));
    if (!local_date.empty())
      store_in(_headers, "#date", std::move(local_date));
  }

  // What stands above the newest "Return-Path" was added after the delivery.
  void start_delivery() {
    if (ignores_return_path())
      return;
    _date_received.clear();
    _has_return_path = true;
  }

  // The date in the sender's zone; empty when it is not readable.
  std::string read_date(std::string const& value) {
    rfc822_date_t const date(value.begin(), value.end(), _errors);
    _date_value = date.canonical_format();
    std::string local_date = date.local_canonical_format();
    if (!local_date.empty()) {
      _date_sent = _date_value;
      _has_date = true;
    }
    return local_date;
  }

  void read_received(std::string const& value) {
    if (_date_received.empty() && !_has_date)
      _date_received = received_date(value, _errors);
  }

  void store_dates() {
    if (!_has_return_path && !_date_value.empty() && !ignores_return_path())
      _date_received.clear();
    if (_date_received.empty())
      _date_received = _date_value;
    if (_date_sent.empty())
      _date_sent = _date_received;
    if (!_date_received.empty())
      store_in(_headers, "#date-received", _date_received);
    if (!_date_sent.empty())
      store_in(_headers, "#date-sent", _date_sent);
  }

  char const* _cursor;
  char const* const _end;
  Headers& _headers;
  mime_errors_handler_t& _errors;
  std::string const& _charset;
  std::function<std::string()> const& _guess_charset;
  bool const _is_plain_charset;
  std::size_t _field_count = 0;

  // Canonical dates, empty while unknown.
  std::string _date_sent;
  std::string _date_received;
  std::string _date_value;  // of the last "Date"
  bool _has_date = false;
  bool _has_return_path = false;
};

}  // namespace

char const* parse_headers(char const* begin, char const* end, std::multimap<std::string, std::string>& headers,
                          mime_errors_handler_t& errors, std::string const& charset,
                          std::function<std::string()> const& guess_charset) {
  return block_parser_t(begin, end, headers, errors, charset, guess_charset).parse();
}

char const* parse_headers(char const* begin, char const* end, std::vector<header_pair_t>& headers,
                          mime_errors_handler_t& errors, std::string const& charset,
                          std::function<std::string()> const& guess_charset) {
  return block_parser_t(begin, end, headers, errors, charset, guess_charset).parse();
}

}  // namespace kel
