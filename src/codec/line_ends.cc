#include <codec/line_ends.h>

#include <algorithm>

#include <kel/ascii.h>

namespace kel {

std::string with_crlf(std::string_view text) {
  std::string result;
  result.reserve(text.size() + static_cast<std::size_t>(std::ranges::count(text, '\n')));
  char before = '\0';
  for (char const c : text) {
    if (c == '\n' && before != '\r')
      result += '\r';
    result += c;
    before = c;
  }
  return result;
}

std::string with_lf(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    std::size_t const end = std::min(text.find("\r\n", at), text.size());
    result.append(text, at, end - at);
    if (end < text.size())
      result += '\n';
    at = end + 2;
  }
  return result;
}

bool has_blanks_at_line_ends(std::string_view text) {
  for (std::size_t feed = text.find('\n'); feed != text.npos; feed = text.find('\n', feed + 1)) {
    if (feed > 0 && ascii::is_blank(text[feed - 1]))
      return true;
  }
  return !text.empty() && ascii::is_blank(text.back());
}

}  // namespace kel
