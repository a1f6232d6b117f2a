// The environment that helper programs start from.
#pragma once

#include <map>
#include <string>

namespace kel {

// The environment of the process, and in it the paths of two helpers: PW_GPG (the first of gpg2 and gpg in PATH) and
// PW_TNEF (tnef in PATH). A variable that is set already stays; one whose program is not found is not added.
std::map<std::string, std::string> basic_environment();

}  // namespace kel
