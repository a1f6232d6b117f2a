// The transfer encoding that suits a run of bytes best (RFC 2045, section 6).
#pragma once

#include <string>
#include <string_view>

#include <kelmime/bytes.h>
#include <kelmime/export.h>

namespace kel {

// A set of options, joined with "|".
enum class encoding_options : unsigned {
  none = 0,
  allow_8bit = 1,               // the transport takes 8-bit bytes
  ignore_trailing_blanks = 2,   // blanks at line ends need no protection
  ignore_signature_blanks = 4,  // those of a signature separator line, "-- " or "> -- ", need none
};

constexpr encoding_options operator|(encoding_options a, encoding_options b) {
  return static_cast<encoding_options>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}

constexpr bool has_option(encoding_options set, encoding_options wanted) {
  return (static_cast<unsigned>(set) & static_cast<unsigned>(wanted)) != 0;
}

// One of "7bit", "8bit", "quoted-printable" and "base64"; the string lives as long as the process. Looked at are
// control bytes, blanks at line ends, 8-bit bytes and lines of 80 and more bytes, blanks not counted. A large range
// is not read to its end: behind the first 1000 bytes the scan stops at the first line end once something needs
// encoding.
KELMIME_EXPORT std::string const& which_mime_encoding(char const* first, char const* last,
                                                      encoding_options options = encoding_options::none);

// The same for a body of a MIME type (lower case). Images, audio, video and applications are base64 (but OpenPGP parts are
// text), messages are 7bit or 8bit, since they must not be encoded, and everything else goes by its bytes with 8-bit output
// allowed.
KELMIME_EXPORT std::string const& which_mime_encoding(char const* first, char const* last, std::string_view type,
                                                      std::string_view subtype, encoding_options options);

template <byte_iterator In>
std::string const& which_mime_encoding(In first, In last, encoding_options options = encoding_options::none) {
  return which_mime_encoding(pointer_to(first), pointer_to(last), options);
}

}  // namespace kel
