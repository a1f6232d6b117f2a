// Splitting of multipart bodies, with the index of the buffer's dash lines at hand.
#pragma once

#include <string>
#include <vector>

#include <kelmime/bytes.h>
#include <kelmime/mime_errors_handler.h>
#include <message/delimiter_index.h>

namespace kel {

// The same as `parse_subparts` of the public header; [begin, end) lies in the indexed bytes and begins a line.
std::vector<range_t> parse_subparts(char const* begin, char const* end, std::string const& boundary,
                                    mime_errors_handler_t* errors, delimiter_index_t const& index);

}  // namespace kel
