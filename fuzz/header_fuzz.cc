// Header blocks, both ways of reading them, and every field path over every value found.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include <kelmime/cleanup_header_body.h>
#include <kelmime/header_parser.h>
#include <kelmime/header_parsers.h>
#include <kelmime/headers.h>
#include <kelmime/quick_parse_headers.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static auto const paths = kel::field_parsers_init::get_field_paths();
  auto const* const begin = reinterpret_cast<char const*>(data);
  char const* const end = begin + size;

  std::multimap<std::string, std::string> headers;
  kel::mime_errors_handler_t errors;
  char const* const body = kel::parse_headers(begin, end, headers, errors, "", {});
  if (body < begin || body > end)
    std::abort();

  for (auto const& path : paths) {
    if (path.empty())
      continue;
    auto const [first, last] = headers.equal_range(path.front());
    for (auto header = first; header != last; ++header) {
      kel::field_path_t explicit_path = path;
      kel::field_parsers_init::expand_implicit_field_path(explicit_path);
      kel::field_parsers_init::parse_bodies_with_field_path(explicit_path, { header->second });
      kel::field_parsers_init::apply_field_path(explicit_path, header->second);
    }
  }

  char const* cursor = begin;
  kel::quick_parse_headers(
      cursor, end,
      { "subject", "from", "date", "received", "content-type", "content-disposition", "content-transfer-encoding" });
  if (cursor < begin || cursor > end)
    std::abort();
  kel::strip_comments({ begin, size });
  kel::header_parser::locate_header("subject", begin, end);
  return 0;
}
