// The data files that accompany the library.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kel::bundle {

// The path of "name.type" in the one folder of resources that is in force:
//
//   1. the folder that KELMIME_RESOURCES names, if that variable is set,
//   2. <prefix>/share/kelmime for a library in <prefix>/lib, <prefix>/lib64, <prefix>/lib/<machine> and the like,
//   3. the resources of the source tree that the library was built from.
//
// Nothing when the folder or the file is not there.
std::optional<std::string> resource(std::string_view name, std::string_view type);

}  // namespace kel::bundle
