// What a message says, made harmless for a terminal: no control byte of a message ever reaches one as it stands.
//
// Controls and bytes that are no UTF-8 are written as "\x1b", characters that reorder text as "\u202e". The backslash itself
// stays, so this is for eyes and not for reading back.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kel::tool {

// For one line or one field of a line: line feeds and tabs are written as "\n" and "\t".
std::string as_field(std::string_view text);

// For text of several lines: line feeds and tabs stay, and so do the characters that some scripts need for their order.
std::string as_text(std::string_view text);

// A field of at most `limit` bytes of the text, with "..." behind what was cut.
std::string as_excerpt(std::string_view text, std::size_t limit);

}  // namespace kel::tool
