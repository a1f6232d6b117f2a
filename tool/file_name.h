// Names of files that strangers chose.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kel::tool {

// A name that is safe in any folder: one path component, valid UTF-8, no control bytes, no leading dot or dash, at most 255
// bytes with its extension kept. Never empty.
std::string safe_file_name(std::string_view wanted);

// The same name with a number before its extension: "report-2.pdf".
std::string numbered_file_name(std::string_view name, std::size_t number);

}  // namespace kel::tool
