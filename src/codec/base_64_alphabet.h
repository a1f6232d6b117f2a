#pragma once

#include <string_view>

namespace kel {

// RFC 4648, section 4: the index of a character is its value.
inline constexpr std::string_view base_64_alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace kel
