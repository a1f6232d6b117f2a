// Address headers as they leave the library.
#pragma once

#include <string>
#include <string_view>

namespace kel {

// Whether a header, its name in lower case, holds addresses.
bool holds_addresses(std::string_view name);

// An address list with its names in quotes where they need them, or encoded; with `encode` in ASCII.
std::string written_addresses(std::string_view value, bool encode);

}  // namespace kel
