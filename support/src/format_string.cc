#include <kel/format_string.h>

#include <functional>

#include <kel/ascii.h>

namespace kel::format_string {

namespace {

using lookup_t = std::function<std::string_view(std::string_view name)>;

// Forms nested deeper than this are plain text.
constexpr int deepest = 64;

bool is_name_character(char c) {
  return ascii::is_alnum(c) || c == '_';
}

// The name at the beginning: "$1st" is group 1, since only names that begin with a digit are numbers.
std::string_view leading_name(std::string_view text) {
  bool const is_number = !text.empty() && ascii::is_digit(text.front());
  std::size_t length = 0;
  while (length < text.size() && (is_number ? ascii::is_digit(text[length]) : is_name_character(text[length])))
    ++length;
  return text.substr(0, length);
}

// The first `wanted` outside nested braces, escapes skipped.
std::size_t find_outside_braces(std::string_view text, char wanted) {
  std::size_t depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == wanted && depth == 0)
      return i;
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '{') {
      ++depth;
    } else if (text[i] == '}' && depth > 0) {
      --depth;
    }
  }
  return text.npos;
}

class expander_t {
public:
  expander_t(lookup_t const& lookup, std::string& out) : _lookup(lookup), _out(out) {}

  void expand(std::string_view format, int depth = 0) {
    while (!format.empty()) {
      std::size_t taken = 0;
      if (format.front() == '\\') {
        taken = expand_escape(format, depth > 0);
      } else if (format.front() == '$') {
        taken = format.starts_with("${") ? expand_form(format, depth) : expand_plain_variable(format);
      }
      if (taken == 0) {
        _out += format.front();
        taken = 1;
      }
      format.remove_prefix(taken);
    }
  }

private:
  // Each returns the number of characters it dealt with; 0 when there is nothing for it to do.

  std::size_t expand_escape(std::string_view format, bool is_inside_braces) {
    if (format.size() < 2)
      return 0;
    bool const is_needed = format[1] == '$' || (is_inside_braces && (format[1] == ':' || format[1] == '}'));
    _out += is_needed ? format.substr(1, 1) : format.substr(0, 2);
    return 2;
  }

  std::size_t expand_plain_variable(std::string_view format) {
    std::string_view const name = leading_name(format.substr(1));
    if (name.empty())
      return 0;
    _out += _lookup(name);
    return 1 + name.size();
  }

  std::size_t expand_form(std::string_view format, int depth) {
    std::string_view form = format.substr(2);
    std::size_t const end = find_outside_braces(form, '}');
    if (end == form.npos || depth == deepest)
      return 0;
    form = form.substr(0, end);

    std::string_view const name = leading_name(form);
    std::string_view const operation = form.substr(name.size());
    if (name.empty())
      return 0;
    std::string_view const value = _lookup(name);
    if (operation.empty()) {
      _out += value;
    } else if (operation.starts_with(":?")) {
      std::string_view const choices = operation.substr(2);
      std::size_t const colon = std::min(find_outside_braces(choices, ':'), choices.size());
      expand(value.empty() ? choices.substr(std::min(colon + 1, choices.size())) : choices.substr(0, colon), depth + 1);
    } else if (operation.starts_with(":+")) {
      expand(value.empty() ? std::string_view() : operation.substr(2), depth + 1);
    } else if (operation.starts_with(":-") && value.empty()) {
      expand(operation.substr(2), depth + 1);
    } else if (operation.starts_with(":-")) {
      _out += value;
    } else {
      return 0;
    }
    return 2 + end + 1;
  }

  lookup_t const& _lookup;
  std::string& _out;
};

std::string_view group_of(regexp::match_t const& match, std::string_view name) {
  std::size_t group = 0;
  for (char const c : name) {
    if (!ascii::is_digit(c) || group > match.count())
      return {};
    group = group * 10 + static_cast<std::size_t>(c - '0');
  }
  return match.text(group);
}

}  // namespace

std::string expand(std::string_view format, variables_t const& variables) {
  std::string result;
  lookup_t const lookup = [&](std::string_view name) {
    auto const found = variables.find(name);
    return found == variables.end() ? std::string_view() : std::string_view(found->second);
  };
  expander_t(lookup, result).expand(format);
  return result;
}

std::string replace(std::string_view text, regexp::pattern_t const& pattern, std::string_view format) {
  char const* const first = text.data();
  char const* const last = first + text.size();
  std::string result;
  regexp::match_t match;
  lookup_t const lookup = [&](std::string_view name) { return group_of(match, name); };

  char const* copied = first;
  char const* from = first;
  while ((match = regexp::search_from(pattern, first, from, last))) {
    result.append(copied, match.begin());
    expander_t(lookup, result).expand(format);
    copied = match.end();
    from = match.end();
    if (match.begin() == match.end() && from++ == last)  // an empty match is found once
      break;
  }
  return result.append(copied, last);
}

}  // namespace kel::format_string
