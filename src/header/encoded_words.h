// Encoded words for those who write header values: as `encode_words` and `encode_single_words`, but as strings.
#pragma once

#include <string>
#include <string_view>

#include <kelmime/bytes.h>

namespace kel {

// Whether a text cannot be written as it stands: it holds what a reader would take for an encoded word or, by an escape
// character, for raw Japanese text, or with `encode` 8-bit bytes.
bool needs_encoded_words(std::string_view text, bool encode);

// Whether a byte cannot be written as it stands, wherever it is.
constexpr bool is_misread(char c, bool encode) {
  constexpr char escape = 27;
  return c == escape || (encode && is_high(c));
}

// The whole text as encoded words, ASCII as well. Words with long runs of 8-bit bytes are of the encoding "b", so that none
// of them becomes longer than a line.
std::string in_encoded_words(std::string_view text);

// The text with only those words encoded that need it. A reader gets the text back byte for byte.
std::string in_single_encoded_words(std::string_view text, bool encode);

// The same, but separators stay in place, so that readers find them that look for structure before they decode.
std::string in_encoded_words_between(std::string_view text, std::string_view separators, bool encode);

// What a reader gets, raw 8-bit bytes in UTF-8.
std::string decoded_words(std::string_view text);

}  // namespace kel
