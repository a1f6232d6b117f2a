// The limits that keep hostile mail cheap. Each one that is met leaves a record; nothing is lost in byte-exact access,
// because the raw bytes of a part stay readable whatever was not unfolded.
#pragma once

#include <cstddef>

namespace kel::limits {

inline constexpr std::size_t nested_levels = 256;              // a deeper multipart or message stays a leaf
inline constexpr std::size_t parts_per_tree = 10'000;          // later ones are not created
inline constexpr std::size_t header_fields = 100'000;          // per block; later ones are not stored
inline constexpr std::size_t header_field_bytes = 10 << 20;    // per field; what follows is not decoded
inline constexpr std::size_t records = 10'000;                 // per part; then one closing record
inline constexpr std::size_t record_text_bytes = 4 << 20;      // per part; then one closing record
inline constexpr std::size_t record_context_bytes = 64 << 10;  // a longer context is cut
inline constexpr std::size_t decoded_factor = 32;              // decoded bytes of a tree: at most this times its
inline constexpr std::size_t decoded_allowance = 64 << 20;     //   input, plus this

}  // namespace kel::limits
