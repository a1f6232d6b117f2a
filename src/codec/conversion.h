// Conversion passes over a range, for the functions that are made of several.
#pragma once

#include <codec/output.h>
#include <kelmime/mime_errors_handler.h>

#include <string_view>

namespace kel {

// One pass, as `convert` makes it.
char const* convert_range(char const* first, char const* last, output_t& out, std::string_view from_charset,
                          std::string_view to_charset, bool use_fallback, mime_errors_handler_t* errors);

// A byte that no charset has a character for: "<U+0081>".
void write_substitution(char byte, output_t& out);

// Whether a charset of this name, in lower case, is taken for a claim to be ASCII: what is not ASCII then, is guessed.
bool claims_ascii(std::string_view charset);

// Whether `convert_to_utf8` over this text, which must be valid UTF-8, records nothing, as far as that can be told for
// less than the conversion costs. A pass made for its records alone may be left out then.
bool is_silent_conversion(std::string_view valid_utf8, std::string_view charset);

// Appends what `japanese_convert` appends.
void convert_japanese_range(char const* first, char const* last, output_t& out, std::string_view charset,
                            mime_errors_handler_t* errors);

}  // namespace kel
