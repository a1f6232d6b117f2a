// A fast scan of a header block for a few headers, for those who index messages and need no tree.
//
//    char const* cursor = begin;
//    auto const found = quick_parse_headers(cursor, end, { "subject", "date", "content-type" });
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include <kelmime/export.h>

namespace kel {

// Reads the block at `cursor`, which is moved to the first byte of the body. `wanted` holds lower-case names; the
// result holds their decoded and unfolded values, the last one where a name repeats. Nothing is recorded and nothing
// fails.
//
// "received" is stored as the date of its last part, in UTC ("yyyy-MM-dd HH:mm:ss"), of the first such header that has
// one, and only before a wanted "date". Values of "content-..." headers are unfolded only; those wanted add keys:
//   content-type                "#type" and "#subtype" (lower case; "text" and "plain", each where it is missing),
//                               "#charset" (lower case; "us-ascii" unless a text says otherwise), "#boundary" (empty
//                               unless a multipart has one)
//   content-transfer-encoding   "#encoding" (lower case; "7bit" when empty or missing)
//   content-disposition         "#disposition" (lower case; "inline" when empty or missing)
// Comments are no part of these words.
KELMIME_EXPORT std::map<std::string, std::string, std::less<>> quick_parse_headers(
    char const*& cursor, char const* end, std::set<std::string, std::less<>> const& wanted);

// Finds the parameter `name` (ASCII case does not count) in a list like `; charset="utf-8"; format=flowed`, which
// begins at its first ";". An unquoted value ends at ";" or white space. False when there is none or its closing
// quote is missing; `value` is then untouched.
KELMIME_EXPORT bool parse_parameter(char const* begin, char const* end, std::string_view name, std::string& value);

// Reads the quoted string that begins at `begin`, its quotes and escapes undone. False without an opening or a closing
// quote; `value` is then untouched.
KELMIME_EXPORT bool parse_quoted_string(char const* begin, char const* end, std::string& value);

}  // namespace kel
