// Status lines: looking for one, and the text of strangers in them, where a line feed would begin a line of their own.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/bytes.h>

namespace kel {

// Whether one of the lines begins with a keyword.
inline bool has_line(std::vector<std::string> const& lines, std::string_view keyword) {
  return std::ranges::any_of(lines, [=](std::string const& line) { return line.starts_with(keyword); });
}

inline bool is_control_byte(char c) {
  return byte_value(c) < 32 || byte_value(c) == 127;
}

inline bool has_control_bytes(std::string_view text) {
  return std::ranges::any_of(text, is_control_byte);
}

// Control bytes become blanks.
inline std::string in_one_line(std::string_view text) {
  std::string line(text);
  std::ranges::replace_if(line, is_control_byte, ' ');
  return line;
}

}  // namespace kel
