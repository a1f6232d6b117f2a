// Encoded words in header values, "=?utf-8?q?f=C3=BCr?=" (RFC 2047): where they are.
#pragma once

#include <string>

#include <kelmime/bytes.h>
#include <kelmime/export.h>
#include <kelmime/mime_errors_handler.h>

namespace kel {

// A found word. The pointers look into the searched range.
struct encoded_word_t {
  char const* start = nullptr;  // the opening "=", null when there is no word
  char const* end = nullptr;    // just behind the closing "?="
  std::string charset;          // lower-cased, without single quotes around it
  char encoding = 0;            // 'q' or 'b'
  range_t text;                 // still encoded
};

// The next encoded word of a range. Spaces in the encoded text are accepted, single quotes around the charset too,
// with a record; control characters and 8-bit bytes are not, nor is a language after the charset. `errors` may be
// null.
KELMIME_EXPORT encoded_word_t find_encoded_word(char const* first, char const* last,
                                                mime_errors_handler_t* errors = nullptr);

template <byte_iterator In>
encoded_word_t find_encoded_word(In first, In last, mime_errors_handler_t* errors = nullptr) {
  return find_encoded_word(pointer_to(first), pointer_to(last), errors);
}

}  // namespace kel
