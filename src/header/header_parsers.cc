#include <kelmime/header_parsers.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

#include <base/fatal.h>
#include <header/fold.h>
#include <kel/regexp.h>
#include <kelmime/bytes.h>
#include <kelmime/unset.h>
#include <kelmime/value_format.h>

namespace kel {

// A regular expression that is compiled when it is first used: of the hundreds in the registry a message needs a few.
struct field_parser_t::pattern_t {
  regexp::pattern_t const& compiled(std::string const& specifier) {
    std::call_once(_once, [&] {
      _pattern.emplace(specifier);
      if (!_pattern->is_valid())
        warning("Specifier '%s': %s\n", specifier.c_str(), _pattern->error().c_str());
    });
    return *_pattern;
  }

private:
  std::once_flag _once;
  std::optional<regexp::pattern_t> _pattern;
};

namespace {

struct char_function_entry_t {
  std::string_view name;
  header::match_t (*function)(char const*& cursor, char const* end);
};

constexpr char_function_entry_t char_functions[] = {
  { "split", header::address_split_function },   { "name", header::address_name_function },
  { "address", header::address_email_function }, { "protocol", header::protocol_function },
  { "server", header::server_function },         { "path", header::path_function },
  { "mailto", header::mailto_function },
};

std::string without_trailing_spaces(std::string_view text) {
  text = text.substr(0, text.find_last_not_of(' ') + 1);
  return no_tabs(text.data(), text.data() + text.size());
}

std::string value_of(header::match_t const& match) {
  return match.quoted ? header::dequote_string(match.first, match.last) : std::string(match.first, match.last);
}

}  // namespace

field_parser_t::field_parser_t(std::string const& specifier, std::size_t capture_index, type_t type, bool quoted)
    : _specifier(specifier), _type(type) {
  if (type != type_t::function) {
    add_capture_index(capture_index, type, quoted);
    if (specifier.empty())
      stop("Empty regex not allowed\n");
    _pattern = std::make_unique<pattern_t>();
    return;
  }
  for (auto const& [name, char_function] : char_functions) {
    if (specifier == name)
      _char_function = char_function;
  }
  if (specifier == "#relative")
    _transform_char_function = kel::relative_date;
  else if (specifier == "#local")
    _transform_char_function = kel::local_date;
}

field_parser_t::~field_parser_t() = default;

void field_parser_t::add_capture_index(std::size_t index, type_t type, bool quoted) {
  if (type != _type)
    fatal("Mismatching capture types (%u != %u)\n", static_cast<unsigned>(_type), static_cast<unsigned>(type));
  _capture_indices.push_back(index);
  if (quoted)
    _quoted_indices.insert(index);
}

void field_parser_t::set_char_function(char_function_t function) {
  _char_function = std::move(function);
}

void field_parser_t::set_transform_char_function(transform_char_function_t function) {
  _transform_char_function = std::move(function);
}

void field_parser_t::set_transform_function(transform_function_t function) {
  _transform_function = std::move(function);
}

bool field_parser_t::has_function() const {
  return _transform_char_function || _transform_function || _char_function;
}

// Hands each element, and where the next one begins, to `take` until that returns false.
template <typename Take>
void field_parser_t::walk_elements(std::string_view value, Take take) const {
  char const* cursor = value.data();
  char const* const end = cursor + value.size();
  for (char const* start = nullptr; start != cursor;) {
    start = cursor;
    header::match_t const match = _char_function(cursor, end);
    if (match.first == match.last || !take(match, cursor) || cursor == end)
      break;
  }
}

// A match that is empty, and stands where the search began, would be found for ever: the search goes on one byte later.
template <typename Take>
void field_parser_t::walk_matches(std::string_view value, Take take) const {
  regexp::pattern_t const& pattern = _pattern->compiled(_specifier);
  char const* cursor = value.data();
  char const* const end = cursor + value.size();
  while (cursor != end) {
    regexp::match_t const match = regexp::search(pattern, cursor, end);
    if (!match || !take(match))
      break;
    cursor = match.end() == cursor ? cursor + 1 : match.end();
  }
}

template <typename Take>
void field_parser_t::extract(std::string_view value, Take take) const {
  if (_transform_function) {
    take(_transform_function(std::string(value)));
  } else if (_transform_char_function) {
    take(_transform_char_function(value.data(), value.data() + value.size()));
  } else if (_char_function) {
    walk_elements(value, [&](header::match_t const& match, char const*) { return take(value_of(match)); });
  } else if (_pattern) {
    walk_matches(value, [&](regexp::match_t const& match) {
      auto const index = std::find_if(_capture_indices.begin(), _capture_indices.end(),
                                      [&](std::size_t group) { return match.matched(group); });
      return index == _capture_indices.end() || take(captured(match.text(*index), *index));
    });
  }
}

std::string field_parser_t::captured(std::string_view text, std::size_t index) const {
  char const* const first = text.data();
  char const* const last = first + text.size();
  switch (_type) {
    case type_t::text:
      if (_quoted_indices.contains(index) && text.find('\\') != text.npos)
        return header::dequote_string(first, last);
      return std::string(text);
    case type_t::formatted_date: return kel::formatted_date(first, last);
    case type_t::formatted_size: return kel::formatted_size(first, last);
    case type_t::no_tabs: return without_trailing_spaces(text);
    case type_t::relative_date:
    case type_t::function: break;
  }
  fatal("Captures cannot have the type %u\n", static_cast<unsigned>(_type));
}

void field_parser_t::parse_field(std::string_view value, string_sink_t out) const {
  extract(value, [&](std::string extracted) {
    if (extracted != unset_string)
      *out++ = std::move(extracted);
    return true;
  });
}

std::string field_parser_t::first_value(std::string_view value) const {
  std::string first = unset_string;
  extract(value, [&](std::string extracted) {
    first = std::move(extracted);
    return first == unset_string;
  });
  return first;
}

std::string field_parser_t::parse_field(header_string_t const& value) const {
  return first_value({ value.data, value.length });
}

std::string field_parser_t::parse_field(std::string const& value) const {
  return first_value(value);
}

void field_parser_t::wrap(std::string_view line, std::back_insert_iterator<std::string> out, std::size_t soft,
                          std::size_t hard) const {
  std::vector<std::size_t> ends;
  auto const add = [&](char const* end) {
    ends.push_back(static_cast<std::size_t>(end - line.data()));
    return true;
  };
  std::size_t const colon = line.find(':');
  if (colon != line.npos && needs_folding(line, soft, hard)) {
    std::string_view const value = line.substr(colon + 1);
    if (_char_function)
      walk_elements(value, [&](header::match_t const&, char const* next) { return add(next); });
    else if (_pattern)
      walk_matches(value, [&](regexp::match_t const& match) { return add(match.end()); });
  }
  fold_line(line, ends, container_of(out), soft, hard);
}

}  // namespace kel
