// The lines of a buffer that begin with "--", found by what they say.
//
// A delimiter line is "--", the boundary, perhaps "--", then blanks. So the line without its trailing blanks is one of
// two texts that are known before the search, and a table from the hash of that text to positions answers every
// multipart of the buffer after one scan, whatever the nesting depth. Equal hashes of different lines do no harm: a
// candidate is compared byte for byte before it counts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kel {

class delimiter_index_t {
public:
  delimiter_index_t(char const* begin, char const* end);

  // The beginnings of the lines in [first, last) that may be delimiter lines for `delimiter` ("--" and the boundary,
  // without line feeds), in order.
  std::vector<char const*> candidates(char const* first, char const* last, std::string_view delimiter) const;

private:
  struct line_t {
    std::uint64_t hash;
    std::size_t offset;

    auto operator<=>(line_t const&) const = default;
  };

  char const* _begin;
  std::vector<line_t> _lines;  // sorted by hash, then offset
};

}  // namespace kel
