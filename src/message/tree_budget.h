// What one message may cost, counted over its whole tree. Copies of a tree count together, from whichever thread.
#pragma once

#include <atomic>
#include <cstddef>

#include <kelmime/limits.h>

namespace kel {

struct tree_budget_t {
  explicit tree_budget_t(std::size_t input_bytes)
      : decoded_bytes_left(limits::decoded_factor * input_bytes + limits::decoded_allowance) {}

  // Takes `wanted` bytes. False when they are not there any more; then nothing else is decoded either, since decoding
  // only to drop the result would still cost the time.
  bool take_decoded(std::size_t wanted) {
    std::size_t left = decoded_bytes_left;
    while (!decoded_bytes_left.compare_exchange_weak(left, wanted <= left ? left - wanted : 0)) {
    }
    return wanted <= left;
  }

  bool is_spent() const { return decoded_bytes_left == 0; }

  bool take_part() { return ++parts <= limits::parts_per_tree; }

  std::atomic<std::size_t> decoded_bytes_left;
  std::atomic<std::size_t> parts = 1;  // the root
};

}  // namespace kel
