// Header values as they leave the library.
#pragma once

#include <string>
#include <string_view>

namespace kel {

// The value with its line breaks and zero bytes replaced by spaces. The name is in lower case.
std::string written_value(std::string_view name, std::string_view value, bool encode);

}  // namespace kel
