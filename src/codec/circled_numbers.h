// Circled numbers in ISO-2022-JP: a vendor's row 13, which the standard charset does not have.
#pragma once

#include <kelmime/mime_errors_handler.h>

#include <string>
#include <string_view>

namespace kel {

// The text with each ESC "$B" and circled number from 1 to 10 rewritten to "(1)" and ESC "$B". The first one is recorded.
// A text without any is returned as an empty string, and is to be used as it stands.
std::string rewrite_circled_numbers(std::string_view text, std::string_view charset, mime_errors_handler_t* errors);

}  // namespace kel
