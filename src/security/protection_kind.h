// Which engine signatures belong to, beside what is said of all protected parts.
#pragma once

#include <optional>
#include <string_view>

#include <message/protected_content.h>
#include <security/signature_verdict.h>

namespace kel {

// By the type of a detached signature; nothing for any other type.
inline std::optional<signature_engine_t> engine_of_signature(std::string_view mime_type) {
  if (mime_type == "application/pgp-signature")
    return signature_engine_t::openpgp;
  if (mime_type == "application/pkcs7-signature" || mime_type == "application/x-pkcs7-signature")
    return signature_engine_t::smime;
  return std::nullopt;
}

}  // namespace kel
