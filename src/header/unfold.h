// The unfolding behind cleanup_header_body, for those who can unfold straight into the final string.
#pragma once

#include <string>

namespace kel {

// Appends the range unfolded. Zero bytes are ordinary bytes here.
void append_unfolded(char const* first, char const* last, std::string& out);

}  // namespace kel
