// Names of charsets as messages use them.
#pragma once

#include <string>
#include <string_view>

namespace kel {

// The name under which a charset is opened and kept, or "" when nothing is to be opened: the name is too long, has
// characters that no charset name has, or means a form of text that exists inside of programs only. UTF-8 has one opened
// name, "utf-8". The empty name is that of the locale's charset.
std::string opened_charset_name(std::string_view name);

// Whether a text in this charset may begin with a byte order mark. Converters of the C library keep the order they saw.
bool has_byte_order_mark(std::string_view opened_name);

}  // namespace kel
