#include "text.h"

#include <algorithm>

namespace kel::tool {

std::string lowercased(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return text;
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  std::size_t const first = text.find_first_not_of(blanks);
  if (first == text.npos)
    return {};
  return std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

}  // namespace kel::tool
