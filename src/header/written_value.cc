#include <header/written_value.h>

#include <algorithm>

#include <header/written_addresses.h>
#include <header/written_parameters.h>

namespace kel {

std::string written_value(std::string_view name, std::string_view value, bool encode) {
  std::string text(value);
  std::ranges::replace_if(
      text, [](char c) { return c == '\r' || c == '\n' || c == '\0'; }, ' ');
  if (holds_addresses(name))
    return written_addresses(text, encode);
  if (header::holds_parameters(name))
    return header::with_written_parameters(text, encode);
  return text;
}

}  // namespace kel
