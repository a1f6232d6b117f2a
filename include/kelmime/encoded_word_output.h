// UTF-8 text written as encoded words (RFC 2047), for headers that must be ASCII.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <kelmime/bytes.h>
#include <kelmime/export.h>

namespace kel {

// Appends the bytes unchanged and names their charset: "utf-8" if a byte is 0x80 or more, else "us-ascii".
template <byte_inserter Out>
KELMIME_EXPORT std::string utf8_to_encoded_ascii(char const* first, char const* last, Out out);

// Appends the whole range as encoded words with a space between two of them; pure ASCII is appended as it stands. No
// word ends inside a character, so that a long run of 8-bit characters makes a word longer than RFC 2047 likes.
template <byte_inserter Out>
KELMIME_EXPORT Out encode_words(char const* first, char const* last, Out out);

// Appends the range with only those words encoded that hold 8-bit bytes or in which something begins that a reader would
// take for an encoded word; spaces and double quotes separate words. Words to be encoded that follow each other are
// encoded together with the separators between them, since a reader drops white space between encoded words; all other
// separators stay as they are.
template <byte_inserter Out>
KELMIME_EXPORT Out encode_single_words(char const* first, char const* last, Out out);

// Appends the text of one word of encoding "q" and returns where it stopped: before the first byte below 0x80 that
// might bring the text above `limit` bytes, or at `last`. Bytes of 0x80 and above never end a word.
template <byte_inserter Out>
KELMIME_EXPORT char const* encode_quoted_printable_segment(char const* first, char const* last, Out out,
                                                           std::size_t limit);

// The text with the first letter of every run of ASCII letters in upper case and the others in lower case: "X-Mailer",
// "X-1Abc".
KELMIME_EXPORT std::string title_case(std::string_view text);

// The same for every other position in contiguous bytes.
template <byte_iterator In, byte_inserter Out>
std::string utf8_to_encoded_ascii(In first, In last, Out out) {
  return utf8_to_encoded_ascii(pointer_to(first), pointer_to(last), out);
}

template <byte_iterator In, byte_inserter Out>
Out encode_words(In first, In last, Out out) {
  return encode_words(pointer_to(first), pointer_to(last), out);
}

template <byte_iterator In, byte_inserter Out>
Out encode_single_words(In first, In last, Out out) {
  return encode_single_words(pointer_to(first), pointer_to(last), out);
}

template <byte_iterator In, byte_inserter Out>
In encode_quoted_printable_segment(In first, In last, Out out, std::size_t limit) {
  return first + (encode_quoted_printable_segment(pointer_to(first), pointer_to(last), out, limit) - pointer_to(first));
}

}  // namespace kel
