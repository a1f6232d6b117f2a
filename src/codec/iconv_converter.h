// The C library's converters, made strict.
#pragma once

#include <codec/converter.h>

#include <memory>
#include <string>

namespace kel {

// A converter that iconv has for these charsets, or null. The names are opened names. Three habits of the C library do
// not show: an ISO-2022 escape sequence that the variant does not know stops the conversion, instead of coming out as
// text; UTF-8 is validated; and the variants of ISO-2022-JP that it lacks exist.
std::unique_ptr<converter_t> open_iconv_converter(std::string const& from, std::string const& to);

}  // namespace kel
