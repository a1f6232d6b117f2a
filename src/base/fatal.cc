#include <base/fatal.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <kelmime/bytes.h>

namespace kel {

void fatal(char const* format, ...) {
  std::fputs("Fatal: ", stderr);
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::abort();
}

void stop(char const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::abort();
}

void warning(char const* format, ...) {
  std::fputs("Warning: ", stderr);
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
}

std::string printable(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  result.reserve(text.size());
  for (char const c : text) {
    std::uint8_t const value = byte_value(c);
    if (value >= 32 && value != 127) {
      result += c;
    } else {
      result += { '{', digits[value >> 4], digits[value & 15], '}' };
    }
  }
  return result;
}

}  // namespace kel
