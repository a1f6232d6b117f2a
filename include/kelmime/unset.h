// The unset marker: "there is no value", as distinct from the empty string.
#pragma once

#include <string>

#include <kelmime/export.h>

namespace kel {

// The three bytes EF BF BF, the UTF-8 form of the noncharacter U+FFFF. Handed to a lookup as its default it tells
// whether a value exists; handed to `set_header` it removes the header. It is never a real value.
KELMIME_EXPORT extern std::string const unset_string;

}  // namespace kel
