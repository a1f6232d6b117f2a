#include "mbox.h"

#include <cstddef>
#include <cstring>

namespace kel::tool {

namespace {

constexpr std::string_view separator = "From ";

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

std::string_view first_line(std::string_view text) {
  return text.substr(0, text.find('\n'));
}

// "10:20" somewhere in the line.
bool has_time(std::string_view line) {
  for (std::size_t colon = line.find(':', 1); colon != line.npos && colon + 2 < line.size();
       colon = line.find(':', colon + 1))
    if (is_digit(line[colon - 1]) && is_digit(line[colon + 1]) && is_digit(line[colon + 2]))
      return true;
  return false;
}

// Four digits that stand alone and begin with 19, 20 or 21.
bool has_year(std::string_view line) {
  std::size_t digits = 0;
  for (std::size_t i = 0; i <= line.size(); ++i) {
    if (i < line.size() && is_digit(line[i])) {
      ++digits;
      continue;
    }
    if (digits == 4 &&
        (line.substr(i - 4, 2) == "19" || line.substr(i - 4, 2) == "20" || line.substr(i - 4, 2) == "21"))
      return true;
    digits = 0;
  }
  return false;
}

bool is_separator(std::string_view text) {
  constexpr std::size_t longest = 1000;
  if (!text.starts_with(separator))
    return false;
  std::string_view const line = first_line(text.substr(0, longest));
  return has_time(line) && has_year(line);
}

// Where the empty line before `end` begins; `end` itself when the line before it is not empty.
std::size_t without_empty_line(std::string_view text, std::size_t end) {
  std::size_t start = end;
  if (start == 0 || text[start - 1] != '\n')
    return end;
  --start;
  if (start > 0 && text[start - 1] == '\r')
    --start;
  return start == 0 || text[start - 1] == '\n' ? start : end;
}

bool ends_lines_with_crlf(std::string_view message) {
  while (!message.empty()) {
    std::string_view const line = first_line(message);
    if (line.size() == message.size() || line.empty())
      return false;
    if (line.back() == '\r')
      return true;
    message.remove_prefix(line.size() + 1);
  }
  return false;
}

bool is_quoted_separator(std::string_view line) {
  std::size_t const quotes = line.find_first_not_of('>');
  return quotes != line.npos && quotes > 0 && line.substr(quotes).starts_with(separator);
}

}  // namespace

bool is_mbox(std::string_view bytes) {
  return is_separator(bytes);
}

std::string_view take_message(std::string_view& rest) {
  std::size_t const line_end = rest.find('\n');
  std::string_view const text = line_end == rest.npos ? rest.substr(rest.size()) : rest.substr(line_end + 1);

  constexpr std::string_view wanted = "\nFrom ";
  std::size_t position = 0;
  while (void const* const found =
             memmem(text.data() + position, text.size() - position, wanted.data(), wanted.size())) {
    position = static_cast<std::size_t>(static_cast<char const*>(found) - text.data()) + 1;
    std::size_t const end = without_empty_line(text, position);
    if (end != position && is_separator(text.substr(position))) {
      rest = text.substr(position);
      return text.substr(0, end);
    }
  }
  rest = {};
  return text.substr(0, without_empty_line(text, text.size()));
}

std::string_view reading_form(std::string_view raw, bool is_in_mbox, std::string& storage) {
  bool const is_crlf = ends_lines_with_crlf(raw);
  bool const has_quotes = is_in_mbox && raw.find(">From ") != raw.npos;
  if (!is_crlf && !has_quotes)
    return raw;

  storage.clear();
  storage.reserve(raw.size());
  while (!raw.empty()) {
    std::string_view line = first_line(raw);
    bool const has_line_end = line.size() < raw.size();
    raw.remove_prefix(line.size() + (has_line_end ? 1 : 0));
    if (has_quotes && is_quoted_separator(line))
      line.remove_prefix(1);
    if (is_crlf && has_line_end && line.ends_with('\r'))
      line.remove_suffix(1);
    storage += line;
    if (has_line_end)
      storage += '\n';
  }
  return storage;
}

}  // namespace kel::tool
