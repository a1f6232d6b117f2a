// Long header lines, folded.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kel {

constexpr bool needs_folding(std::string_view line, std::size_t soft, std::size_t hard) {
  return line.size() >= soft || line.size() > hard;
}

// Appends one unfolded header line, folded between the elements of its value. `ends` are offsets in the line, ascending: each
// where an element ends, or in it. The rules are those of `header_parser::wrap`.
void fold_line(std::string_view line, std::vector<std::size_t> const& ends, std::string& out, std::size_t soft,
               std::size_t hard);

}  // namespace kel
