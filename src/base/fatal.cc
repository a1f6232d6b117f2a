#include <base/fatal.h>

#include <base/utf8.h>
#include <kelmime/bytes.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace kel {

namespace {

bool is_control(char c) {
  return byte_value(c) < 32 || byte_value(c) == 127;
}

void append_escaped(char c, std::string& text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  text += { '{', digits[byte_value(c) >> 4], digits[byte_value(c) & 15], '}' };
}

}  // namespace

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
  std::string result;
  result.reserve(text.size());
  char const* const end = text.data() + text.size();
  char const* invalid = nullptr;  // the next byte that is not UTF-8
  for (char const* at = text.data(); at != end; ++at) {
    if (!invalid || invalid < at)
      invalid = utf8::validate_t().scan(at, end);
    bool const is_control_pair = at + 1 < invalid && byte_value(*at) == 0xC2 && byte_value(at[1]) < 0xA0;
    if (is_control_pair)
      append_escaped(*at++, result);
    if (is_control_pair || at == invalid || is_control(*at))
      append_escaped(*at, result);
    else
      result += *at;
  }
  return result;
}

}  // namespace kel
