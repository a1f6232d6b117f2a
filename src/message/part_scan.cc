#include <message/part_scan.h>

#include <map>
#include <optional>

#include <codec/find_byte.h>
#include <codec/line_ends.h>
#include <header/parameters.h>
#include <kel/ascii.h>
#include <kel/text.h>
#include <kelmime/charset.h>
#include <kelmime/header_parsers.h>
#include <kelmime/headers.h>
#include <kelmime/limits.h>
#include <message/multipart.h>

namespace kel {

namespace {

// The content headers of one block.
class content_t {
public:
  content_t(std::string const& block, range_t part) {
    mime_errors_handler_t unread;
    parse_headers(block.data(), block.data() + block.size(), _headers, unread, "",
                  [part] { return guess_charset(part.begin, part.end); });
  }

  // The value of a field path. As in the tree, the first one counts.
  std::string value(std::vector<std::string> const& path, std::string fallback) const {
    std::vector<std::string> stored;
    for (auto [header, end] = _headers.equal_range(path.front()); header != end; ++header)
      stored.push_back(header->second);
    auto const values = field_parsers_init::parse_bodies_with_field_path(path, std::move(stored));
    return values.empty() ? fallback : values.front();
  }

private:
  std::multimap<std::string, std::string> _headers;
};

class scanner_t {
public:
  scanner_t(range_t message, std::function<void(scanned_part_t const&)> const& visit)
      : _message(message), _visit(visit) {}

  void scan(range_t range, std::size_t level) {
    std::string content_headers;
    char const* const body = find_body(range, content_headers);
    scanned_part_t part{ { range.begin, body }, { body, range.end }, "text", "7bit" };
    if (content_headers.empty()) {
      _visit(part);
      return;
    }
    content_t const content(content_headers, range);
    part.type = text::lowercase(content.value({ "content-type", "type" }, part.type));
    part.encoding = text::lowercase(
        header::transfer_encoding_mechanism(content.value({ "content-transfer-encoding" }, part.encoding)));
    _visit(part);
    if (!part.is_leaf() && level < limits::nested_levels && is_open(part.encoding, level))
      scan_inside(part, content, level + 1);
  }

private:
  // The first byte behind the header block, whose content headers are collected.
  static char const* find_body(range_t range, std::string& content_headers) {
    char const* header = range.begin;
    while (header != range.end && !is_empty_line(header, range.end)) {
      char const* const end = header_end(header, range.end);
      if (is_header(header, end, "content-type") || is_header(header, end, "content-transfer-encoding"))
        content_headers += with_lf({ header, end });
      header = end;
    }
    return line_end_after(header, range.end);
  }

  // The outermost part is read as it stands where the standard allows no encoding.
  static bool is_open(std::string const& encoding, std::size_t level) {
    if (encoding == "quoted-printable" || encoding == "base64")
      return level == 0;
    return encoding == "7bit" || encoding == "8bit" || encoding == "binary";
  }

  void scan_inside(scanned_part_t const& part, content_t const& content, std::size_t level) {
    if (part.type == "message") {
      if (text::lowercase(content.value({ "content-type", "subtype" }, "")) == "rfc822")
        scan(part.body, level);
      return;
    }
    std::string const boundary = content.value({ "content-type", "parameter", "split", "boundary" }, "");
    auto const ranges = parse_subparts(part.body.begin, part.body.end, boundary, nullptr, index());
    for (std::size_t i = 1; i + 1 < ranges.size() && ranges.front().end != part.body.end; ++i)
      scan(ranges[i], level);
  }

  delimiter_index_t const& index() {
    if (!_index)
      _index.emplace(_message.begin, _message.end);
    return *_index;
  }

  range_t const _message;
  std::function<void(scanned_part_t const&)> const& _visit;
  std::optional<delimiter_index_t> _index;
};

}  // namespace

void scan_parts(char const* first, char const* last, std::function<void(scanned_part_t const&)> const& visit) {
  scanner_t({ first, last }, visit).scan({ first, last }, 0);
}

bool is_empty_line(char const* line, char const* last) {
  std::string_view const text(line, last);
  return text.starts_with('\n') || text.starts_with("\r\n");
}

char const* header_end(char const* header, char const* last) {
  do
    header = line_end_after(header, last);
  while (header != last && ascii::is_space(*header) && !is_empty_line(header, last));
  return header;
}

bool is_header(char const* header, char const* last, std::string_view name) {
  std::string_view const text(header, last);
  return text.size() > name.size() && text[name.size()] == ':' && ascii::iequals(text.substr(0, name.size()), name);
}

}  // namespace kel
