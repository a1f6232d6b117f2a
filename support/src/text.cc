#include <kel/text.h>

#include <array>
#include <cstdarg>
#include <cstdio>

#include <kel/ascii.h>

namespace kel::text {

std::string format(char const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list once_more;
  va_copy(once_more, arguments);
  int const length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);

  std::string result;
  if (length > 0) {
    result.resize(static_cast<std::size_t>(length));
    std::vsnprintf(result.data(), result.size() + 1, format, once_more);
  }
  va_end(once_more);
  return result;
}

std::vector<std::string> split(std::string_view text, std::string_view separator) {
  std::vector<std::string> pieces;
  if (!separator.empty()) {
    for (auto at = text.find(separator); at != text.npos; at = text.find(separator)) {
      pieces.emplace_back(text.substr(0, at));
      text.remove_prefix(at + separator.size());
    }
  }
  pieces.emplace_back(text);
  return pieces;
}

std::string join(std::span<std::string const> pieces, std::string_view separator) {
  std::string result;
  for (std::string const& piece : pieces) {
    if (&piece != pieces.data())
      result += separator;
    result += piece;
  }
  return result;
}

std::string trim(std::string_view text, std::string_view set) {
  auto const first = text.find_first_not_of(set);
  if (first == text.npos)
    return {};
  return std::string(text.substr(first, text.find_last_not_of(set) + 1 - first));
}

std::string lowercase(std::string_view text) {
  std::string result(text);
  lowercase_in_place(result);
  return result;
}

std::string uppercase(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), ascii::to_upper);
  return result;
}

void lowercase_in_place(std::string& text) {
  std::ranges::transform(text, text.begin(), ascii::to_lower);
}

std::string format_size(std::uint64_t bytes) {
  if (bytes < 1024)
    return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");

  constexpr std::array units = { " KB", " MB", " GB", " TB", " PB", " EB" };
  std::uint64_t size = 1024;
  auto const rounded_tenths = [&] { return bytes / size * 10 + (bytes % size * 10 + size / 2) / size; };
  std::size_t unit = 0;
  for (; rounded_tenths() >= 10240; ++unit)
    size *= 1024;
  std::uint64_t const tenths = rounded_tenths();
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + units[unit];
}

}  // namespace kel::text
