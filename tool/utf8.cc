#include "utf8.h"

#include <kelmime/bytes.h>

namespace kel::tool {

namespace {

// The length that a first byte announces; 0 for a byte that begins no character.
std::size_t announced_length(unsigned first) {
  if (first < 0x80)
    return 1;
  if (first >= 0xc2 && first < 0xe0)
    return 2;
  if (first >= 0xe0 && first < 0xf0)
    return 3;
  return first >= 0xf0 && first < 0xf5 ? 4 : 0;
}

bool is_continuation(char c) {
  return (byte_value(c) & 0xc0) == 0x80;
}

// Overlong forms, surrogates and what lies behind U+10FFFF.
bool is_forbidden(char32_t value, std::size_t length) {
  return (length == 3 && value < 0x800) || (length == 4 && value < 0x10000) || value > 0x10ffff ||
         (value >= 0xd800 && value < 0xe000);
}

}  // namespace

character_t take_character(std::string_view text, std::size_t& position) {
  std::string_view const rest = text.substr(position);
  unsigned const first = byte_value(rest.front());
  character_t const invalid = { first, rest.substr(0, 1), false };

  std::size_t const length = announced_length(first);
  ++position;
  if (length == 0 || length > rest.size())
    return invalid;

  char32_t value = length == 1 ? first : first & (0x7fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if (!is_continuation(rest[i]))
      return invalid;
    value = value << 6 | (byte_value(rest[i]) & 0x3fu);
  }
  if (is_forbidden(value, length))
    return invalid;
  position += length - 1;
  return { value, rest.substr(0, length), true };
}

bool is_utf8(std::string_view text) {
  for (std::size_t position = 0; position < text.size();) {
    if (!take_character(text, position).is_valid)
      return false;
  }
  return true;
}

bool is_control(char32_t value) {
  return value < 0x20 || (value >= 0x7f && value < 0xa0);
}

bool is_reordering(char32_t value) {
  return (value >= 0x202a && value <= 0x202e) || (value >= 0x2066 && value <= 0x2069);
}

std::string_view cut(std::string_view text, std::size_t limit) {
  if (text.size() <= limit)
    return text;
  std::size_t end = limit;
  while (end > 0 && limit - end < 3 && is_continuation(text[end]))
    --end;
  return text.substr(0, is_continuation(text[end]) ? limit : end);
}

}  // namespace kel::tool
