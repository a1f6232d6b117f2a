// Rewriting of finished messages. Everything that is not rewritten is copied, so an unchanged message comes out byte for
// byte.
#include <kelmime/reencode.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <base/utf8.h>
#include <codec/find_byte.h>
#include <kel/ascii.h>
#include <kelmime/charset.h>
#include <kelmime/decoding.h>
#include <kelmime/encoding.h>
#include <kelmime/header_generation.h>
#include <kelmime/headers.h>
#include <message/part_scan.h>
#include <message/quoted_printable_body.h>

namespace kel {

namespace {

constexpr std::size_t longest_line = 256;

bool is_ascii(range_t range) {
  return utf8::skip_ascii(range.begin, range.end) == range.end;
}

template <byte_inserter Out>
void append(range_t bytes, Out out) {
  auto& container = container_of(out);
  container.insert(container.end(), bytes.begin, bytes.end);
}

// --- Headers -----------------------------------------------------------------------------------------------------

// Lines that are no headers are lost here: they could hold 8-bit bytes, and no reader shows them. Bytes that are not
// UTF-8 are taken for what a reader of the part takes them for.
template <byte_inserter Out>
void write_encoded_headers(scanned_part_t const& part, Out out) {
  std::string const charset = utf8::is_valid(part.headers.begin, part.headers.end) ? "utf-8" : "";
  std::vector<header_pair_t> headers;
  mime_errors_handler_t unread;
  parse_headers(part.headers.begin, part.headers.end, headers, unread, charset,
                [&] { return guess_charset(part.headers.begin, part.body.end); });
  for (auto const& [name, value] : headers) {
    if (!name.starts_with('#'))
      generate_rfc822_header(name, value, /*encode*/ true, out);
  }
  *out++ = '\n';
}

// --- Bodies ------------------------------------------------------------------------------------------------------

// Whether the line feeds of a body are line ends, which every system may write in its own way.
bool has_lines(scanned_part_t const& part, std::string_view body) {
  return part.type == "text" && body.find('\r') == body.npos && body.find('\0') == body.npos;
}

// A line that continues no header stays in front, where it does not continue the new one.
template <byte_inserter Out>
void write_headers_of_quoted_printable(range_t headers, Out out) {
  char const* header = headers.begin;
  if (*header != '\n' && ascii::is_space(*header))
    header = header_end(header, headers.end);
  append({ headers.begin, header }, out);
  std::string_view const line = "Content-Transfer-Encoding: quoted-printable\n";
  append({ line.begin(), line.end() }, out);
  for (char const* end; header != headers.end; header = end) {
    end = header_end(header, headers.end);
    if (!is_header(header, end, "content-transfer-encoding"))
      append({ header, end }, out);
  }
}

template <byte_inserter Out>
void write_quoted_printable_part(scanned_part_t const& part, Out out) {
  std::string decoded;
  bool const is_decoded = mime_decode(part.body.begin, part.body.end, std::back_inserter(decoded), part.encoding,
                                      nullptr, /*binary*/ part.type != "text");
  std::string_view const body = is_decoded ? decoded : std::string_view(part.body.begin, part.body.end);
  write_headers_of_quoted_printable(part.headers, out);
  append_quoted_printable(body, has_lines(part, body), out);
}

}  // namespace

bool needs_header_encoding(char const* first, char const* last) {
  bool answer = false;
  if (!is_ascii({ first, last }))
    scan_parts(first, last, [&](scanned_part_t const& part) { answer = answer || !is_ascii(part.headers); });
  return answer;
}

template <byte_inserter Out>
Out encode_headers(char const* first, char const* last, Out out) {
  char const* copied = first;
  auto const visit = [&](scanned_part_t const& part) {
    if (is_ascii(part.headers))
      return;
    append({ copied, part.headers.begin }, out);
    write_encoded_headers(part, out);
    copied = part.headers.end;
  };
  if (!is_ascii({ first, last }))
    scan_parts(first, last, visit);
  append({ copied, last }, out);
  return out;
}

std::size_t max_line_length(char const* first, char const* last) {
  std::size_t longest = 0;
  while (first != last) {
    char const* const feed = find_byte(first, last, '\n');
    longest = std::max(longest, static_cast<std::size_t>(feed - first));
    first = feed == last ? last : feed + 1;
  }
  return longest;
}

template <byte_inserter Out>
bool reencode(char const* first, char const* last, Out out) {
  char const* copied = first;
  scan_parts(first, last, [&](scanned_part_t const& part) {
    if (!part.is_leaf() || max_line_length(part.body.begin, part.body.end) <= longest_line)
      return;
    append({ copied, part.headers.begin }, out);
    write_quoted_printable_part(part, out);
    copied = part.body.end;
  });
  append({ copied, last }, out);
  return copied != first;
}

using to_string_t = std::back_insert_iterator<std::string>;
using to_vector_t = std::back_insert_iterator<std::vector<char>>;

template to_string_t encode_headers(char const*, char const*, to_string_t);
template to_vector_t encode_headers(char const*, char const*, to_vector_t);
template bool reencode(char const*, char const*, to_string_t);
template bool reencode(char const*, char const*, to_vector_t);

}  // namespace kel
