#pragma once

#include <string_view>

namespace kel {

// Whether a transfer encoding is one that changes the bytes. The others only say what bytes these are (RFC 2045, section
// 6.2).
constexpr bool changes_bytes(std::string_view transfer_encoding) {
  return transfer_encoding == "quoted-printable" || transfer_encoding == "base64" || transfer_encoding == "x-uuencode";
}

}  // namespace kel
