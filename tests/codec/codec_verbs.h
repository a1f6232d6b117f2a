// What the codec tests do: run a codec over a copy of the input in a heap block of its exact size, so that a sanitizer
// sees the first byte too far.
#pragma once

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/mime_errors_handler.h>

namespace kel::test {

template <typename Run>
auto on_exact_copy(std::string_view input, Run run) {
  std::unique_ptr<char[]> const copy(new char[input.size()]);
  std::copy(input.begin(), input.end(), copy.get());
  return run(static_cast<char const*>(copy.get()), static_cast<char const*>(copy.get() + input.size()));
}

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

// Every string of up to four bytes over a small alphabet.
template <typename Check>
void for_all_short_strings(std::string_view alphabet, Check check) {
  std::vector<std::string> strings = { "" };
  for (std::size_t next = 0; next < strings.size(); ++next) {
    check(strings[next]);
    if (strings[next].size() == 4)
      continue;
    for (char const c : alphabet)
      strings.push_back(strings[next] + c);
  }
}

}  // namespace kel::test
