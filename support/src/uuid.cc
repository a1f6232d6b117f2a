#include <kel/uuid.h>

#include <uuid/uuid.h>

namespace kel {

uuid_t::uuid_t() {
  uuid_generate_random(_bytes.data());
}

std::string uuid_t::to_s() const {
  std::array<char, UUID_STR_LEN> text;
  uuid_unparse_upper(_bytes.data(), text.data());
  return text.data();
}

}  // namespace kel
