// Standard output: buffered, coloured where a person reads it, and calm when nobody does any more.
#pragma once

#include <string>
#include <string_view>

namespace kel::tool {

class output_t {
public:
  output_t(int descriptor, bool is_coloured);
  ~output_t();
  output_t(output_t const&) = delete;
  output_t& operator=(output_t const&) = delete;

  output_t& operator<<(std::string_view text);

  // Writes what is buffered.
  void flush();

  // False after a write failed: the reader went away, or the disk is full. What follows is dropped.
  bool is_open() const { return _error == 0; }

  // The system's number of the failure; 0 for none, and for a reader who had enough.
  int error() const;

  // Text between the escape sequences of a style; bare where there is no colour. The text is written as it stands.
  std::string bold(std::string_view text) const { return painted("1", text); }
  std::string faint(std::string_view text) const { return painted("2", text); }
  std::string yellow(std::string_view text) const { return painted("33", text); }
  std::string cyan(std::string_view text) const { return painted("36", text); }

private:
  std::string painted(char const* style, std::string_view text) const;
  void write(std::string_view text);

  int _descriptor;
  bool _is_coloured;
  int _error = 0;
  std::string _buffer;
};

// Writes the whole text; answers the system's error number, 0 for success.
int write_all(int descriptor, std::string_view text);

// A line on standard error: "NAME: reason", the name escaped.
void complain(std::string_view name, std::string_view reason);

// The same, and what is known about it: indented lines.
void complain(std::string_view name, std::string_view reason, std::string_view details);

}  // namespace kel::tool
