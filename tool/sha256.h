// SHA-256, in hexadecimal.
#pragma once

#include <string>
#include <string_view>

namespace kel::tool {

std::string sha256(std::string_view bytes);

}  // namespace kel::tool
