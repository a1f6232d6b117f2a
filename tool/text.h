// Small operations on words of a header or of the command line. Letter case is that of ASCII.
#pragma once

#include <string>
#include <string_view>

namespace kel::tool {

std::string lowercased(std::string text);

// Without white space at both ends.
std::string trimmed(std::string_view text);

}  // namespace kel::tool
