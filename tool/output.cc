#include "output.h"

#include <cerrno>
#include <cstddef>
#include <sstream>

#include <unistd.h>

#include "escape.h"

namespace kel::tool {

namespace {

constexpr std::size_t buffer_size = 64 << 10;

}  // namespace

int write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    ssize_t const written = ::write(descriptor, text.data(), text.size());
    if (written >= 0)
      text.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EINTR)
      return errno;
  }
  return 0;
}

void complain(std::string_view name, std::string_view reason) {
  write_all(STDERR_FILENO, as_field(name) + ": " + as_field(reason) + "\n");
}

void complain(std::string_view name, std::string_view reason, std::string_view details) {
  complain(name, reason);
  std::istringstream lines{ std::string(details) };
  for (std::string line; std::getline(lines, line);)
    write_all(STDERR_FILENO, "  " + as_field(line) + "\n");
}

output_t::output_t(int descriptor, bool is_coloured) : _descriptor(descriptor), _is_coloured(is_coloured) {
  _buffer.reserve(buffer_size);
}

output_t::~output_t() {
  flush();
}

output_t& output_t::operator<<(std::string_view text) {
  if (_buffer.size() + text.size() > buffer_size)
    flush();
  if (text.size() > buffer_size)
    write(text);
  else
    _buffer += text;
  return *this;
}

void output_t::flush() {
  write(_buffer);
  _buffer.clear();
}

int output_t::error() const {
  return _error == EPIPE ? 0 : _error;
}

std::string output_t::painted(char const* style, std::string_view text) const {
  if (!_is_coloured)
    return std::string(text);
  return std::string("\033[").append(style).append("m").append(text).append("\033[0m");
}

void output_t::write(std::string_view text) {
  if (is_open())
    _error = write_all(_descriptor, text);
}

}  // namespace kel::tool
