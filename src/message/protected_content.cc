#include <message/protected_content.h>

#include <string>

namespace kel {

namespace {

body_part_t* child_at(body_part_t& part, std::size_t index) {
  return index < part.num_subparts() ? &part.subpart(index) : nullptr;
}

}  // namespace

bool is_envelope(std::string_view mime_type) {
  return mime_type == "application/pkcs7-mime" || mime_type == "application/x-pkcs7-mime";
}

bool is_encryption(std::string_view mime_type) {
  return mime_type == "multipart/encrypted" || is_envelope(mime_type);
}

bool is_protection(std::string_view mime_type) {
  return mime_type == "multipart/signed" || is_encryption(mime_type);
}

body_part_t* protected_content(body_part_t& part) {
  std::string const kind = part.mime_type();
  if (kind == "multipart/signed" || is_envelope(kind))
    return child_at(part, 0);
  if (kind != "multipart/encrypted")
    return nullptr;
  body_part_t* const data = child_at(part, 1);
  bool const is_leaf = data && !data->is_multi_part() && !data->is_message();
  return is_leaf ? child_at(*data, 0) : nullptr;  // the parts of a container were never encrypted
}

bool is_regular_protection(body_part_t& part) {
  std::string const kind = part.mime_type();
  if (kind == "multipart/encrypted")
    return part.num_subparts() == 2 && protected_content(part) && part.subpart(1).num_subparts() == 1;
  return part.num_subparts() == (is_envelope(kind) ? 1u : 2u);
}

}  // namespace kel
