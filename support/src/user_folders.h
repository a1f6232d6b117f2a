// Where the user's files are, by the XDG base directory rules.
#pragma once

#include <string>

namespace kel {

// The "postwick" folder in the folder that the variable names, or else in the folder of that name in the user's home. A
// relative path in the variable is ignored, as the rules demand.
std::string user_folder(char const* variable, char const* folder_in_home);

}  // namespace kel
