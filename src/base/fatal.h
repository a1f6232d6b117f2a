// Lines for standard error: the caller's mistakes, which end the process, and troubles of the surroundings.
//
// Formats are always literals of ours. Bytes of a message are only ever arguments, and go through `printable` first, so
// that a stranger's mail cannot drive a terminal.
#pragma once

#include <string>
#include <string_view>

namespace kel {

// Writes "Fatal: " and the text, and aborts.
[[noreturn, gnu::format(printf, 1, 2)]] void fatal(char const* format, ...);

// Writes the text as it is and aborts: for the messages that carry no prefix.
[[noreturn, gnu::format(printf, 1, 2)]] void stop(char const* format, ...);

// Writes "Warning: " and the text.
[[gnu::format(printf, 1, 2)]] void warning(char const* format, ...);

// The text with control characters, U+0080 to U+009F included, and bytes that are not UTF-8 written as "{1B}".
std::string printable(std::string_view text);

}  // namespace kel
