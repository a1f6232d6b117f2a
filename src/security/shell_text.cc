#include <security/shell_text.h>

namespace kel {

std::optional<std::string> shell_text(std::string_view value) {
  using namespace std::string_view_literals;
  if (value.find_first_of("\0\r\n"sv) != value.npos)
    return std::nullopt;
  std::string text;
  for (char const c : value) {
    if ("\\\"$`"sv.find(c) != std::string_view::npos)
      text += '\\';
    text += c;
  }
  return text;
}

}  // namespace kel
