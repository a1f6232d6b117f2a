// Character classes and letter case of ASCII, whatever the locale says: bytes of 0x80 and above belong to no class and
// have no case.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace kel::ascii {

namespace detail {

enum class_t : std::uint8_t { space = 1, blank = 2, digit = 4, alpha = 8, print = 16 };

constexpr std::uint8_t index(char c) {
  return static_cast<std::uint8_t>(c);
}

inline constexpr auto classes = [] {
  std::array<std::uint8_t, 256> table{};
  for (char const c : std::string_view(" \t\n\v\f\r"))
    table[index(c)] |= space;
  for (char const c : std::string_view(" \t"))
    table[index(c)] |= blank;
  for (char c = '0'; c <= '9'; ++c)
    table[index(c)] |= digit;
  for (char c = 'A'; c <= 'Z'; ++c) {
    table[index(c)] |= alpha;
    table[index(c) + 32] |= alpha;
  }
  for (char c = ' '; c <= '~'; ++c)
    table[index(c)] |= print;
  return table;
}();

inline constexpr auto lower = [] {
  std::array<char, 256> table{};
  for (int i = 0; i < 256; ++i)
    table[i] = static_cast<char>(i >= 'A' && i <= 'Z' ? i + 32 : i);
  return table;
}();

inline constexpr auto upper = [] {
  std::array<char, 256> table{};
  for (int i = 0; i < 256; ++i)
    table[i] = static_cast<char>(i >= 'a' && i <= 'z' ? i - 32 : i);
  return table;
}();

constexpr bool is_in(char c, unsigned wanted) {
  return (classes[index(c)] & wanted) != 0;
}

}  // namespace detail

// White space as C has it: space, \t, \n, \v, \f and \r.
constexpr bool is_space(char c) {
  return detail::is_in(c, detail::space);
}

// Space and tab only.
constexpr bool is_blank(char c) {
  return detail::is_in(c, detail::blank);
}

constexpr bool is_digit(char c) {
  return detail::is_in(c, detail::digit);
}

constexpr bool is_alpha(char c) {
  return detail::is_in(c, detail::alpha);
}

constexpr bool is_alnum(char c) {
  return detail::is_in(c, detail::alpha | detail::digit);
}

// The value of a hexadecimal digit in either letter case; -1 of anything else.
constexpr int hex_value(char c) {
  if (is_digit(c))
    return c - '0';
  char const letter = detail::lower[detail::index(c)];
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

// Everything from the space to "~".
constexpr bool is_print(char c) {
  return detail::is_in(c, detail::print);
}

constexpr char to_lower(char c) {
  return detail::lower[detail::index(c)];
}

constexpr char to_upper(char c) {
  return detail::upper[detail::index(c)];
}

// Equal but for the case of ASCII letters.
constexpr bool iequals(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, to_lower, to_lower);
}

constexpr bool starts_with_ignoring_case(std::string_view text, std::string_view prefix) {
  return iequals(text.substr(0, prefix.size()), prefix);
}

static_assert(is_space('\v') && !is_space('\0') && !is_space('\xA0') && is_blank('\t') && !is_blank('\n'));
static_assert(is_alnum('z') && is_alnum('0') && !is_alnum('_') && is_print('~') && !is_print('\x7F'));
static_assert(hex_value('9') == 9 && hex_value('F') == 15 && hex_value('g') == -1 && hex_value('@') == -1);
static_assert(iequals("Subject", "sUBJECT") && !iequals("[", "{") && starts_with_ignoring_case("Re: x", "RE:"));

}  // namespace kel::ascii
