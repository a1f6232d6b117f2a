// The search for a byte at the speed of memchr, which `std::find` does not reach.
#pragma once

#include <cstring>

namespace kel {

// The first place in [first, last) where `wanted` stands, or `last`.
inline char const* find_byte(char const* first, char const* last, char wanted) {
  if (first == last)
    return last;
  void const* const found = std::memchr(first, wanted, static_cast<std::size_t>(last - first));
  return found ? static_cast<char const*>(found) : last;
}

// Just after the line feed that ends the line at `cursor`, or `last`.
inline char const* line_end_after(char const* cursor, char const* last) {
  char const* const feed = find_byte(cursor, last, '\n');
  return feed == last ? last : feed + 1;
}

}  // namespace kel
