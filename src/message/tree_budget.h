// What one message may cost, counted over its whole tree.
#pragma once

#include <cstddef>

#include <kelmime/limits.h>

namespace kel {

struct tree_budget_t {
  explicit tree_budget_t(std::size_t input_bytes)
      : decoded_bytes_left(limits::decoded_factor * input_bytes + limits::decoded_allowance) {}

  // Takes `wanted` bytes. False when they are not there any more; then nothing else is decoded either, since decoding
  // only to drop the result would still cost the time.
  bool take_decoded(std::size_t wanted) {
    bool const is_granted = wanted <= decoded_bytes_left;
    decoded_bytes_left -= is_granted ? wanted : decoded_bytes_left;
    return is_granted;
  }

  bool is_spent() const { return decoded_bytes_left == 0; }

  bool take_part() { return parts_left > 0 && (--parts_left, true); }

  std::size_t decoded_bytes_left;
  std::size_t parts_left = limits::parts_per_tree - 1;  // the root is there already
};

}  // namespace kel
