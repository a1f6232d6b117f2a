// The only place that knows JSON. Strings are valid UTF-8, whatever the message held: bytes that are none become U+FFFD.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "options.h"
#include "outline.h"

namespace kel::tool {

enum class json_style_t { line, indented };

// The message as the Email object of RFC 8621, with the extension object "kelmime". Ends with a line feed.
std::string email_json(opened_message_t const& opened, bodies_t bodies, json_style_t style);

// What the quick header scan found, on one line that ends with a line feed.
using found_headers_t = std::map<std::string, std::string, std::less<>>;
std::string index_json(std::string const& name, std::size_t size, found_headers_t const& found);

}  // namespace kel::tool
