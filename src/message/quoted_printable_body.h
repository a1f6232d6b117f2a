// Bodies in quoted-printable (RFC 2045, section 6.7) that come back byte for byte from every reader.
#pragma once

#include <string_view>

#include <kel/ascii.h>
#include <kelmime/bytes.h>
#include <kelmime/encoding.h>

namespace kel {

// `has_lines` tells whether the line feeds of the body are line ends, which every system may write in its own way. Line feeds
// that are none, and a blank at the very end, would not survive every reader: they are encoded.
template <byte_inserter Out>
void append_quoted_printable(std::string_view body, bool has_lines, Out out) {
  auto const write = [&](std::string_view text) { encode(text.begin(), text.end(), out, "quoted-printable"); };
  auto const write_literally = [&](std::string_view text) {
    auto& container = container_of(out);
    container.insert(container.end(), text.begin(), text.end());
  };
  for (std::size_t feed; !has_lines && (feed = body.find('\n')) != body.npos; body.remove_prefix(feed + 1)) {
    write(body.substr(0, feed));
    write_literally(feed + 1 == body.size() ? "=0A" : "=0A=\n");
  }
  bool const ends_with_blank = !body.empty() && ascii::is_blank(body.back());
  write(body.substr(0, body.size() - ends_with_blank));
  if (ends_with_blank)
    write_literally(body.back() == ' ' ? "=20" : "=09");
}

}  // namespace kel
