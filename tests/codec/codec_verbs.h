// What the codec tests do: run a codec over an exact copy of the input.
#pragma once

#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <helpers/exact_copy.h>
#include <helpers/short_strings.h>
#include <kelmime/mime_errors_handler.h>

namespace kel::test {

// What a codec appends to a string.
template <typename Codec>
std::string output_of(std::string_view input, Codec codec) {
  return on_exact_copy(input, [&](char const* first, char const* last) {
    std::string output = "before ";
    codec(first, last, std::back_inserter(output));
    return output.substr(7);
  });
}

// Every record as "description | context", in order.
inline std::vector<std::string> described(mime_errors_handler_t const& errors) {
  std::vector<std::string> lines;
  for (mime_error_t const& record : errors.records()) {
    auto const context = record.find("context");
    lines.push_back(record.at("description") + (context == record.end() ? "" : " | " + context->second));
  }
  return lines;
}

using lines_t = std::vector<std::string>;

}  // namespace kel::test
