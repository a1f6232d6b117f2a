// The addresses that the key of a signature names.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace kel {

// Of each line that begins with "uid" what stands between the first "<" and the last ">", lower-cased.
std::set<std::string> user_id_addresses(std::vector<std::string> const& lines);

}  // namespace kel
