// Which parts protect something, and which engine they belong to.
#pragma once

#include <optional>
#include <string_view>

#include <security/signature_verdict.h>

namespace kel {

// Of S/MIME: encrypted or signed content, wrapped into one part.
inline bool is_envelope(std::string_view mime_type) {
  return mime_type == "application/pkcs7-mime" || mime_type == "application/x-pkcs7-mime";
}

// By the type of a detached signature; nothing for any other type.
inline std::optional<signature_engine_t> engine_of_signature(std::string_view mime_type) {
  if (mime_type == "application/pgp-signature")
    return signature_engine_t::openpgp;
  if (mime_type == "application/pkcs7-signature" || mime_type == "application/x-pkcs7-signature")
    return signature_engine_t::smime;
  return std::nullopt;
}

}  // namespace kel
