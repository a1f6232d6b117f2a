#include <kelmime/quick_parse_headers.h>

#include <algorithm>
#include <optional>

#include <codec/find_byte.h>
#include <header/received_date.h>
#include <kel/ascii.h>
#include <kel/text.h>
#include <kelmime/cleanup_header_body.h>
#include <kelmime/headers.h>
#include <kelmime/mime_errors_handler.h>

namespace kel {

namespace {

using found_headers_t = std::map<std::string, std::string, std::less<>>;

// The line feed that is not followed by a blank, or `end`.
char const* find_value_end(char const* value, char const* end) {
  for (char const* cursor = value;; ++cursor) {
    cursor = find_byte(cursor, end, '\n');
    if (cursor == end || end - cursor == 1 || !ascii::is_blank(cursor[1]))
      return cursor;
  }
}

// Nothing is known here about the message, so the guess is always open.
std::string no_guess() {
  return {};
}

std::string read_value(std::string_view name, char const* first, char const* last) {
  std::string value;
  if (name.starts_with("content-"))
    value.assign(first, last);
  else
    decode_header_line(first, last, std::back_inserter(value), nullptr, "", no_guess);
  cleanup_header_body(value);
  return value;
}

void store(found_headers_t& found, std::string name, std::string value) {
  if (name != "received") {
    found.insert_or_assign(std::move(name), std::move(value));
    return;
  }
  mime_errors_handler_t unread;
  std::string date = received_date(value, unread);
  if (!date.empty())
    found.insert_or_assign(std::move(name), std::move(date));
}

bool is_looked_at(std::string_view name, found_headers_t const& found,
                  std::set<std::string, std::less<>> const& wanted) {
  if (!wanted.contains(name))
    return false;
  return name != "received" || (!found.contains("received") && !found.contains("date"));
}

// One header line, which is not empty, with the lines that continue it.
void scan_header(char const*& cursor, char const* end, std::set<std::string, std::less<>> const& wanted,
                 found_headers_t& found) {
  char const* const name_end = std::find_if(cursor, end, [](char c) { return c == ':' || c == '\n'; });
  std::string name = text::lowercase({ cursor, name_end });
  char const* value = name_end != end && *name_end == ':' ? name_end + 1 : name_end;
  value = std::find_if_not(value, end, [](char c) { return c == ' '; });
  char const* const value_end = find_value_end(value, end);
  cursor = value_end == end ? end : value_end + 1;
  if (is_looked_at(name, found, wanted)) {
    std::string text = read_value(name, value, value_end);
    store(found, std::move(name), std::move(text));
  }
}

std::string stored_value(found_headers_t const& found, std::string_view name) {
  auto const stored = found.find(name);
  return stored == found.end() ? std::string() : stored->second;
}

// What stands before the parameters.
std::string without_parameters(std::string const& value) {
  std::string const item = strip_comments(value);
  return item.substr(0, item.find(';'));
}

std::string lower_word(std::string_view text, std::string_view fallback) {
  std::string const word = text::lowercase(text::trim(text));
  return word.empty() ? std::string(fallback) : word;
}

void add_content_type(found_headers_t& found) {
  std::string const value = stored_value(found, "content-type");
  std::string const media_type = without_parameters(value);
  std::size_t const slash = std::min(media_type.find('/'), media_type.size());
  std::string type = lower_word(media_type.substr(0, slash), "text");
  std::string subtype = lower_word(media_type.substr(slash).erase(0, 1), "plain");
  char const* const begin = value.data() + std::min(value.find(';'), value.size());
  char const* const end = value.data() + value.size();
  std::string boundary, charset = "us-ascii", declared_charset;
  if (type == "multipart")
    parse_parameter(begin, end, "boundary", boundary);
  else if (type == "text" && parse_parameter(begin, end, "charset", declared_charset) && !declared_charset.empty())
    charset = text::lowercase(declared_charset);
  found.insert_or_assign("#type", std::move(type));
  found.insert_or_assign("#subtype", std::move(subtype));
  found.insert_or_assign("#charset", std::move(charset));
  found.insert_or_assign("#boundary", std::move(boundary));
}

void skip_white_space(char const*& cursor, char const* end) {
  cursor = std::find_if_not(cursor, end, ascii::is_space);
}

// The quoted string at the cursor, which moves behind it.
std::optional<std::string> take_quoted_string(char const*& cursor, char const* end) {
  if (cursor == end || *cursor != '"')
    return {};
  std::string value;
  for (++cursor; cursor != end; ++cursor) {
    if (*cursor == '"') {
      ++cursor;
      return value;
    }
    if (*cursor == '\\' && ++cursor == end)
      break;
    value += *cursor;
  }
  return {};
}

std::string take_token(char const*& cursor, char const* end) {
  char const* const begin = cursor;
  cursor = std::find_if(cursor, end, [](char c) { return c == ';' || ascii::is_space(c); });
  return { begin, cursor };
}

}  // namespace

std::map<std::string, std::string, std::less<>> quick_parse_headers(char const*& cursor, char const* end,
                                                                    std::set<std::string, std::less<>> const& wanted) {
  found_headers_t found;
  while (cursor != end && *cursor != '\n')
    scan_header(cursor, end, wanted, found);
  if (cursor != end)
    ++cursor;

  if (wanted.contains("content-type"))
    add_content_type(found);
  if (wanted.contains("content-transfer-encoding"))
    found.insert_or_assign("#encoding",
                           lower_word(strip_comments(stored_value(found, "content-transfer-encoding")), "7bit"));
  if (wanted.contains("content-disposition")) {
    std::string const disposition = without_parameters(stored_value(found, "content-disposition"));
    found.insert_or_assign("#disposition", lower_word(disposition, "inline"));
  }
  return found;
}

bool parse_parameter(char const* begin, char const* end, std::string_view name, std::string& value) {
  for (char const* cursor = begin; cursor != end && *cursor == ';'; cursor = find_byte(cursor, end, ';')) {
    ++cursor;
    skip_white_space(cursor, end);
    char const* const name_end = std::find_if(cursor, end, [](char c) { return c == '=' || c == ';'; });
    std::string found_name(cursor, name_end);
    std::erase_if(found_name, ascii::is_space);
    cursor = name_end;
    if (cursor == end || *cursor == ';')
      continue;
    ++cursor;
    skip_white_space(cursor, end);
    bool const is_quoted = cursor != end && *cursor == '"';
    std::optional<std::string> found_value = is_quoted ? take_quoted_string(cursor, end) : take_token(cursor, end);
    if (!found_value)
      return false;
    if (ascii::iequals(found_name, name)) {
      value = std::move(*found_value);
      return true;
    }
  }
  return false;
}

bool parse_quoted_string(char const* begin, char const* end, std::string& value) {
  std::optional<std::string> found = take_quoted_string(begin, end);
  if (!found)
    return false;
  value = std::move(*found);
  return true;
}

}  // namespace kel
