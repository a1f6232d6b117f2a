// How the structure of a message protects its content.
#include <kelmime/body.h>

#include <string>

namespace kel {

// The first child that is protected decides for a multipart that has no protection of its own.
std::string body_part_t::get_security_level() {
  std::string const kind = mime_type();
  if (kind == "multipart/signed")
    return "sign";
  if (kind == "application/pkcs7-mime" || kind == "multipart/encrypted")
    return _security_level_set ? "signAndEncrypt" : "encrypt";
  if (!is_multi_part())
    return "none";
  for (body_part_t& child : subparts()) {
    std::string const level = child.get_security_level();
    if (level != "none")
      return level;
  }
  return "none";
}

std::string body_part_t::get_security_protocol() {
  std::string const kind = mime_type();
  if (kind == "multipart/signed" && num_subparts() >= 2) {
    std::string const signature = subpart(1).mime_type();
    if (signature == "application/pkcs7-signature" || signature == "application/x-pkcs7-signature")
      return "S/MIME";
    if (signature == "application/pgp-signature")
      return "OpenPGP";
  }
  if (kind == "multipart/encrypted" &&
      get_header_lowercased("content-type.parameter.split.protocol", "") == "application/pgp-encrypted")
    return "OpenPGP";
  if (kind == "application/pkcs7-mime")
    return "S/MIME";
  if (!is_multi_part())
    return has_security_status() ? "OpenPGP (inlined)" : "Unknown";
  for (body_part_t& child : subparts()) {
    std::string const protocol = child.get_security_protocol();
    if (protocol != "Unknown")
      return protocol;
  }
  return "Unknown";
}

// Signing and encrypting are not part of this release: what has the shape of a protected part is written with the children
// that it has, and no signature is made or renewed.
void body_part_t::seal() {}

}  // namespace kel
