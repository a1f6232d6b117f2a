// Field paths: the small language in which a value inside a header is asked for.
//
//    to.split.address                    every address of "To"
//    content-type.parameter.split.name   a parameter, with its quotes and escapes undone
//
// The first component is a header name in lower case, each further one a specifier. docs/field-paths.md lists the paths.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <kelmime/export.h>

namespace kel {

// The components in order. The empty path is legal, and so is an empty component.
using field_path_t = std::vector<std::string>;

// The components of a dotted text. A component that contains dots stands between single quotes, as in x.'a.b'.y; there
// is no escape for a quote inside, the byte after the opening quote is always taken, and a missing closing quote is
// understood at the end of the text. One dot at the end adds nothing: "a." is the path of "a" alone.
KELMIME_EXPORT field_path_t string_to_field_path(std::string_view text);

// The dotted text of a path. Components that hold anything but `#`, letters, digits, "_", "-" and NUL are quoted.
KELMIME_EXPORT std::string to_s(field_path_t const& path);

// Orders paths by their number of components first, then component by component.
struct KELMIME_EXPORT less_than_length_cmp {
  bool operator()(field_path_t const& left, field_path_t const& right) const;
};

}  // namespace kel
