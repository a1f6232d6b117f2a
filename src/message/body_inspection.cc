// Looking inside a tree: records, sizes, and a dump for debugging.
#include <kelmime/body.h>

#include <algorithm>
#include <cstring>

#include <base/fatal.h>
#include <base/utf8.h>

namespace kel {

namespace {

constexpr std::size_t dumped_bytes = 1000;

void print_indent(std::size_t indent) {
  std::fprintf(stderr, "%*s", static_cast<int>(indent), "");
}

void dump_text(std::string_view text, std::size_t indent) {
  text = utf8::prefix(text, dumped_bytes);
  while (!text.empty()) {
    std::size_t const length = std::min(text.find('\n'), text.size());
    print_indent(indent);
    std::fprintf(stderr, "%s\n", printable(text.substr(0, length)).c_str());
    text.remove_prefix(std::min(length + 1, text.size()));
  }
}

}  // namespace

std::size_t body_part_t::num_root_errors() const {
  return _errors.records().size();
}

std::size_t body_part_t::num_errors() {
  decode_body();
  std::size_t count = num_root_errors();
  for (body_part_t& child : _subparts)
    count += child.num_errors();
  return count;
}

void body_part_t::get_errors(mime_error_t const& extra, std::vector<mime_error_t>& out) {
  decode_body();
  if (num_root_errors() > 0)
    _errors.get_errors(extra, out);
  std::size_t number = 0;
  for (body_part_t& child : _subparts) {
    mime_error_t position = extra;
    position["message"] += "." + std::to_string(++number);
    child.get_errors(position, out);
  }
}

void body_part_t::dump_errors() {
  decode_body();
  _errors.dump();
  for (body_part_t& child : _subparts)
    child.dump_errors();
}

std::size_t body_part_t::space_usage() {
  decode_body();
  std::size_t bytes = (_original_data ? _original_data->size() : 0) + (_decoded_body ? _decoded_body->size() : 0);
  for (body_part_t& child : _subparts)
    bytes += child.space_usage();
  return bytes;
}

void body_part_t::dump(bool decode, std::size_t indent) {
  if (decode)
    decode_body();
  print_indent(indent);
  std::fprintf(stderr, "Unique ID: %d (%p):\n", _unique_id, static_cast<void*>(this));
  if (_parent) {
    print_indent(indent);
    std::fprintf(stderr, "Parent: %p\n", static_cast<void*>(_parent));
  }
  print_indent(indent);
  std::fprintf(stderr, "Has changed: %d\n", _has_changed);
  dump_headers(indent);
  if (_body_begin) {
    print_indent(indent);
    std::fputs("Body:\n", stderr);
    dump_text(raw_body(), indent + 4);
  }
  std::string_view const decoded = decoded_view();
  print_indent(indent);
  std::fprintf(stderr, "Decoded size: %zd\n", decoded.size());
  if ((is_text() || is_message()) && decoded != raw_body()) {
    print_indent(indent);
    std::fputs("Decoded body:\n", stderr);
    dump_text(decoded, indent + 4);
  }
  print_indent(indent);
  std::fprintf(stderr, "Number of subparts: %zd\n", _subparts.size());
  std::size_t number = 0;
  for (body_part_t& child : _subparts) {
    print_indent(indent);
    std::fprintf(stderr, "Subpart number %zu:\n", ++number);
    child.dump(decode, indent + 4);
    std::fputs("\n", stderr);
  }
  for (auto const& [name, bytes] : _related_parts) {
    print_indent(indent);
    std::fprintf(stderr, "Related part: %s (%zu)\n", printable(name).c_str(), bytes.size());
  }
}

void body_part_t::dump_headers(std::size_t indent) const {
  print_indent(indent);
  std::fprintf(stderr, "Headers (%zd):\n", _headers.size());
  std::string previous;
  for (auto const& [name, value] : _headers) {
    if (name == previous) {
      std::fputs(", ", stderr);
    } else {
      print_indent(indent + 4);
      std::fprintf(stderr, "%30s: ", printable(name).c_str());
    }
    std::fprintf(stderr, "\"%s\"\n", printable(value).c_str());
    previous = name;
  }
}

}  // namespace kel
