// What reading and writing of flowed text have in common.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include <codec/find_byte.h>
#include <codec/output.h>

namespace kel {

inline constexpr std::string_view signature_separator = "-- ";

// The number of leading quote markers.
inline std::size_t quote_depth(std::string_view line) {
  return std::min(line.find_first_not_of('>'), line.size());
}

inline void write_quote_markers(std::size_t depth, output_t& out) {
  for (; depth > 0; --depth)
    out.append('>');
}

inline std::string_view without_trailing_spaces(std::string_view text) {
  std::size_t const last = text.find_last_not_of(' ');
  return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

// Calls `read` for each line without its line feed; the line feed is written where `read` asks for it.
template <typename Reader>
void read_lines(char const* first, char const* last, output_t& out, Reader read) {
  while (first != last) {
    char const* const feed = find_byte(first, last, '\n');
    bool const is_ended = read(std::string_view(first, feed));
    if (feed == last)
      return;
    if (is_ended)
      out.append('\n');
    first = feed + 1;
  }
}

}  // namespace kel
