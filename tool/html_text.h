// HTML read on a terminal: its words and its line breaks, nothing else.
#pragma once

#include <string>
#include <string_view>

namespace kel::tool {

// The text without tags, comments, scripts and styles; character references are resolved, runs of white space become one
// blank, blocks stand on lines of their own with at most one empty line between them. Linear in the input, whatever it
// holds; what begins and does not end (a comment, a script) runs to the end.
std::string html_to_text(std::string_view html);

}  // namespace kel::tool
