#include <base/utf8.h>

#include <array>

namespace kel::utf8 {

namespace {

bool is_continuation(char c) {
  return (byte_value(c) & 0xC0) == 0x80;
}

// What may follow a lead byte: how many bytes, and which values the first of them may have. That byte is where overlong
// forms, surrogates and values above U+10FFFF show.
struct lead_t {
  int trailing;  // -1: no lead byte
  std::uint8_t low = 0x80;
  std::uint8_t high = 0xBF;
};

constexpr lead_t lead_of(std::uint8_t value) {
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

// The automaton for long texts. The next state is a shift: an entry of the table holds, for one byte, the next state of
// every state, and states are named by the place of their field.
//
//    state     expects
//    boundary  a lead byte
//    last_1    one byte 80..BF
//    last_2    two of them
//    last_3    three of them
//    after_e0, after_ed, after_f0, after_f4   the narrower first byte, then the others
//    broken    nothing
enum state_t : std::uint64_t {
  boundary = 0,
  last_1 = 6,
  last_2 = 12,
  last_3 = 18,
  after_e0 = 24,
  after_ed = 30,
  after_f0 = 36,
  after_f4 = 42,
  broken = 48
};

constexpr std::uint64_t state_mask = 63;

constexpr state_t after_lead(std::uint8_t value) {
  switch (value) {
    case 0xE0: return after_e0;
    case 0xED: return after_ed;
    case 0xF0: return after_f0;
    case 0xF4: return after_f4;
  }
  switch (lead_of(value).trailing) {
    case 0: return boundary;
    case 1: return last_1;
    case 2: return last_2;
    case 3: return last_3;
  }
  return broken;
}

constexpr auto transitions = [] {
  struct step_t {
    state_t from;
    std::uint8_t low, high;
    state_t to;
  };
  constexpr step_t steps[] = {
    { last_1, 0x80, 0xBF, boundary }, { last_2, 0x80, 0xBF, last_1 },   { last_3, 0x80, 0xBF, last_2 },
    { after_e0, 0xA0, 0xBF, last_1 }, { after_ed, 0x80, 0x9F, last_1 }, { after_f0, 0x90, 0xBF, last_2 },
    { after_f4, 0x80, 0x8F, last_2 },
  };
  std::array<std::uint64_t, 256> table{};
  for (std::size_t value = 0; value < 256; ++value) {
    auto const byte = static_cast<std::uint8_t>(value);
    table[value] = after_lead(byte) << boundary | std::uint64_t{ broken } << broken;
    for (step_t const& step : steps)
      table[value] |= (byte >= step.low && byte <= step.high ? step.to : broken) << step.from;
  }
  return table;
}();

// A boundary up to which all is well-formed, found in large steps; the rest is short, or begins with what is not
// well-formed soon.
char const* skip_valid_blocks(char const* first, char const* last) {
  constexpr std::ptrdiff_t block = 16;
  std::uint64_t state = boundary;
  char const* cursor = first;
  for (; last - cursor >= block; cursor += block) {
    if (state == boundary && is_ascii_word(cursor) && is_ascii_word(cursor + 8))
      continue;
    std::uint64_t next = state;
    for (std::ptrdiff_t i = 0; i < block; ++i)
      next = transitions[byte_value(cursor[i])] >> (next & state_mask);
    if ((next & state_mask) == broken)
      break;
    state = next & state_mask;
  }
  if (state != boundary) {
    do
      --cursor;
    while (is_continuation(*cursor));
  }
  return cursor;
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
  first = skip_valid_blocks(first, last);
  while (first != last) {
    lead_t const lead = lead_of(byte_value(*first));
    if (lead.trailing < 0)
      return first;
    char const* cursor = first + 1;
    if (lead.trailing > 0 && cursor != last && (byte_value(*cursor) < lead.low || byte_value(*cursor) > lead.high))
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
  return last;
}

bool is_valid(char const* first, char const* last) {
  return validate_t().scan(first, last) == last;
}

std::string with_replacements(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  validate_t validate;
  for (char const *at = text.data(), *const end = at + text.size(); at != end;) {
    char const* const wrong = validate.scan(at, end);
    result.append(at, wrong);
    at = wrong;
    if (at != end) {
      result += replacement_character;
      ++at;
    }
  }
  return result;
}

std::string_view prefix(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes)
    return text;
  constexpr std::size_t longest_tail = 3;
  std::size_t cut = bytes;
  while (cut > 0 && bytes - cut < longest_tail && (byte_value(text[cut]) & 0xC0) == 0x80)
    --cut;
  return text.substr(0, cut);
}

}  // namespace kel::utf8
