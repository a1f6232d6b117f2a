// Headers as the command line gives them: "Name: value".
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kel::tool {

struct header_line_t {
  std::string name;   // lower case
  std::string value;  // without white space around it; may be empty
};

// What is wrong with the text, empty for nothing: it has no colon, a name that no header can have (RFC 5322, section
// 3.6.8) or that is kept for the library, or is not UTF-8. Line breaks in the value are for the library to take out.
std::string problem_of_header_line(std::string const& text);

// The same for a message that is made: it also gets its own Content-Type and what belongs to that.
std::string problem_of_draft_header_line(std::string const& text);

std::vector<header_line_t> header_lines(std::vector<std::string> const& texts);

}  // namespace kel::tool
