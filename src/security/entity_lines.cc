#include <security/entity_lines.h>

#include <codec/line_ends.h>
#include <kelmime/quick_parse_headers.h>

namespace kel {

std::size_t body_offset(std::string_view entity) {
  for (std::size_t line = 0; line < entity.size();) {
    std::size_t const line_feed = entity.find('\n', line);
    if (line_feed == entity.npos)
      break;
    bool const is_empty = line_feed == line || (line_feed == line + 1 && entity[line] == '\r');
    line = line_feed + 1;
    if (is_empty)
      return line;
  }
  return entity.size();
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
