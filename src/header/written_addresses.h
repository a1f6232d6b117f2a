// Address headers as they leave the library.
#pragma once

#include <string>
#include <string_view>

namespace kel {

// Whether a header, its name in lower case, holds addresses with display names. Those of the transport, such as
// "return-path", hold addresses alone.
bool holds_addresses(std::string_view name);

// An address list with its names in quotes where they need them; with `encode` also in ASCII.
std::string written_addresses(std::string_view value, bool encode);

}  // namespace kel
