#include <kelmime/address.h>

#include <kel/ascii.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace kel {

namespace header {

namespace {

void skip_blanks(char const*& cursor, char const* end) {
  cursor = std::find_if_not(cursor, end, ascii::is_blank);
}

std::string_view trimmed(std::string_view text) {
  char const* first = text.data();
  char const* last = first + text.size();
  skip_blanks(first, last);
  while (last != first && ascii::is_blank(last[-1]))
    --last;
  return { first, static_cast<std::size_t>(last - first) };
}

// Moves past a quoted string, or to the end when its closing quote is missing; tells whether it was there.
bool skip_quoted(char const*& cursor, char const* end) {
  char const quote = *cursor++;
  while (cursor != end && *cursor != quote)
    cursor += *cursor == '\\' && end - cursor > 1 ? 2 : 1;
  return cursor != end && *cursor++ == quote;
}

// The position after the bracket that closes the one at `cursor`, or null.
char const* nested_end(char const* cursor, char const* end, char open, char close) {
  std::size_t depth = 0;
  for (; cursor != end; ++cursor) {
    if (*cursor == open)
      ++depth;
    else if (*cursor == close && --depth == 0)
      return cursor + 1;
  }
  return nullptr;
}

// Whether all that follows a "<" without ">" is one address, as in "Name <a@b".
bool is_cut_off_address(char const* cursor, char const* end) {
  std::string_view const rest = trimmed({ cursor + 1, static_cast<std::size_t>(end - cursor - 1) });
  return rest.find('@') != rest.npos && rest.find_first_of(" \t<\"()") == rest.npos;
}

// The first "<" that ends plain text: one that is closed, or else the last one when an address was cut off behind it.
// Going backwards gives every ">" to the nearest "<" before it.
char const* first_angle(char const* first, char const* end) {
  char const* closed = end;
  char const* last_open = end;
  std::size_t closers = 0;
  for (char const* cursor = end; cursor != first;) {
    --cursor;
    if (*cursor == '>') {
      ++closers;
    } else if (*cursor == '<' && closers != 0) {
      --closers;
      closed = cursor;
    } else if (*cursor == '<' && last_open == end) {
      last_open = cursor;
    }
  }
  if (closed == end && last_open != end && is_cut_off_address(last_open, end))
    return last_open;
  return closed;
}

enum class kind_t { plain, quoted, angle, comment };

struct token_t {
  kind_t kind = kind_t::plain;
  std::string_view text;

  bool has_at() const { return text.find('@') != text.npos; }
  bool is_name() const { return kind == kind_t::quoted || !has_at() || text.find('<') != text.npos; }
};

// Cuts one element into tokens.
class tokens_t {
public:
  tokens_t(char const* first, char const* end) : _cursor(first), _end(end) {}

  bool next(token_t& token) {
    while (read(token)) {
      clean(token);
      if (!token.text.empty())
        return true;
    }
    return false;
  }

private:
  std::string_view from(char const* first) const { return { first, static_cast<std::size_t>(_cursor - first) }; }

  bool read(token_t& token) {
    while (_cursor != _end && (ascii::is_blank(*_cursor) || *_cursor == '>' || *_cursor == ')'))
      ++_cursor;
    if (_cursor == _end)
      return false;
    switch (*_cursor) {
      case '"': token = read_quoted(); break;
      case '(': token = read_comment(); break;
      case '<': token = read_angle(); break;
      case '\'': token = std::find(_cursor + 1, _end, '\'') != _end ? read_quoted() : read_plain(); break;
      default: token = read_plain();
    }
    return true;
  }

  token_t read_quoted() {
    char const* const first = _cursor + 1;
    bool const is_closed = skip_quoted(_cursor, _end);
    std::string_view text = from(first);
    text.remove_suffix(is_closed ? 1 : 0);
    return { kind_t::quoted, text };
  }

  // A comment that is never closed runs to the end.
  token_t read_comment() {
    char const* const first = _cursor;
    char const* const close = nested_end(_cursor, _end, '(', ')');
    _cursor = close ? close : _end;
    return { kind_t::comment, from(first) };
  }

  token_t read_angle() {
    char const* const first = _cursor;
    char const* const close = nested_end(_cursor, _end, '<', '>');
    if (!close && !is_cut_off_address(_cursor, _end))
      return read_plain();
    _cursor = close ? close : _end;
    return { kind_t::angle, from(first) };
  }

  token_t read_plain() {
    char const* const first = _cursor;
    char const* const stop = next_quote_or_comment();
    char const* const angle = std::find(first, stop, '<');
    _cursor = angle == stop ? stop : std::min(stop, first_angle(angle, _end));
    return { kind_t::plain, from(first) };
  }

  char const* next_quote_or_comment() const {
    return std::find_if(_cursor, _end, [](char c) { return c == '"' || c == '('; });
  }

  static void clean(token_t& token) {
    token.text = trimmed(token.text);
    unquote(token.text);
    if (token.kind == kind_t::angle)
      strip_brackets(token.text, '<', '>');
    else if (token.kind == kind_t::comment)
      strip_brackets(token.text, '(', ')');
  }

  // Loses the brackets, repeatedly, while both ends carry them. One that was cut off loses its opening bracket.
  static void strip_brackets(std::string_view& text, char open, char close) {
    if (text.starts_with(open) && !text.ends_with(close))
      text.remove_prefix(1);
    while (text.size() > 1 && text.front() == open && text.back() == close)
      text = trimmed(text.substr(1, text.size() - 2));
    text = trimmed(text);
    unquote(text);
  }

  static void unquote(std::string_view& text) {
    if (text.size() >= 2 && text.front() == '\'' && text.back() == '\'')
      text = trimmed(text.substr(1, text.size() - 2));
  }

  char const* _cursor;
  char const* _end;
};

match_t match_of(token_t const& token) {
  if (token.text.empty())
    return {};
  return { token.text.data(), token.text.data() + token.text.size(), token.kind == kind_t::quoted };
}

struct chosen_t {
  token_t name;
  token_t email;
};

// The walk goes backwards, so that the earliest token that qualifies wins.
chosen_t choose(token_t const* first, token_t const* last) {
  chosen_t chosen;
  bool has_angle = false;
  while (last != first) {
    token_t const& token = *--last;
    if (token.is_name()) {
      if (chosen.name.text.empty() || token.text.size() >= 2)
        chosen.name = token;
    } else if (token.kind == kind_t::angle) {
      chosen.email = token;
      has_angle = true;
    } else if (has_angle) {
      chosen.name = token;
    } else {
      chosen.email = token;
    }
  }
  if (chosen.email.text.empty() && chosen.name.text.find(' ') == std::string_view::npos) {
    chosen.email = chosen.name;
    chosen.name = {};
  }
  return chosen;
}

// "Undisclosed recipients:;" is an empty group: its name stands before the ":".
void cut_empty_group(std::string_view& name) {
  if (!name.ends_with(';'))
    return;
  std::string_view const inner = trimmed(name.substr(0, name.size() - 1));
  if (inner.ends_with(':'))
    name = inner.substr(0, inner.size() - 1);
}

chosen_t split_element(std::string_view element, bool looks_into_comments);

// "a@x (Ann <a@x>)": the comment repeats the address that was read before it, and knows the name to it.
void take_name_from_comment(token_t& earlier, token_t& comment) {
  if (comment.kind != kind_t::comment || earlier.kind == kind_t::quoted || !earlier.has_at() || !comment.has_at())
    return;
  chosen_t const inner = split_element(comment.text, false);
  if (!ascii::iequals(inner.email.text, earlier.text))
    return;
  earlier = inner.name;
  comment = { kind_t::angle, inner.email.text };
}

chosen_t split_element(std::string_view element, bool looks_into_comments) {
  std::array<token_t, 4> tokens;
  std::size_t count = 0;
  tokens_t reader(element.data(), element.data() + element.size());
  while (count < tokens.size() && reader.next(tokens[count])) {
    if (looks_into_comments && count > 0)
      take_name_from_comment(tokens[count - 1], tokens[count]);
    ++count;
  }
  chosen_t chosen = choose(tokens.data(), tokens.data() + count);
  cut_empty_group(chosen.name.text);
  return chosen;
}

match_t rest_of_text(char const*& cursor, char const* first, char const* end) {
  cursor = end;
  return { first, end };
}

// The position after "//" of scheme://server/path, or the end.
char const* server_start(char const* first, char const* end) {
  char const* const slash = std::find(first, end, '/');
  return end - slash > 2 ? slash + 2 : end;
}

}  // namespace

match_t address_split_function(char const*& cursor, char const* end) {
  skip_blanks(cursor, end);
  char const* const first = cursor;
  bool has_at = false;
  bool is_in_group = false;
  bool has_content = false;
  while (cursor != end && !((has_at || has_content) && *cursor == ',')) {
    switch (*cursor) {
      case '"': skip_quoted(cursor, end); continue;
      case ':': is_in_group = true; break;
      case ';': has_content = has_content || is_in_group; break;
      case '@': has_at = true; break;
      case ' ':
      case '\t': break;
      default: has_content = is_in_group;
    }
    ++cursor;
  }
  if (!has_at && !has_content)
    return {};
  std::string_view const element = trimmed({ first, static_cast<std::size_t>(cursor - first) });
  if (cursor != end)
    ++cursor;
  return { element.data(), element.data() + element.size() };
}

name_and_email_t address_name_and_email_function(char const*& cursor, char const* end) {
  chosen_t const chosen = split_element({ cursor, static_cast<std::size_t>(end - cursor) }, true);
  cursor = end;
  return { match_of(chosen.name), match_of(chosen.email) };
}

match_t address_name_function(char const*& cursor, char const* end) {
  return address_name_and_email_function(cursor, end).name;
}

match_t address_email_function(char const*& cursor, char const* end) {
  return address_name_and_email_function(cursor, end).email;
}

match_t protocol_function(char const*& cursor, char const* end) {
  char const* const first = cursor;
  cursor = end;
  return { first, std::find(first, end, ':') };
}

match_t server_function(char const*& cursor, char const* end) {
  char const* const first = server_start(cursor, end);
  cursor = end;
  return { first, std::find(first, end, '/') };
}

match_t path_function(char const*& cursor, char const* end) {
  char const* const slash = std::find(server_start(cursor, end), end, '/');
  return rest_of_text(cursor, slash == end ? end : slash + 1, end);
}

match_t mailto_function(char const*& cursor, char const* end) {
  constexpr std::string_view scheme = "mailto:";
  std::string_view const text(cursor, static_cast<std::size_t>(end - cursor));
  return rest_of_text(cursor, text.starts_with(scheme) ? cursor + scheme.size() : end, end);
}

std::string dequote_string(char const* first, char const* last) {
  std::string text;
  text.reserve(static_cast<std::size_t>(last - first));
  for (; first != last; ++first) {
    if (*first == '\\' && last - first > 1)
      ++first;
    text += *first;
  }
  return text;
}

}  // namespace header

std::string quote_email_name(std::string_view name) {
  auto const is_word = [](char c) { return ascii::is_alnum(c) || c == '-' || c == '_'; };
  if (std::all_of(name.begin(), name.end(), is_word))
    return std::string(name);
  std::string quoted = "\"";
  for (char const c : name) {
    if (c == '"' || c == '\\')
      quoted += '\\';
    quoted += c;
  }
  return quoted += '"';
}

}  // namespace kel
