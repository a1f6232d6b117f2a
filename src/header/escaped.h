// What stands between the quotes of a quoted string (RFC 5322, section 3.2.4).
#pragma once

#include <string>
#include <string_view>

namespace kel {

// The text with a backslash before every quote and backslash.
inline std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (char const c : text) {
    if (c == '"' || c == '\\')
      result += '\\';
    result += c;
  }
  return result;
}

}  // namespace kel
