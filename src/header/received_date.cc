#include <header/received_date.h>

#include <algorithm>

#include <kel/ascii.h>
#include <kelmime/rfc822_date_parser.h>

namespace kel {

std::string received_date(std::string_view value, mime_errors_handler_t& errors) {
  value.remove_prefix(value.rfind(';') + 1);
  auto const first = std::ranges::find_if(value, ascii::is_alnum);
  return rfc822_date_t(first, value.end(), errors).canonical_format();
}

}  // namespace kel
