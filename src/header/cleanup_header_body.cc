#include <kelmime/cleanup_header_body.h>

#include <algorithm>

#include <codec/find_byte.h>
#include <header/unfold.h>
#include <kel/ascii.h>

namespace kel {

void append_unfolded(char const* first, char const* last, std::string& out) {
  char const* const begin = first;
  for (;;) {
    char const* const line_feed = find_byte(first, last, '\n');
    out.append(first, line_feed);
    if (line_feed == last)
      return;
    first = line_feed + 1;
    if (first != last && ascii::is_blank(*first)) {
      bool const is_after_blank = line_feed != begin && ascii::is_blank(line_feed[-1]);
      if (!is_after_blank)
        out += ' ';
      ++first;
    }
  }
}

void cleanup_header_body(std::string& value) {
  if (value.find('\n') != std::string::npos) {
    std::string unfolded;
    unfolded.reserve(value.size());
    append_unfolded(value.data(), value.data() + value.size(), unfolded);
    value = std::move(unfolded);
  }
  // Only now: for the unfolding a zero byte between a line feed and a blank is a byte like others.
  std::erase(value, '\0');
}

std::string strip_comments(std::string_view value) {
  value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
  value.remove_suffix(value.size() - (value.find_last_not_of(" \t") + 1));

  std::string result;
  bool is_quoted = false;
  std::ptrdiff_t depth = 0;  // below 0 behind an unmatched closing parenthesis, on purpose
  for (char const c : value) {
    if (c == '"')
      is_quoted = !is_quoted;
    if (c == '(' && !is_quoted)
      ++depth;
    if (depth == 0)
      result += c;
    if (c == ')' && !is_quoted)
      --depth;
  }
  return result;
}

}  // namespace kel
