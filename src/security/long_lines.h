// Lines that GnuPG does not check to their end.
#pragma once

#include <algorithm>
#include <string_view>

namespace kel {

// Of text, be it clear-signed or under a signature of its own, GnuPG takes at most 19995 bytes of a line, and passes over the
// rest without a word: anything may have been added there. The bound leaves room for what other versions do.
inline bool is_checked_in_part(std::string_view line) {
  constexpr std::size_t longest = 19000;
  return line.size() >= longest;
}

inline bool has_line_checked_in_part(std::string_view text) {
  for (std::size_t begin = 0; begin < text.size();) {
    std::size_t const end = std::min(text.find('\n', begin), text.size());
    if (is_checked_in_part(text.substr(begin, end - begin)))
      return true;
    begin = end + 1;
  }
  return false;
}

}  // namespace kel
