// Header blocks, both ways of reading them, and what is found in raw ones.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include <kelmime/cleanup_header_body.h>
#include <kelmime/header_parser.h>
#include <kelmime/headers.h>
#include <kelmime/quick_parse_headers.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  auto const* const begin = reinterpret_cast<char const*>(data);
  char const* const end = begin + size;

  std::multimap<std::string, std::string> headers;
  kel::mime_errors_handler_t errors;
  char const* const body = kel::parse_headers(begin, end, headers, errors, "", {});
  if (body < begin || body > end)
    std::abort();

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
