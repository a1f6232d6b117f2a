// The escape sequences of ISO-2022-JP and its variants (RFC 1468, RFC 1554, RFC 2237, JIS X 0213).
#pragma once

#include <codec/converter.h>

#include <optional>
#include <string_view>

namespace kel::iso_2022_jp {

inline constexpr char escape = '\x1B';

enum class variant_t { jp, jp_1, jp_2, jp_3, jp_4 };

std::optional<variant_t> variant_of(std::string_view charset);

// The charset that converts everything which this one does, for a C library that lacks this one; or "".
std::string_view superset_of(std::string_view charset);

// How far a text may be converted before an escape sequence that the variant does not have; `reason` tells whether such a
// sequence is there, and whether it could become a known one if the text did not end.
struct known_range_t {
  char const* end;
  stop_t reason;
};

// Looks at the sequences that begin in [first, window_end); `last` is where the text ends.
known_range_t known_range(variant_t variant, char const* first, char const* window_end, char const* last);

}  // namespace kel::iso_2022_jp
