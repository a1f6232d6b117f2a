// What signed and encrypted parts protect, by their shape: the content is a child, or the child of a leaf that holds the
// ciphertext (RFC 1847, 3156, 8551).
#pragma once

#include <string_view>

#include <kelmime/body.h>

namespace kel {

// Of S/MIME: encrypted or signed content, wrapped into one part.
bool is_envelope(std::string_view mime_type);

// Whether a part of that type is encrypted; an envelope counts as such.
bool is_encryption(std::string_view mime_type);

// Whether a part of that type is signed or encrypted.
bool is_protection(std::string_view mime_type);

// Null for any other part, and for one that was not decrypted.
body_part_t* protected_content(body_part_t& part);

// Whether nothing stands beside the protected content that does not belong there.
bool is_regular_protection(body_part_t& part);

}  // namespace kel
