// How long the lines of mail that we write may be.
#pragma once

#include <cstddef>

namespace kel {

inline constexpr std::size_t longest_mail_line = 998;  // in bytes; every transport takes it (RFC 5322, section 2.1.1)
inline constexpr std::size_t flowed_width = 72;        // where the lines of flowed text are broken (RFC 3676)

}  // namespace kel
