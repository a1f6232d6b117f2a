// Who signed a part, by S/MIME.
#include <kelmime/smime.h>

#include <kelmime/body.h>
#include <security/protection_kind.h>

namespace kel {

namespace {

// Where the signature is; null when there is none of this kind.
body_part_t* holder_of_signature(body_part_t& part) {
  if (is_envelope(part.mime_type()))
    return &part;
  if (part.mime_type() != "multipart/signed" || part.num_subparts() < 2)
    return nullptr;
  body_part_t& signature = part.subpart(1);
  return engine_of_signature(signature.mime_type()) == signature_engine_t::smime ? &signature : nullptr;
}

}  // namespace

bool cms_get_signer(body_part_t& part, std::string* signer) {
  body_part_t* const holder = holder_of_signature(part);
  std::string found;
  if (!holder || !cms_get_signer(holder->decoded_body(), found))
    return false;
  if (signer)
    *signer = found;
  return true;
}

}  // namespace kel
