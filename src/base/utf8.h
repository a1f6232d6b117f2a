// UTF-8 as RFC 3629 defines it: no overlong forms, no surrogates, nothing above U+10FFFF.
#pragma once

#include <kelmime/bytes.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace kel::utf8 {

// Whether the eight bytes at `at` are ASCII.
inline bool is_ascii_word(char const* at) {
  std::uint64_t word;
  std::memcpy(&word, at, sizeof word);
  return (word & 0x8080'8080'8080'8080) == 0;
}

// The first byte of [first, last) that is not ASCII, or `last`.
char const* skip_ascii(char const* first, char const* last);

inline bool is_ascii(std::string_view text) {
  return skip_ascii(text.data(), text.data() + text.size()) == text.data() + text.size();
}

// Looks for the end of what is well-formed.
class validate_t {
public:
  // Returns `last`, or the first byte of the first sequence that is not well-formed.
  char const* scan(char const* first, char const* last);

  // Whether the last scan stopped at a sequence that is cut off by the end of the text and right as far as it goes.
  bool is_incomplete() const { return _is_incomplete; }

private:
  bool _is_incomplete = false;
};

// The beginning of a text, at most `bytes` long, that cuts no character in two.
std::string_view prefix(std::string_view text, std::size_t bytes);

constexpr std::string_view replacement_character = "\xEF\xBF\xBD";  // U+FFFD

// The text with this character for each byte that is not well-formed.
std::string with_replacements(std::string_view text);

// Whether a whole text is well-formed.
bool is_valid(char const* first, char const* last);

template <byte_iterator In>
bool is_valid(In first, In last) {
  return is_valid(pointer_to(first), pointer_to(last));
}

}  // namespace kel::utf8
