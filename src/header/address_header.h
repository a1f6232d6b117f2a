// The headers whose domains are readable inside the library and in ACE form outside of it.
#pragma once

#include <string_view>

namespace kel {

// The name in lower case.
constexpr bool is_address_header(std::string_view name) {
  return name == "from" || name == "to" || name == "cc" || name == "bcc";
}

}  // namespace kel
