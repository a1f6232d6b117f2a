#include <security/entity_lines.h>

#include <codec/find_byte.h>
#include <codec/line_ends.h>
#include <kelmime/quick_parse_headers.h>
#include <message/part_scan.h>

namespace kel {

std::size_t body_offset(std::string_view entity) {
  char const* line = entity.data();
  char const* const end = line + entity.size();
  while (line != end && !is_empty_line(line, end))
    line = line_end_after(line, end);
  return static_cast<std::size_t>(line_end_after(line, end) - entity.data());
}

std::string entity_with_lf(std::string_view entity) {
  std::size_t const body = body_offset(entity);
  std::string result = with_lf(entity.substr(0, body));
  char const* cursor = result.data();
  auto const found = quick_parse_headers(cursor, cursor + result.size(), { "content-transfer-encoding" });
  bool const is_binary = found.at("#encoding") == "binary";
  return is_binary ? result.append(entity.substr(body)) : result + with_lf(entity.substr(body));
}

}  // namespace kel
