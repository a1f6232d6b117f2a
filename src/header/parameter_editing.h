// Parameters as they are written, so that one can be changed while everything else in the value stays as it is.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <header/parameters.h>

namespace kel::header {

struct written_parameter_t {
  std::string name;       // lower-cased, without the marks of RFC 2231
  std::string_view text;  // in the value: from the name to the end of what stands behind the "="
};

// The parameters of a value in their order, each section of RFC 2231 for itself.
std::vector<written_parameter_t> written_parameters(std::string_view value);

// One for each written parameter: nothing where it stays, its new text, or an empty text where it goes.
using new_texts_t = std::vector<std::optional<std::string>>;

std::string with_new_texts(std::string_view value, std::vector<written_parameter_t> const& written,
                           new_texts_t const& texts);

// Whether two values have the same type and the same parameters; only those of one name have an order.
bool reads_the_same(structured_value_t const& a, structured_value_t const& b);

}  // namespace kel::header
