// The quick scan of a header block, and the small searches in raw headers.
#include <cstdint>
#include <cstdlib>
#include <string>

#include <kelmime/cleanup_header_body.h>
#include <kelmime/header_parser.h>
#include <kelmime/quick_parse_headers.h>

namespace {

void require(bool law) {
  if (!law)
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  auto const* const begin = reinterpret_cast<char const*>(data);
  char const* const end = begin + size;

  char const* cursor = begin;
  auto const found = kel::quick_parse_headers(
      cursor, end,
      { "subject", "from", "date", "received", "content-type", "content-disposition", "content-transfer-encoding" });
  require(cursor >= begin && cursor <= end);
  require(found.contains("#type") && found.contains("#encoding") && found.contains("#disposition"));

  std::string value;
  kel::parse_parameter(begin, end, "charset", value);
  kel::parse_quoted_string(begin, end, value);
  require(kel::strip_comments({ begin, size }).size() <= size);

  auto const [first, last] = kel::header_parser::locate_header("subject", begin, end);
  require(first <= last && last <= end && (first == end || *first == 's'));
  return 0;
}
