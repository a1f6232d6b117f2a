// A finished message made fit for narrow transports: headers in ASCII, no long lines.
//
// All of these take the bytes of a whole message or body part with bare line feeds, never fail, and leave alone what needs
// no change.
#pragma once

#include <cstddef>

#include <kelmime/bytes.h>
#include <kelmime/export.h>

namespace kel {

// Whether a header block of the message, or of a part or message inside it, holds a byte of 0x80 or more.
KELMIME_EXPORT bool needs_header_encoding(char const* first, char const* last);

// Appends the message with every such header block written anew, its values encoded (RFC 2047, RFC 2231, RFC 5891) and
// folded. Bodies and all other blocks stay as they are. Parts inside an encoded container are not looked into.
template <byte_inserter Out>
KELMIME_EXPORT Out encode_headers(char const* first, char const* last, Out out);

// The length of the longest line in bytes, its line feed not counted.
KELMIME_EXPORT std::size_t max_line_length(char const* first, char const* last);

// Appends the message with those leaf bodies quoted-printable that have a line of more than 256 bytes, and answers whether
// there was one. A body that does not decode is encoded as it stands.
template <byte_inserter Out>
KELMIME_EXPORT bool reencode(char const* first, char const* last, Out out);

template <byte_iterator In>
requires(!std::same_as<In, char const*>) bool needs_header_encoding(In first, In last) {
  return needs_header_encoding(pointer_to(first), pointer_to(last));
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out encode_headers(In first, In last, Out out) {
  return encode_headers(pointer_to(first), pointer_to(last), out);
}

template <byte_iterator In>
requires(!std::same_as<In, char const*>) std::size_t max_line_length(In first, In last) {
  return max_line_length(pointer_to(first), pointer_to(last));
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) bool reencode(In first, In last, Out out) {
  return reencode(pointer_to(first), pointer_to(last), out);
}

}  // namespace kel
