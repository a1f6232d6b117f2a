#include <codec/utf8.h>

namespace kel::utf8 {

namespace {

bool is_continuation(char c) {
  return (byte_value(c) & 0xC0) == 0x80;
}

// What may follow a lead byte: how many bytes, and which values the first of them may have. This one byte is where
// overlong forms, surrogates and values above U+10FFFF show.
struct lead_t {
  int trailing;
  std::uint8_t low = 0x80;
  std::uint8_t high = 0xBF;
};

lead_t lead_of(char c) {
  std::uint8_t const value = byte_value(c);
  if (value < 0x80)
    return { 0 };
  if (value < 0xC2)
    return { -1 };
  if (value < 0xE0)
    return { 1 };
  switch (value) {
    case 0xE0: return { 2, 0xA0, 0xBF };
    case 0xED: return { 2, 0x80, 0x9F };
    case 0xF0: return { 3, 0x90, 0xBF };
    case 0xF4: return { 3, 0x80, 0x8F };
  }
  if (value < 0xF0)
    return { 2 };
  return { value < 0xF4 ? 3 : -1 };
}

}  // namespace

char const* skip_ascii(char const* first, char const* last) {
  while (last - first >= 32 && is_ascii_word(first) && is_ascii_word(first + 8) && is_ascii_word(first + 16) &&
         is_ascii_word(first + 24))
    first += 32;
  while (last - first >= 8 && is_ascii_word(first))
    first += 8;
  while (first != last && byte_value(*first) < 0x80)
    ++first;
  return first;
}

char const* validate_t::scan(char const* first, char const* last) {
  _is_incomplete = false;
  while (true) {
    if (first == last || byte_value(*first) < 0x80)
      first = skip_ascii(first, last);
    if (first == last)
      return last;

    lead_t const lead = lead_of(*first);
    if (lead.trailing < 0)
      return first;
    char const* cursor = first + 1;
    if (cursor != last && (byte_value(*cursor) < lead.low || byte_value(*cursor) > lead.high))
      return first;
    for (int missing = lead.trailing; missing > 0; --missing, ++cursor) {
      if (cursor == last) {
        _is_incomplete = true;
        return first;
      }
      if (!is_continuation(*cursor))
        return first;
    }
    first = cursor;
  }
}

bool is_valid(char const* first, char const* last) {
  return validate_t().scan(first, last) == last;
}

}  // namespace kel::utf8
