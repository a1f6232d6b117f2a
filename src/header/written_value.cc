#include <header/written_value.h>

#include <algorithm>

namespace kel {

std::string written_value(std::string_view, std::string_view value, bool) {
  std::string result(value);
  std::ranges::replace_if(
      result, [](char c) { return c == '\r' || c == '\n' || c == '\0'; }, ' ');
  return result;
}

}  // namespace kel
