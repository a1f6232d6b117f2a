// Text of strangers in status lines, where a line feed would begin a line of their own.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include <kelmime/bytes.h>

namespace kel {

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
