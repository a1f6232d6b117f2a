// The two forms of a text: bare line feeds, as everywhere in the library, and CR LF, in which it is signed and encrypted.
#pragma once

#include <string>
#include <string_view>

namespace kel {

// A CR before every LF that has none.
std::string with_crlf(std::string_view text);

// Without the CR before an LF; any other one stays.
std::string with_lf(std::string_view text);

// Whether a line of a text with bare line feeds ends in a space or tab, which transports may drop.
bool has_blanks_at_line_ends(std::string_view text);

}  // namespace kel
