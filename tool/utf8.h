// UTF-8 for a program that prints what strangers wrote: nothing is assumed to be valid.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kel::tool {

// One character, or one byte that belongs to none.
struct character_t {
  char32_t value = 0;      // of an invalid byte: the byte
  std::string_view bytes;  // at least one
  bool is_valid = false;
};

// The character at `position`, which is moved past it. There must be at least one byte left.
character_t take_character(std::string_view text, std::size_t& position);

bool is_utf8(std::string_view text);

// Controls: C0 with DEL, and C1 (U+0080 to U+009F), which old terminals obey just like ESC.
bool is_control(char32_t value);

// Characters that make a terminal show the text around them in another order.
bool is_reordering(char32_t value);

// The first `limit` bytes at the most, without a torn character at their end.
std::string_view cut(std::string_view text, std::size_t limit);

}  // namespace kel::tool
