// Values of a single header body by field path, and the place of a header in raw text.
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kelmime/bytes.h>
#include <kelmime/export.h>
#include <kelmime/field_path.h>
#include <kelmime/header_string.h>

namespace kel::header_parser {

// The value that a path has in one header body, or `unset_string`. A path that the registry does not know gives the body.
//
//    header_parser::parse_from_header("from.address", "Ann <ann@example.org>");    // "ann@example.org"
KELMIME_EXPORT std::string parse_from_header(std::string_view field_string, header_string_t const& body);
KELMIME_EXPORT std::string parse_from_header(std::string_view field_string, std::string const& body);
KELMIME_EXPORT std::string parse_from_header(std::string_view field_string, char const* body);
KELMIME_EXPORT std::string parse_from_header(field_path_t const& path, header_string_t const& body);

// All values, in order; an empty list when there is none.
KELMIME_EXPORT std::vector<std::string> parse_all_from_header(std::string_view field_string,
                                                              header_string_t const& body);
KELMIME_EXPORT std::vector<std::string> parse_all_from_header(std::string_view field_string, std::string const& body);
KELMIME_EXPORT std::vector<std::string> parse_all_from_header(std::string_view field_string, char const* body);

// Where `name` first occurs in a raw header block, and the end of the last line of that header, continuation lines and line
// feed included. Both are `last` when it does not occur. The search is deliberately not anchored at line starts and
// compares bytes as they are.
KELMIME_EXPORT std::pair<char const*, char const*> locate_header(std::string_view name, char const* first,
                                                                 char const* last);

// Appends one unfolded header line, folded. A line of less than `soft` and at most `hard` bytes is copied. Any other is broken
// between the elements that the path "<name>.split" has in it, or else "#any-header.split": each line takes as many as `soft`
// bytes hold. An element that is longer is broken at its own blanks, quoted parameters last: only where a line would pass
// `hard` bytes. A word is never broken, however long it is.
//
// Each continuation line begins with a blank and holds text. Unfolding, see cleanup_header_body, gives the line back byte for
// byte, but for the space that is added where no blank stands between two elements, as in "a@x,b@y".
template <byte_inserter Out>
KELMIME_EXPORT Out wrap(char const* first, char const* last, Out out, std::size_t soft, std::size_t hard);

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out wrap(In first, In last, Out out, std::size_t soft, std::size_t hard) {
  return wrap(pointer_to(first), pointer_to(last), out, soft, hard);
}

}  // namespace kel::header_parser
