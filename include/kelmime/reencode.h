// A finished message made fit for narrow transports: headers in ASCII, no long lines.
//
// All of these take the bytes of a whole message or body part with bare line feeds, never fail, and leave alone what needs
// no change, byte for byte. They look into what a tree of the message would unfold: multiparts and message/rfc822, nested at
// most `limits::nested_levels` deep, unless they have a transfer encoding that had to be undone. A signature over what they
// change is no longer valid.
#pragma once

#include <cstddef>

#include <kelmime/bytes.h>
#include <kelmime/export.h>

namespace kel {

// Whether a header block of the message, or of a part or message inside it, holds a byte of 0x80 or more.
KELMIME_EXPORT bool needs_header_encoding(char const* first, char const* last);

// Appends the message with every such header block written anew, see `generate_rfc822_header`: values are encoded (RFC 2047,
// RFC 2231, RFC 5891) and folded, and mean what they meant. Lines of the block that the tree takes for no headers are copied if
// they are ASCII, and left out otherwise; so are those that could become a delimiter of the multipart around them. Values that are not UTF-8 are read as the tree reads them. Bodies and all other
// blocks stay as they are.
//
//    std::string narrow;
//    if (kel::needs_header_encoding(message.begin(), message.end()))
//      kel::encode_headers(message.begin(), message.end(), std::back_inserter(narrow));
template <byte_inserter Out>
KELMIME_EXPORT Out encode_headers(char const* first, char const* last, Out out);

// The length of the longest line in bytes, its line feed not counted.
KELMIME_EXPORT std::size_t max_line_length(char const* first, char const* last);

// Appends the message with those leaf bodies quoted-printable that have a line of more than 256 bytes, and answers whether
// there was one. They decode to the same bytes as before; a body with an encoding that is not known is encoded as it stands.
// Long lines stay in headers, between the parts of a multipart, and in parts that RFC 2046 wants unencoded: multiparts
// without parts and the subtypes of message.
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
