// Transfer encodings undone: quoted-printable, base64 and uuencode (RFC 2045, section 6).
//
// Text has bare line feeds here: input is expected with LF, output has LF. Bad input never fails; it is read as well as
// it can be. All functions append to the output and read nothing outside of [first, last).
#pragma once

#include <kelmime/bytes.h>
#include <kelmime/export.h>
#include <kelmime/mime_errors_handler.h>

#include <string_view>

namespace kel {

// Undoes the named content-transfer-encoding. The name is lower case and compared exactly:
//
//   quoted-printable, base64   decoded
//   x-uuencode                 decoded, and recorded as deprecated
//   anything else              nothing is written and the answer is false: the input is to be used as it stands
//
// `binary` says that the body is not text; it matters for quoted-printable only. The collector may be null.
//
//    std::string text;
//    if (!kel::mime_decode(body.begin(), body.end(), std::back_inserter(text), "base64", &errors, false))
//      text = body;
template <byte_inserter Out>
KELMIME_EXPORT bool mime_decode(char const* first, char const* last, Out out, std::string_view encoding,
                                mime_errors_handler_t* errors, bool binary);

// Decodes quoted-printable text (RFC 2045, section 6.7). A "=" that starts neither an encoded byte nor a soft line
// break is passed through and recorded. With `binary` an unencoded line feed is recorded and written as CR LF.
template <byte_inserter Out>
KELMIME_EXPORT Out decode_quoted_printable(char const* first, char const* last, Out out, mime_errors_handler_t* errors,
                                           bool binary);

// Decodes base64 (RFC 2045, section 6.8). Line feeds and "=" at the end are ignored, as is any byte outside the
// alphabet; a "=" in the middle ends a block and decoding goes on with the next. Nothing is ever reported.
template <byte_inserter Out>
KELMIME_EXPORT Out decode_base_64(char const* first, char const* last, Out out);

// Decodes uuencoded text. The length characters of the lines are not trusted, nor is a missing "begin" line a reason to
// stop. When more than one byte in five is no uuencode, a warning is written to standard error and the output receives
// what stands from the "end" line on, or nothing if there is none.
template <byte_inserter Out>
KELMIME_EXPORT Out decode_uuencoded_text(char const* first, char const* last, Out out);

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) bool mime_decode(In first, In last, Out out, std::string_view encoding,
                                                          mime_errors_handler_t* errors, bool binary) {
  return mime_decode(pointer_to(first), pointer_to(last), out, encoding, errors, binary);
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out
    decode_quoted_printable(In first, In last, Out out, mime_errors_handler_t* errors, bool binary) {
  return decode_quoted_printable(pointer_to(first), pointer_to(last), out, errors, binary);
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out decode_base_64(In first, In last, Out out) {
  return decode_base_64(pointer_to(first), pointer_to(last), out);
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out decode_uuencoded_text(In first, In last, Out out) {
  return decode_uuencoded_text(pointer_to(first), pointer_to(last), out);
}

}  // namespace kel
