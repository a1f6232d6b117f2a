// Names of charsets as messages use them.
#pragma once

#include <string>
#include <string_view>

namespace kel {

// The name under which a charset is opened and kept, or "" when nothing is to be opened: the name is too long, has
// characters that no charset name has, or means a form of text that exists inside of programs only. All names of UTF-8
// are opened as "utf-8", those of UTF-16 and UTF-32 that leave the byte order open as "utf-16" and "utf-32". The empty name
// is that of the locale's charset.
std::string opened_charset_name(std::string_view name);

// The name under which the C library knows a charset that it may not know by the name that mail uses; or "".
std::string_view other_spelling_of(std::string_view opened_name);

}  // namespace kel
