#include "escape.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include <kelmime/bytes.h>

#include "utf8.h"

namespace kel::tool {

namespace {

enum class place_t { field, text };

bool is_plain(char c) {
  return byte_value(c) >= 0x20 && byte_value(c) < 0x7f;
}

void append_formatted(std::string& out, char const* format, unsigned value) {
  std::array<char, 16> buffer;
  std::snprintf(buffer.data(), buffer.size(), format, value);
  out += buffer.data();
}

void append_escaped(std::string& out, character_t const& character, place_t place) {
  auto const value = static_cast<unsigned>(character.value);
  bool const is_field = place == place_t::field;
  if (value == '\n' || value == '\t')
    out += !is_field ? character.bytes : value == '\n' ? "\\n" : "\\t";
  else if (!character.is_valid || is_control(character.value))
    append_formatted(out, character.is_valid && value >= 0x80 ? "\\u%04x" : "\\x%02x", value);
  else if (is_field && is_reordering(character.value))
    append_formatted(out, "\\u%04x", value);
  else
    out += character.bytes;
}

std::string escaped(std::string_view text, place_t place) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    auto const plain = text.begin() + static_cast<std::ptrdiff_t>(position);
    auto const plain_end = std::find_if_not(plain, text.end(), is_plain);
    out.append(plain, plain_end);
    position += static_cast<std::size_t>(plain_end - plain);
    if (position < text.size())
      append_escaped(out, take_character(text, position), place);
  }
  return out;
}

}  // namespace

std::string as_field(std::string_view text) {
  return escaped(text, place_t::field);
}

std::string as_text(std::string_view text) {
  return escaped(text, place_t::text);
}

std::string as_excerpt(std::string_view text, std::size_t limit) {
  std::string_view const shown = cut(text, limit);
  return as_field(shown) + (shown.size() < text.size() ? "..." : "");
}

}  // namespace kel::tool
