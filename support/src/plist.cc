// Reading and writing of property lists: a cursor over the bytes, one function for each kind of value. The first error
// ends the reading.
#include <kel/plist.h>

#include <algorithm>
#include <charconv>

#include <kel/ascii.h>

namespace kel::plist {

namespace {

constexpr int deepest = 128;

bool is_plain(char c) {
  return ascii::is_alnum(c) || std::string_view("_$/:.-").find(c) != std::string_view::npos;
}

int octal_value(char c) {
  return c >= '0' && c <= '7' ? c - '0' : -1;
}

void append_utf8(char32_t code, std::string& out) {
  auto const append = [&](char32_t byte) { out += static_cast<char>(byte); };
  if (code < 0x80) {
    append(code);
  } else if (code < 0x800) {
    append(0xC0 | code >> 6);
    append(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    append(0xE0 | code >> 12);
    append(0x80 | (code >> 6 & 0x3F));
    append(0x80 | (code & 0x3F));
  } else {
    append(0xF0 | code >> 18);
    append(0x80 | (code >> 12 & 0x3F));
    append(0x80 | (code >> 6 & 0x3F));
    append(0x80 | (code & 0x3F));
  }
}

constexpr std::string_view escape_letters = "abfnrtv";
constexpr std::string_view escaped_letters = "\a\b\f\n\r\t\v";

class parser_t {
public:
  explicit parser_t(std::string_view text) : _begin(text.data()), _cursor(_begin), _end(_begin + text.size()) {
    if (text.starts_with("\xEF\xBB\xBF"))
      _cursor += 3;
  }

  parsed_t parse() {
    parsed_t parsed;
    if (parse_value(parsed.value, 0) && skip() && _cursor != _end)
      fail("Unexpected text after the value");
    if (_failure) {
      parsed.value = {};
      parsed.error = error_t{ line_of(_failed_at), column_of(_failed_at), _failure };
    }
    return parsed;
  }

private:
  bool fail(char const* message, char const* at) {
    if (!_failure) {
      _failure = message;
      _failed_at = at;
    }
    return false;
  }
  bool fail(char const* message) { return fail(message, _cursor); }

  std::size_t line_of(char const* at) const { return 1 + static_cast<std::size_t>(std::count(_begin, at, '\n')); }
  std::size_t column_of(char const* at) const {
    std::string_view const before(_begin, at);
    return before.size() - (before.rfind('\n') + 1) + 1;  // no line feed at all: npos + 1 is 0
  }

  bool is_at(std::string_view text) const { return std::string_view(_cursor, _end).starts_with(text); }

  // Passes blanks and comments; fails in a comment without an end.
  bool skip() {
    while (_cursor != _end) {
      if (ascii::is_space(*_cursor)) {
        ++_cursor;
      } else if (is_at("//")) {
        _cursor = std::find(_cursor, _end, '\n');
      } else if (is_at("/*")) {
        std::size_t const closing = std::string_view(_cursor + 2, _end).find("*/");
        if (closing == std::string_view::npos)
          return fail("Unclosed comment");
        _cursor += 2 + closing + 2;
      } else {
        break;
      }
    }
    return true;
  }

  // The next character after blanks and comments, if it is the wanted one.
  bool take(char wanted) {
    if (!skip() || _cursor == _end || *_cursor != wanted)
      return false;
    ++_cursor;
    return true;
  }

  bool parse_value(value_t& value, int depth) {
    if (!skip())
      return false;
    if (depth > deepest)
      return fail("Nested too deeply");
    char const* const opening = _cursor;
    if (take('{'))
      return parse_dictionary(value, opening, depth);
    if (take('('))
      return parse_array(value, opening, depth);
    if (take('<'))
      return parse_data(value, opening);
    std::string text;
    if (!parse_text(text, "Expected a value"))
      return false;
    value = std::move(text);
    return true;
  }

  bool parse_dictionary(value_t& value, char const* opening, int depth) {
    dictionary_t entries;
    while (!take('}')) {
      if (_cursor == _end)
        return fail("Unclosed dictionary", opening);
      std::string key;
      value_t entry;
      if (!parse_text(key, "Expected a key or '}'"))
        return false;
      if (!take('='))
        return fail("Expected '=' after the key");
      if (!parse_value(entry, depth + 1))
        return false;
      if (!take(';'))
        return fail("Expected ';' after the value");
      entries.insert_or_assign(std::move(key), std::move(entry));
    }
    value = std::move(entries);
    return true;
  }

  bool parse_array(value_t& value, char const* opening, int depth) {
    array_t elements;
    while (!take(')')) {
      if (_cursor == _end)
        return fail("Unclosed array", opening);
      if (!parse_value(elements.emplace_back(), depth + 1))
        return false;
      if (!take(',')) {
        if (take(')'))
          break;
        return _cursor == _end ? fail("Unclosed array", opening) : fail("Expected ',' or ')' after the value");
      }
    }
    value = std::move(elements);
    return true;
  }

  bool parse_data(value_t& value, char const* opening) {
    data_t data;
    while (!take('>')) {
      if (_cursor == _end)
        return fail("Unclosed data", opening);
      int const high = ascii::hex_value(*_cursor);
      int const low = _end - _cursor > 1 ? ascii::hex_value(_cursor[1]) : -1;
      if (high < 0 || low < 0)
        return fail("Expected two hexadecimal digits or '>'");
      data.bytes += static_cast<char>(high << 4 | low);
      _cursor += 2;
    }
    value = std::move(data);
    return true;
  }

  bool parse_text(std::string& text, char const* expectation) {
    if (!skip())
      return false;
    if (_cursor != _end && (*_cursor == '"' || *_cursor == '\''))
      return parse_quoted(text);
    char const* const end = std::find_if_not(_cursor, _end, is_plain);
    if (end == _cursor)
      return fail(expectation);
    text.assign(_cursor, end);
    _cursor = end;
    return true;
  }

  bool parse_quoted(std::string& text) {
    char const* const opening = _cursor;
    char const quote = *_cursor++;
    while (_cursor != _end) {
      char const c = *_cursor++;
      if (c == quote)
        return true;
      if (c != '\\') {
        text += c;
      } else if (_cursor != _end) {
        parse_escape(text);
      }
    }
    return fail("Unclosed text", opening);
  }

  // Up to `longest` digits; the cursor stays where there is none.
  unsigned take_number(int (*value_of)(char), unsigned base, int longest) {
    unsigned number = 0;
    for (; longest > 0 && _cursor != _end && value_of(*_cursor) >= 0; --longest)
      number = number * base + static_cast<unsigned>(value_of(*_cursor++));
    return number;
  }

  void parse_escape(std::string& text) {
    char const c = *_cursor;
    if (octal_value(c) >= 0) {
      text += static_cast<char>(take_number(octal_value, 8, 3));
    } else if (c == 'U' && _end - _cursor > 1 && ascii::hex_value(_cursor[1]) >= 0) {
      parse_utf16(text);
    } else {
      auto const letter = escape_letters.find(c);
      text += letter == escape_letters.npos ? c : escaped_letters[letter];
      ++_cursor;
    }
  }

  void parse_utf16(std::string& text) {
    ++_cursor;
    char32_t code = take_number(ascii::hex_value, 16, 4);
    if (code >= 0xD800 && code < 0xDC00 && is_at("\\U")) {
      char const* const second_unit = _cursor;
      _cursor += 2;
      char32_t const low = take_number(ascii::hex_value, 16, 4);
      if (low >= 0xDC00 && low < 0xE000) {
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
      } else {
        _cursor = second_unit;
      }
    }
    append_utf8(code >= 0xD800 && code < 0xE000 ? 0xFFFD : code, text);
  }

  char const* _begin;
  char const* _cursor;
  char const* _end;
  char const* _failure = nullptr;
  char const* _failed_at = nullptr;
};

class printer_t {
public:
  std::string print(value_t const& value) {
    print_value(value);
    return std::move(_out);
  }

private:
  void print_value(value_t const& value) {
    if (auto const* text = value.text()) {
      print_text(*text);
    } else if (auto const* data = value.data()) {
      print_data(data->bytes);
    } else if (auto const* elements = value.array()) {
      print_array(*elements);
    } else {
      print_dictionary(*value.dictionary());
    }
  }

  void print_text(std::string const& text) {
    bool const needs_quotes = text.empty() || !std::ranges::all_of(text, [](char c) {
                                return ascii::is_alnum(c) || c == '_' || c == '.' || c == '-';
                              });
    if (!needs_quotes) {
      _out += text;
      return;
    }
    _out += '"';
    for (char const c : text)
      print_character(c);
    _out += '"';
  }

  void print_character(char c) {
    auto const letter = escaped_letters.find(c);
    if (letter != escaped_letters.npos) {
      _out += { '\\', escape_letters[letter] };
    } else if (c == '"' || c == '\\') {
      _out += { '\\', c };
    } else if ((c >= 0 && c < ' ') || c == '\x7F') {
      _out += { '\\', static_cast<char>('0' + (c >> 6)), static_cast<char>('0' + (c >> 3 & 7)),
                static_cast<char>('0' + (c & 7)) };
    } else {
      _out += c;
    }
  }

  void print_data(std::string const& bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    _out += '<';
    for (char const c : bytes)
      _out += { digits[static_cast<unsigned char>(c) >> 4], digits[c & 15] };
    _out += '>';
  }

  void print_array(array_t const& elements) {
    _out += '(';
    ++_depth;
    for (value_t const& element : elements) {
      start_line();
      print_value(element);
      _out += ',';
    }
    --_depth;
    if (!elements.empty())
      start_line();
    _out += ')';
  }

  void print_dictionary(dictionary_t const& entries) {
    _out += '{';
    ++_depth;
    for (auto const& [key, value] : entries) {
      start_line();
      print_text(key);
      _out += " = ";
      print_value(value);
      _out += ';';
    }
    --_depth;
    if (!entries.empty())
      start_line();
    _out += '}';
  }

  void start_line() {
    _out += '\n';
    _out.append(2 * _depth, ' ');
  }

  std::string _out;
  std::size_t _depth = 0;
};

}  // namespace

// Not defaulted: clang 14 breaks down over a defaulted comparison of a type that contains itself.
bool value_t::operator==(value_t const& other) const {
  return _content == other._content;
}

parsed_t parse(std::string_view text) {
  return parser_t(text).parse();
}

std::string to_s(value_t const& value) {
  return printer_t().print(value);
}

std::optional<bool> boolean_of(value_t const& value) {
  std::string const* const text = value.text();
  auto const is_one_of = [&](std::initializer_list<std::string_view> words) {
    return std::ranges::any_of(words, [&](std::string_view word) { return ascii::iequals(*text, word); });
  };
  if (text && is_one_of({ "YES", "true", "1" }))
    return true;
  if (text && is_one_of({ "NO", "false", "0" }))
    return false;
  return std::nullopt;
}

std::vector<std::string> strings_of(value_t const& value) {
  std::vector<std::string> strings;
  if (auto const* elements = value.array()) {
    for (value_t const& element : *elements) {
      if (auto const* text = element.text())
        strings.push_back(*text);
    }
  }
  return strings;
}

value_t const* find(dictionary_t const& entries, std::string_view key) {
  auto const found = entries.find(key);
  return found == entries.end() ? nullptr : &found->second;
}

std::string get_string(dictionary_t const& entries, std::string_view key, std::string_view fallback) {
  value_t const* const value = find(entries, key);
  return value && value->text() ? *value->text() : std::string(fallback);
}

bool get_boolean(dictionary_t const& entries, std::string_view key, bool fallback) {
  value_t const* const value = find(entries, key);
  return value ? boolean_of(*value).value_or(fallback) : fallback;
}

std::int64_t get_integer(dictionary_t const& entries, std::string_view key, std::int64_t fallback) {
  std::string const text = get_string(entries, key);
  std::int64_t number = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : fallback;
}

std::vector<std::string> get_strings(dictionary_t const& entries, std::string_view key) {
  value_t const* const value = find(entries, key);
  return value ? strings_of(*value) : std::vector<std::string>();
}

array_t const& get_array(dictionary_t const& entries, std::string_view key) {
  static array_t const empty;
  value_t const* const value = find(entries, key);
  return value && value->array() ? *value->array() : empty;
}

dictionary_t const& get_dictionary(dictionary_t const& entries, std::string_view key) {
  static dictionary_t const empty;
  value_t const* const value = find(entries, key);
  return value && value->dictionary() ? *value->dictionary() : empty;
}

}  // namespace kel::plist
