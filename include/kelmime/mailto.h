// The mailto URL (RFC 6068): what a click on an address in a page or a mail asks to be written.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kelmime/export.h>

namespace kel {

// What a draft is to be filled with: headers in the order of the URL, lower-case names, UTF-8 values of one line, each name
// once; and the text, with bare line feeds.
struct mailto_t {
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
};

// Reads a mailto URL, which may stand between blanks and "<>". False when the text is none; `out` is then untouched.
//
// The URL comes from a stranger, so of the headers only those are taken that are safe to prefill: "to", "cc", "subject",
// "in-reply-to" and "keywords". No value can bring another header: line breaks in it become spaces, those of the body line
// feeds; bytes that are no UTF-8 and control bytes except tabs become U+FFFD. Fields without a value are left out.
//
// Read as the standard has it, or leniently where it does not say:
//   1. a "+" is a plus, "#" begins a fragment, which means nothing, and a "%" without two digits is text;
//   2. all recipients are joined in one "to", all values of "cc" and "keywords" in one, those of "body" line by line; of
//      anything else the first value counts;
//   3. "," separates addresses and "%2C" does not: "a%2Cb@x" is the address "\"a,b\"@x". Only where it stands between whole
//      addresses, as the older RFC 2368 had them written, or in a display name, it is a comma of the header;
//   4. encoded words (RFC 2047) in a subject and in keywords are decoded.
KELMIME_EXPORT bool parse_mailto(std::string_view url, mailto_t& out);

}  // namespace kel
