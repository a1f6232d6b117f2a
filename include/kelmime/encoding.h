// Transfer encodings applied: quoted-printable and base64 (RFC 2045, section 6). Line ends are bare line feeds; turning
// them into CR LF is the transport's business.
#pragma once

#include <kelmime/bytes.h>
#include <kelmime/export.h>

#include <string_view>

namespace kel {

// Applies the named content-transfer-encoding:
//
//   quoted-printable   lines of at most 76 characters
//   base64             lines of 76 characters, no line feed after the last one
//   7bit, 8bit         the bytes as they stand
//   anything else      nothing at all, "binary" included: who sends binary bodies copies the bytes
//
//    std::string body;
//    kel::encode(text.begin(), text.end(), std::back_inserter(body), "quoted-printable");
template <byte_inserter Out>
KELMIME_EXPORT Out encode(char const* first, char const* last, Out out, std::string_view encoding);

// Encodes quoted-printable so that the text survives old transports: besides what must be encoded, a "." and the "F" of
// "From " at the beginning of a line are, and blanks before a line end are followed by a soft line break. Lines have at
// most `line_length` characters, the "=" of a soft line break included.
template <byte_inserter Out>
KELMIME_EXPORT Out encode_quoted_printable(char const* first, char const* last, Out out, int line_length);

// Encodes base64 with its padding, all in one line.
template <byte_inserter Out>
KELMIME_EXPORT Out encode_base64(char const* first, char const* last, Out out);

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out encode(In first, In last, Out out, std::string_view encoding) {
  return encode(pointer_to(first), pointer_to(last), out, encoding);
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out encode_quoted_printable(In first, In last, Out out, int line_length) {
  return encode_quoted_printable(pointer_to(first), pointer_to(last), out, line_length);
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out encode_base64(In first, In last, Out out) {
  return encode_base64(pointer_to(first), pointer_to(last), out);
}

}  // namespace kel
