// Hexadecimal digits, and bytes made readable for records.
#pragma once

#include <kelmime/bytes.h>
#include <kelmime/export.h>

#include <cstdint>
#include <iterator>
#include <string_view>

namespace kel {

// The value of a hexadecimal digit in either case; -1 for any other byte.
constexpr int hex_to_int(char digit) {
  if (digit >= '0' && digit <= '9')
    return digit - '0';
  if (digit >= 'A' && digit <= 'F')
    return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f')
    return digit - 'a' + 10;
  return -1;
}

namespace text {

// The upper-case digit of a value from 0 to 15.
constexpr char int_to_hex(int value) {
  return std::string_view("0123456789ABCDEF")[static_cast<std::size_t>(value & 15)];
}

// Writes the low `width` hexadecimal digits of a byte, the most significant first, in upper case. Digits that a byte
// does not have are zeros.
template <std::output_iterator<char> Out>
constexpr Out int_to_hex(std::uint8_t c, Out out, int width) {
  for (int digit = width - 1; digit >= 0; --digit)
    *out++ = int_to_hex(digit < 2 ? c >> (4 * digit) : 0);
  return out;
}

}  // namespace text

// Makes bytes readable: printable ASCII is copied, TAB, CR and LF become "\t", "\r" and "\n", and every other byte, those
// of 128 and above included, becomes "{1B}". The result is plain ASCII whatever the locale is.
template <byte_inserter Out>
KELMIME_EXPORT Out hex_print(char const* first, char const* last, Out out);

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out hex_print(In first, In last, Out out) {
  return hex_print(pointer_to(first), pointer_to(last), out);
}

}  // namespace kel
