// The date of a "Received" header (RFC 5321, section 4.4): what stands behind its last ";".
#pragma once

#include <string>
#include <string_view>

#include <kelmime/mime_errors_handler.h>

namespace kel {

// In UTC, "yyyy-MM-dd HH:mm:ss"; empty when it is not readable. A value without ";" is read from its beginning.
std::string received_date(std::string_view value, mime_errors_handler_t& errors);

}  // namespace kel
