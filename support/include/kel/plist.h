// Property lists in their old ASCII form, read and written.
//
//    // a comment, until the end of the line
//    {
//      name   = "text with \"escapes\"";        /* another comment */
//      list   = ( one, two, "number three" );
//      bytes  = <0fbd77 1c2735ae>;
//      nested = { isOn = YES; };
//    }
//
// Texts need no quotes when they consist of letters, digits and "_$/:.-". Between double or single quotes the escapes
// are \a \b \f \n \r \t \v, one to three octal digits for a byte, \U with one to four hexadecimal digits for a UTF-16
// unit (two of them for a pair; a half alone becomes U+FFFD), and a backslash before anything else stands for that.
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace kel::plist {

class value_t;

using array_t = std::vector<value_t>;
using dictionary_t = std::map<std::string, value_t, std::less<>>;

struct data_t {
  std::string bytes;

  bool operator==(data_t const&) const = default;
};

// A text, data, an array or a dictionary. Numbers and booleans are texts; see `get_integer` and `get_boolean`.
class value_t {
public:
  value_t() = default;  // the empty text
  value_t(std::string text) : _content(std::move(text)) {}
  value_t(char const* text) : _content(std::string(text)) {}
  value_t(data_t data) : _content(std::move(data)) {}
  value_t(array_t elements) : _content(std::move(elements)) {}
  value_t(dictionary_t entries) : _content(std::move(entries)) {}
  value_t(std::same_as<bool> auto flag) : _content(std::string(flag ? "YES" : "NO")) {}

  // The content when it is of that kind, otherwise null. The pointers live as long as the value is not changed.
  std::string const* text() const { return std::get_if<std::string>(&_content); }
  data_t const* data() const { return std::get_if<data_t>(&_content); }
  array_t const* array() const { return std::get_if<array_t>(&_content); }
  dictionary_t const* dictionary() const { return std::get_if<dictionary_t>(&_content); }
  dictionary_t* dictionary() { return std::get_if<dictionary_t>(&_content); }

  bool operator==(value_t const&) const;

private:
  std::variant<std::string, data_t, array_t, dictionary_t> _content;
};

// Where reading stopped: line and column count from 1, the column in bytes.
struct error_t {
  std::size_t line;
  std::size_t column;
  std::string message;
};

struct parsed_t {
  value_t value;  // the empty text when there is an error
  std::optional<error_t> error;
};

// Reads the one value that the text consists of; comments and blanks may surround it, a byte order mark may precede it.
// Of equal keys the last one counts. Values nested deeper than 128 levels are an error.
parsed_t parse(std::string_view text);

// The value as text, indented, one element to a line; `parse` gives the same value back.
std::string to_s(value_t const& value);

// What a text means: YES, true and 1, or NO, false and 0, in any letter case; otherwise nothing.
std::optional<bool> boolean_of(value_t const& value);

// The texts of an array; elements of other kinds are left out. A value that is no array gives none.
std::vector<std::string> strings_of(value_t const& value);

// The entry of a dictionary, or null.
value_t const* find(dictionary_t const& entries, std::string_view key);

// The entry of a dictionary as what it should be; the fallback, or something empty, when there is no such entry or it is
// of another kind. References live as long as the dictionary.
std::string get_string(dictionary_t const& entries, std::string_view key, std::string_view fallback = {});
bool get_boolean(dictionary_t const& entries, std::string_view key, bool fallback = false);
std::int64_t get_integer(dictionary_t const& entries, std::string_view key, std::int64_t fallback = 0);
std::vector<std::string> get_strings(dictionary_t const& entries, std::string_view key);
array_t const& get_array(dictionary_t const& entries, std::string_view key);
dictionary_t const& get_dictionary(dictionary_t const& entries, std::string_view key);

}  // namespace kel::plist
