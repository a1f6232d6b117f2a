// Rewriting of finished messages. Everything that is not rewritten is copied, so an unchanged message comes out byte for
// byte.
#include <kelmime/reencode.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <base/utf8.h>
#include <codec/find_byte.h>
#include <codec/line_ends.h>
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
void append(std::string_view bytes, Out out) {
  auto& container = container_of(out);
  container.insert(container.end(), bytes.begin(), bytes.end());
}

// --- Headers -----------------------------------------------------------------------------------------------------

// Reads the headers of a block one by one. Bytes that are not UTF-8 are taken for what a reader of the part takes them for.
class header_reader_t {
public:
  explicit header_reader_t(scanned_part_t const& part)
      : _part(part), _charset(utf8::is_valid(part.headers.begin, part.headers.end) ? "utf-8" : "") {}

  std::optional<header_pair_t> read(range_t header) {
    std::string const text = with_lf({ header.begin, header.end });
    std::vector<header_pair_t> found;
    mime_errors_handler_t unread;
    parse_headers(text.data(), text.data() + text.size(), found, unread, _charset, [this] { return guess(); });
    std::erase_if(found, [](auto const& pair) { return pair.name.starts_with('#'); });
    return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
  }

private:
  std::string const& guess() {
    if (!_guessed_charset)
      _guessed_charset = guess_charset(_part.headers.begin, _part.body.end);
    return *_guessed_charset;
  }

  scanned_part_t const& _part;
  std::string const _charset;
  std::optional<std::string> _guessed_charset;
};

// What our reader takes for no header, such as a name of more than 50 bytes, is copied if it can be, since others may read it.
// So is what begins like a delimiter: in another spelling it could be one of the multipart around it.
template <byte_inserter Out>
void write_encoded_headers(scanned_part_t const& part, Out out) {
  header_reader_t reader(part);
  char const* header = part.headers.begin;
  for (char const* end; header != part.headers.end && !is_empty_line(header, part.headers.end); header = end) {
    end = header_end(header, part.headers.end);
    std::optional<header_pair_t> const read = reader.read({ header, end });
    if (read && !read->name.starts_with("--"))
      generate_rfc822_header(read->name, read->value, /*encode*/ true, out);
    else if (is_ascii({ header, end }))
      append({ header, end }, out);
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
  if (ascii::is_space(*header) && !is_empty_line(header, headers.end))
    header = header_end(header, headers.end);
  append({ headers.begin, header }, out);
  append("Content-Transfer-Encoding: quoted-printable\n", out);
  for (char const* end; header != headers.end; header = end) {
    end = header_end(header, headers.end);
    if (!is_header(header, end, "content-transfer-encoding"))
      append({ header, end }, out);
  }
}

// What the encoding hid could be a delimiter of the multipart around it. Lines of our quoted-printable leave room for this.
template <byte_inserter Out>
void append_without_delimiters(std::string_view quoted_printable, Out out) {
  for (std::size_t line = 0, end; line < quoted_printable.size(); line = end) {
    end = std::min(quoted_printable.find('\n', line), quoted_printable.size() - 1) + 1;
    std::string_view text = quoted_printable.substr(line, end - line);
    if (text.starts_with("--")) {
      append("=2D", out);
      text.remove_prefix(1);
    }
    append(text, out);
  }
}

template <byte_inserter Out>
void write_quoted_printable_part(scanned_part_t const& part, Out out) {
  std::string decoded;
  bool const is_decoded = mime_decode(part.body.begin, part.body.end, std::back_inserter(decoded), part.encoding,
                                      nullptr, /*binary*/ part.type != "text");
  std::string_view const body = is_decoded ? decoded : std::string_view(part.body.begin, part.body.end);
  std::string encoded;
  append_quoted_printable(body, has_lines(part, body), std::back_inserter(encoded));
  write_headers_of_quoted_printable(part.headers, out);
  append_without_delimiters(encoded, out);
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
