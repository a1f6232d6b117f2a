#include <header/parameters.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <unordered_map>
#include <utility>

#include <header/escaped.h>
#include <header/parameter_editing.h>
#include <kel/ascii.h>
#include <kel/text.h>
#include <kelmime/bytes.h>
#include <kelmime/charset.h>

namespace kel::header {

namespace {

constexpr bool is_name_byte(char c) {
  return ascii::is_alnum(c) || c == '-' || c == '_' || c == '.' || c == '*';
}

constexpr bool ends_word(char c) {
  return std::string_view(";,/=").find(c) != std::string_view::npos;
}

class reader_t {
public:
  explicit reader_t(std::string_view value) : _at(value.data()), _end(value.data() + value.size()) {}

  // The word before the next blank, ";", ",", "/" or comment, without quotes. A word that turns out to be a parameter's name
  // is left alone.
  std::string word() {
    skip_comments();
    char const* const start = _at;
    std::string text;
    for (; _at != _end && !ascii::is_space(*_at) && !ends_word(*_at); ++_at) {
      if (is_comment())
        break;
      if (*_at != '"')
        text += *_at;
    }
    skip_comments();
    if (_at != _end && *_at == '=') {
      _at = start;
      return {};
    }
    return text;
  }

  void type(std::string& type, std::string& subtype) {
    type = word();
    if (take('/'))
      subtype = word();
  }

  bool take(char wanted) {
    if (_at == _end || *_at != wanted)
      return false;
    ++_at;
    return true;
  }

  // The next name with its value, names and escapes as they stand. Words that no "=" follows are junk.
  bool next(parameter_t& found) {
    for (;;) {
      skip_comments();
      while (take(';'))
        skip_comments();
      if (_at == _end)
        return false;
      char const* const start = _at;
      while (_at != _end && !ascii::is_space(*_at) && *_at != '=' && *_at != ';' && *_at != '"' && !is_comment())
        ++_at;
      std::string_view const name(start, _at);
      skip_comments();
      if (take('=')) {
        if (name.empty())
          continue;
        found.name = text::lowercase(name);
        found.value = value();
        _written = { start, _value_end };
        return true;
      }
      if (name.empty())
        take('"');
    }
  }

  // The last parameter that was found, from its name to the end of its value.
  std::string_view written() const { return _written; }

private:
  bool is_comment() const { return _knows_comments && *_at == '('; }

  void skip_spaces() { _at = std::find_if_not(_at, _end, ascii::is_space); }

  // Once a comment was found to be unclosed, parentheses are text: no later look for the closing one is needed.
  bool skip_comment() {
    std::size_t depth = 0;
    for (char const* cursor = _at; cursor != _end; ++cursor) {
      if (*cursor == '\\' && _end - cursor > 1) {
        ++cursor;
      } else if (*cursor == '(') {
        ++depth;
      } else if (*cursor == ')' && --depth == 0) {
        _at = cursor + 1;
        return true;
      }
    }
    return _knows_comments = false;
  }

  void skip_comments() {
    skip_spaces();
    while (_at != _end && is_comment() && skip_comment())
      skip_spaces();
  }

  // Whether a parameter begins here: a name and "=".
  bool is_parameter(char const* cursor) const {
    if (cursor == _end || !ascii::is_alpha(*cursor))
      return false;
    cursor = std::find_if_not(cursor, _end, is_name_byte);
    cursor = std::find_if_not(cursor, _end, ascii::is_space);
    return cursor != _end && *cursor == '=';
  }

  std::string value() {
    skip_spaces();
    char const* const start = _at;
    skip_comments();
    if (_at != _end && *_at == '"')
      return quoted_value();
    if (_at != _end && *_at != ';' && _at != start && _at[-1] == ')')
      _at = start;  // "name=(1).txt"
    return unquoted_value();
  }

  std::string unquoted_value() {
    char const* const first = _at;
    char const* last = _at;
    while (_at != _end && *_at != ';') {
      if (ascii::is_space(*_at)) {
        skip_spaces();
        if (last != first && is_parameter(_at))
          break;
      } else if (!is_comment() || !skip_comment()) {
        last = ++_at;
      }
    }
    _value_end = last;
    bool const ends_at_semicolon = _at != _end && *_at == ';';
    if (last != first && last[-1] == ',' && !ends_at_semicolon)
      --last;
    if (last - first > 1 && last[-1] == '"' && std::find(first, last, '"') == last - 1)
      --last;
    return { first, last };
  }

  // Whether a parameter may end before `cursor`.
  bool may_end(char const* cursor) const {
    char const* const next = std::find_if_not(cursor, _end, ascii::is_space);
    return next == _end || *next == ';' || *next == '(' || is_parameter(next);
  }

  std::string quoted_value() {
    char const* const first = ++_at;
    char const* const close = closing_quote(first);
    _at = close ? close + 1 : end_of_unclosed(first);
    char const* last = close ? close : _at;
    while (!close && last != first && ascii::is_space(last[-1]))
      --last;
    _value_end = close ? _at : last;
    return unescaped(first, last);
  }

  // The quote behind which the parameter may end, or else the first one before ";"; null when there is no quote at all.
  // Where the look ahead was in vain, later values before the same ";" do without.
  char const* closing_quote(char const* cursor) {
    char const* close = nullptr;
    for (; cursor != _end && !(*cursor == ';' && close); ++cursor) {
      if (*cursor == '\\' && is_escape(cursor)) {
        ++cursor;
      } else if (*cursor == '"') {
        if (cursor < _no_end_before || may_end(cursor + 1))
          return cursor;
        if (!close)
          close = cursor;
      }
    }
    if (close)
      _no_end_before = cursor;
    return close;
  }

  char const* end_of_unclosed(char const* cursor) const {
    while ((cursor = std::find(cursor, _end, ';')) != _end) {
      if (is_parameter(std::find_if_not(cursor + 1, _end, ascii::is_space)))
        return cursor;
      ++cursor;
    }
    return _end;
  }

  bool is_escape(char const* cursor) const { return _end - cursor > 1 && (cursor[1] == '"' || cursor[1] == '\\'); }

  std::string unescaped(char const* first, char const* last) const {
    std::string text;
    text.reserve(static_cast<std::size_t>(last - first));
    for (; first != last; ++first) {
      if (*first == '\\' && is_escape(first) && last - first > 1)
        ++first;
      text += *first;
    }
    return text;
  }

  char const* _at;
  char const* _end;
  char const* _value_end = nullptr;
  char const* _no_end_before = nullptr;
  std::string_view _written;
  bool _knows_comments = true;
};

// --- RFC 2231 -----------------------------------------------------------------------------------------------------------

// One parameter as it stands: the plain "name", the extended "name*", or a section "name*3" or "name*3*".
struct section_t {
  enum class form_t { plain, whole, section };

  std::string_view name;
  form_t form = form_t::plain;
  std::uint32_t index = 0;
  bool is_extended = false;
  std::string_view text;
};

section_t section_of(parameter_t const& parameter) {
  using form_t = section_t::form_t;
  std::string_view const name = parameter.name;
  section_t const plain = { name, form_t::plain, 0, false, parameter.value };
  std::size_t const star = name.find('*');
  if (star == name.npos || star == 0)
    return plain;
  std::string_view mark = name.substr(star + 1);
  if (mark.empty())
    return { name.substr(0, star), form_t::whole, 0, true, parameter.value };
  bool const is_extended = mark.ends_with('*');
  mark.remove_suffix(is_extended ? 1 : 0);
  if (mark.empty() || !std::all_of(mark.begin(), mark.end(), ascii::is_digit))
    return plain;
  std::uint32_t index = 0;
  for (char const digit : mark)
    index = std::min<std::uint32_t>(index * 10 + static_cast<std::uint32_t>(digit - '0'), 100'000'000);
  return { name.substr(0, star), form_t::section, index, is_extended, parameter.value };
}

// Collects the text of one value. Bytes of the declared charset are converted together, since a section may end inside
// a character; bytes that stand there as they are have been converted with the header.
class extended_text_t {
public:
  void add(section_t const& section, bool is_first) {
    if (!section.is_extended) {
      convert_pending();
      _text += section.text;
      return;
    }
    std::string_view text = section.text;
    if (is_first)
      take_charset(text);
    for (std::size_t i = 0; i < text.size(); ++i) {
      int const high = text[i] == '%' && i + 2 < text.size() ? ascii::hex_value(text[i + 1]) : -1;
      int const low = high >= 0 ? ascii::hex_value(text[i + 2]) : -1;
      if (low >= 0) {
        _pending += static_cast<char>(high * 16 + low);
        i += 2;
      } else if (byte_value(text[i]) < 0x80) {
        _pending += text[i];
      } else {
        convert_pending();
        _text += text[i];
      }
    }
  }

  std::string finished() {
    convert_pending();
    return std::move(_text);
  }

private:
  void take_charset(std::string_view& text) {
    std::size_t const language = text.find('\'');
    std::size_t const start = language == text.npos ? text.npos : text.find('\'', language + 1);
    if (start == text.npos)
      return;
    _charset = text::lowercase(text.substr(0, language));
    text.remove_prefix(start + 1);
  }

  void convert_pending() {
    if (_pending.empty())
      return;
    std::string charset = _charset;
    convert_to_utf8(_pending.begin(), _pending.end(), std::back_inserter(_text), charset, {}, nullptr);
    _pending.clear();
  }

  std::string _charset;
  std::string _pending;
  std::string _text;
};

std::string joined(std::vector<section_t>& sections) {
  auto const by_index = [](section_t const& a, section_t const& b) { return a.index < b.index; };
  if (!std::is_sorted(sections.begin(), sections.end(), by_index))
    std::stable_sort(sections.begin(), sections.end(), by_index);
  extended_text_t text;
  section_t const* previous = nullptr;
  for (section_t const& section : sections) {
    if (previous && previous->index == section.index)
      continue;
    text.add(section, previous == nullptr);
    previous = &section;
  }
  return text.finished();
}

// All parameters of one name.
struct group_t {
  std::string_view name;
  std::vector<std::string_view> plain;
  std::vector<section_t> whole;
  std::vector<section_t> sections;

  void add(section_t const& section) {
    switch (section.form) {
      case section_t::form_t::plain: plain.push_back(section.text); break;
      case section_t::form_t::whole: whole.push_back(section); break;
      case section_t::form_t::section: sections.push_back(section); break;
    }
  }

  void resolve(std::vector<parameter_t>& out) {
    for (section_t const& section : whole) {
      extended_text_t text;
      text.add(section, true);
      out.push_back({ std::string(name), text.finished() });
    }
    if (whole.empty() && !sections.empty())
      out.push_back({ std::string(name), joined(sections) });
    if (!whole.empty() || !sections.empty())
      return;
    for (std::string_view const value : plain)
      out.push_back({ std::string(name), std::string(value) });
  }
};

std::vector<parameter_t> resolved(std::vector<parameter_t> const& written) {
  std::vector<group_t> groups;
  std::unordered_map<std::string_view, std::size_t> group_of_name;
  for (parameter_t const& parameter : written) {
    section_t const section = section_of(parameter);
    auto const [group, is_new] = group_of_name.try_emplace(section.name, groups.size());
    if (is_new)
      groups.push_back({ section.name, {}, {}, {} });
    groups[group->second].add(section);
  }
  std::vector<parameter_t> parameters;
  for (group_t& group : groups)
    group.resolve(parameters);
  return parameters;
}

bool is_extended(parameter_t const& parameter) {
  return parameter.name.find('*') != parameter.name.npos;
}

void drop_single_quotes(std::string& text) {
  if (text.size() >= 2 && text.front() == '\'' && text.back() == '\'')
    text = text.substr(1, text.size() - 2);
}

}  // namespace

std::string const* structured_value_t::parameter(std::string_view name) const {
  for (parameter_t const& parameter : parameters) {
    if (parameter.name == name)
      return &parameter.value;
  }
  return nullptr;
}

structured_value_t parse_structured_value(std::string_view value) {
  structured_value_t result;
  reader_t reader(value);
  reader.type(result.type, result.subtype);
  for (parameter_t parameter; reader.next(parameter);)
    result.parameters.push_back(std::move(parameter));
  if (std::any_of(result.parameters.begin(), result.parameters.end(), is_extended))
    result.parameters = resolved(result.parameters);
  for (parameter_t& parameter : result.parameters) {
    if (parameter.name == "charset")
      drop_single_quotes(parameter.value);
  }
  return result;
}

std::vector<written_parameter_t> written_parameters(std::string_view value) {
  std::vector<written_parameter_t> written;
  reader_t reader(value);
  std::string ignored;
  reader.type(ignored, ignored);
  for (parameter_t parameter; reader.next(parameter);)
    written.push_back({ std::string(section_of(parameter).name), reader.written() });
  return written;
}

std::string normal_parameters(std::string_view value) {
  std::string text;
  for (auto const& [name, parameter] : parse_structured_value(value).parameters) {
    if (!text.empty())
      text += "; ";
    text.append(name).append("=\"").append(escaped(parameter)).append("\"");
  }
  return text;
}

std::string transfer_encoding_mechanism(std::string_view value) {
  return reader_t(value).word();
}

}  // namespace kel::header
