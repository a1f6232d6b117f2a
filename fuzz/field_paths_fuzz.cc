// A field path and a header body: the input's first line and the rest. Both roads to the parameters must agree.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <header/parameters.h>
#include <kelmime/header_parser.h>
#include <kelmime/header_parsers.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string_view const input(reinterpret_cast<char const*>(data), size);
  std::string_view const path = input.substr(0, input.find('\n'));
  std::string const body(input.substr(path.size() == size ? size : path.size() + 1));

  kel::field_path_t const components = kel::string_to_field_path(path);
  kel::to_s(components);
  if (kel::field_parsers_init::field_parser_for_field_path(components))
    kel::header_parser::parse_all_from_header(path, body);
  kel::header_parser::parse_all_from_header("from.split.name.first", body);
  kel::header_parser::parse_from_header("from.address.domain", body);
  std::string folded;
  kel::header_parser::wrap(body.begin(), body.end(), std::back_inserter(folded), 20, 40);

  kel::header::structured_value_t const direct = kel::header::parse_structured_value(body);
  std::string const* const charset = direct.parameter("charset");
  std::vector<std::string> const values =
      kel::header_parser::parse_all_from_header("content-type.parameter.split.charset", body);
  if (charset != nullptr ? values.empty() || values[0] != *charset : !values.empty())
    std::abort();
  return 0;
}
