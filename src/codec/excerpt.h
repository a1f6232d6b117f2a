// Excerpts of a text for the contexts of records.
#pragma once

#include <kelmime/hex.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

namespace kel {

// The bytes from `radius` before to `radius` after a position, as far as the text goes.
inline std::string_view excerpt(char const* first, char const* last, char const* at, std::ptrdiff_t radius) {
  return { at - std::min(radius, at - first), at + std::min(radius, last - at) };
}

// The same made readable.
inline std::string hex_excerpt(char const* first, char const* last, char const* at, std::ptrdiff_t radius) {
  std::string_view const bytes = excerpt(first, last, at, radius);
  std::string text;
  hex_print(bytes.begin(), bytes.end(), std::back_inserter(text));
  return text;
}

}  // namespace kel
