// Header values without their folding and their comments (RFC 5322, sections 2.2.3 and 3.2.2).
#pragma once

#include <string>
#include <string_view>

#include <kelmime/export.h>

namespace kel {

// Unfolds a value in place and removes its zero bytes. A line feed goes away; the first blank after it becomes one
// space, or nothing where a blank stood before the line feed. Every other blank stays as it is:
//
//    "a\n b", "a \n b" and "a\n\tb" all give "a b"; "a\nb" gives "ab"
KELMIME_EXPORT void cleanup_header_body(std::string& value);

// The value without comments, spaces and tabs trimmed at both ends before (not after) the comments are taken out.
// Comments nest, quotes hide parentheses and count inside comments too, backslashes mean nothing. A closing parenthesis
// without an opening one is kept and hides what follows up to the next opening one: "a) b" gives "a)".
KELMIME_EXPORT std::string strip_comments(std::string_view value);

}  // namespace kel
