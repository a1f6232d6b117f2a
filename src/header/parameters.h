// Content-Type, Content-Disposition and their like, taken apart in one pass: type, subtype and parameters (RFC 2045, RFC 2183
// and RFC 2231), read as real mail writes them.
//
// The field paths "content-type.type", "content-type.parameter.split.charset" and so on give the same answers, since they
// are made of these functions; whoever has exactly one stored value and several questions asks here.
//
// Accepted besides the standards' forms:
//   1. comments and blanks anywhere between the pieces, quotes around the type, junk after the subtype;
//   2. unquoted values with blanks, slashes and 8-bit bytes, "name=My file (1).txt"; they end at ";" or before a word that
//      is followed by "=", so that a missing ";" costs nothing, nor does a "," instead of it or at the very end. A comment
//      counts only before and after such a value;
//   3. a quote inside a quoted value, "name=\"my "best" file\"": a quote closes only where the parameter can end;
//   4. a missing closing quote: the value ends before ";" and a further "name=", else at the end;
//   5. a backslash in quotes protects only quotes and backslashes, so that "C:\temp\a.txt" keeps its folders;
//   6. continuations in any order and with gaps; an extended form replaces the plain one of the same name, which is there
//      for old readers; any other repetition gives all values, first one first;
//   7. an extended value without charset and language is percent-decoded all the same;
//   8. single quotes around the value of "charset", which no charset's name has. Elsewhere they belong to the value.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kel::header {

struct parameter_t {
  std::string name;   // lower-cased, without the marks of RFC 2231
  std::string value;  // without quotes, in UTF-8

  bool operator==(parameter_t const&) const = default;
};

// A structured header value. Texts keep their case; an empty type or subtype means that there is none.
struct structured_value_t {
  std::string type;
  std::string subtype;
  std::vector<parameter_t> parameters;

  // The first value of a parameter, its name given in lower case; null when there is none.
  std::string const* parameter(std::string_view name) const;
};

structured_value_t parse_structured_value(std::string_view value);

// The parameters in the form `name="value"; name="value"`, with backslashes before quotes and backslashes.
std::string normal_parameters(std::string_view value);

// The value with the parameter `name` (in lower case) set to `text`, in place of all values that it has, or behind the others.
// What is not that parameter stays as it is written; only a value so broken that it would then be read as something else is
// written anew.
std::string with_parameter(std::string_view value, std::string_view name, std::string_view text);

// `name="text"`, with backslashes before quotes and backslashes; without quotes where none are needed (RFC 2045,
// section 5.1).
std::string parameter_text(std::string_view name, std::string_view text);

// The mechanism of a Content-Transfer-Encoding, "base64" of "base64 (attached); junk", as written; empty when there is none.
std::string transfer_encoding_mechanism(std::string_view value);

}  // namespace kel::header
