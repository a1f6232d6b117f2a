// Content-Type and Content-Disposition as they leave the library.
#pragma once

#include <string>
#include <string_view>

namespace kel::header {

// Whether a header, its name in lower case, holds parameters.
bool holds_parameters(std::string_view name);

// The value with long parameters cut into sections, and with `encode` those that are not ASCII in the extended form (RFC 2231).
std::string with_written_parameters(std::string_view value, bool encode);

}  // namespace kel::header
