// What the codec tests do: run a codec over an exact copy of the input.
#pragma once

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <helpers/exact_copy.h>
#include <helpers/short_strings.h>
#include <kelmime/charset.h>
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

using lines_t = std::vector<std::string>;

// Every record as "description | context", in order.
inline lines_t described(mime_errors_handler_t const& errors) {
  lines_t lines;
  for (mime_error_t const& record : errors.records()) {
    auto const context = record.find("context");
    lines.push_back(record.at("description") + (context == record.end() ? "" : " | " + context->second));
  }
  return lines;
}

// Shorter than the limit.
inline std::string random_text(std::mt19937& random, std::size_t limit, std::string_view bytes) {
  std::string text(random() % limit, ' ');
  std::ranges::generate(text, [&] { return bytes[random() % bytes.size()]; });
  return text;
}

// The records of what a converter refuses.
inline std::string const unknown_charset = "Unknown charset specified for conversion (iconv)";

inline std::string invalid(std::string const& charset, std::string const& context) {
  return "Invalid multibyte sequence encountered (iconv / " + charset + ") | " + context;
}

inline std::string incomplete(std::string const& charset, std::string const& context) {
  return "Incomplete multibyte sequence encountered (iconv / " + charset + ") | " + context;
}

struct converted_t {
  std::string text, charset;
  lines_t records;
};

inline converted_t converted(std::string_view input, std::string charset, charset_guesser_t const& guesser = {}) {
  mime_errors_handler_t errors;
  std::string text = output_of(input, [&](auto... range) { convert_to_utf8(range..., charset, guesser, &errors); });
  return { text, charset, described(errors) };
}

}  // namespace kel::test
