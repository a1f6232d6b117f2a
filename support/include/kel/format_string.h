// Templates with variables.
//
//    $name  ${name}       the value of the variable, nothing when it has none
//    $1  ${1}             in `replace`: the group of that number; $0 is the whole match
//    ${name:?then:else}   `then` when the variable has a value, otherwise `else`; ":else" may be missing
//    ${name:+then}        `then` when the variable has a value, otherwise nothing
//    ${name:-else}        the value of the variable, or `else` when it has none
//
// A variable that is missing or empty has no value. Names consist of letters, digits and "_", and are numbers when they
// begin with a digit. `then` and `else` are templates themselves; values are inserted as they are. Braces in them must be
// balanced, and `then` ends at the first ":" outside braces. Anything else, such as "$" at the end, "${" without "}" or an
// unknown operation, is plain text.
//
// A backslash makes a following "$" plain, and inside "${...}" also ":" and "}". All other backslashes are plain text
// and stay, in pairs too, so that templates may hold regular expressions: \s, \( and \\ come out as they went in. So
// does "(\?".
#pragma once

#include <map>
#include <string>
#include <string_view>

#include <kel/regexp.h>

namespace kel::format_string {

using variables_t = std::map<std::string, std::string, std::less<>>;

std::string expand(std::string_view format, variables_t const& variables);

// The text with every match replaced by the expansion of `format`; text without a match comes back unchanged.
std::string replace(std::string_view text, regexp::pattern_t const& pattern, std::string_view format);

}  // namespace kel::format_string
