// Values for shell scripts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kel {

// The value as it stands between double quotes in a bash script: backslash, double quote, "$" and backtick are escaped.
// Nothing for a value with NUL, CR or LF, which belong into no argument of ours.
std::optional<std::string> shell_text(std::string_view value);

}  // namespace kel
