// The C library's converters, made strict.
#pragma once

#include <codec/converter.h>

#include <memory>
#include <string>

namespace kel {

// A converter that iconv has for these charsets, or null. The names are opened names. Habits of the C library that do not
// show: an escape sequence that a variant of ISO-2022-JP does not know stops the conversion, instead of coming out as
// text; UTF-8 is validated; the variants of ISO-2022-JP and the spellings of names that it lacks exist.
std::unique_ptr<converter_t> open_iconv_converter(std::string const& from, std::string const& to);

}  // namespace kel
