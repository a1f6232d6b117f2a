// A new message out of files. Nothing is written before everything is read.
#include "verbs.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/body.h>

#include "header_line.h"
#include "utf8.h"

namespace kel::tool {

namespace {

struct file_t {
  std::string path;
  std::string bytes;
};

std::string with_bare_line_feeds(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i)
    if (bytes.substr(i, 2) != "\r\n")
      text += bytes[i];
  return text;
}

// Reads files and tells of each that it cannot read.
class reader_t {
public:
  std::string text(std::string const& path) {
    std::string const bytes = content(path);
    if (!is_utf8(bytes))
      fail(path, "is not UTF-8");
    return with_bare_line_feeds(bytes);
  }

  std::vector<file_t> files(std::vector<std::string> const& paths) {
    std::vector<file_t> read;
    std::ranges::transform(paths, std::back_inserter(read), [this](std::string const& path) {
      return file_t{ path, content(path) };
    });
    return read;
  }

  bool is_everything_read() const { return _is_everything_read; }

private:
  std::string content(std::string const& path) {
    file_bytes_t bytes;
    if (std::string const failure = bytes.read(path); !failure.empty())
      fail(path, failure);
    return std::string(bytes.view());
  }

  void fail(std::string const& path, std::string const& reason) {
    complain(display_name(path), reason);
    _is_everything_read = false;
  }

  bool _is_everything_read = true;
};

// Content headers belong to the part that the content is, wherever that moves; all others to the message.
bool belongs_to_content(header_line_t const& header) {
  return header.name.starts_with("content-");
}

// False when two of the files are one resource to the HTML.
bool add_related_parts(body_part_t& draft, std::vector<file_t> const& files, std::string_view html) {
  std::set<std::string> ids;
  for (auto const& [path, bytes] : files) {
    std::string const id = draft.add_related_part(path.substr(path.rfind('/') + 1), bytes);
    if (!ids.insert(id).second) {
      complain(path, "has the name of another related file");
      return false;
    }
    if (html.find("cid:" + id) == html.npos)
      complain(path, "is not shown: nothing in the HTML refers to \"cid:" + id + "\"");
  }
  return true;
}

}  // namespace

exit_status_t compose(options_t const& options, output_t& out) {
  reader_t reader;
  std::string const text = options.text_file ? reader.text(*options.text_file) : "";
  std::string const html = options.html_file ? reader.text(*options.html_file) : unset_string;
  auto const attached = reader.files(options.attached_files);
  auto const related = reader.files(options.related_files);
  if (!reader.is_everything_read())
    return unreadable;

  body_part_t draft;
  auto const headers = header_lines(options.set_headers);
  for (header_line_t const& header : headers)
    draft.set_header(header.name, header.value);
  if (options.html_file && !options.text_file)
    draft.set_html_body(html);
  else
    draft.set_text_body(text, unset_string, html, /*is_signed*/ false);
  if (!add_related_parts(draft, related, html))
    return misused;
  for (auto const& [path, bytes] : attached)
    draft.add_attachment(bytes, path, "");
  // Date, Message-ID and others were made while the message was filled: those that were given count.
  for (header_line_t const& header : headers)
    if (!belongs_to_content(header))
      draft.set_header(header.name, header.value);

  std::vector<char> message;
  draft.generate_rfc822(std::back_inserter(message));
  out << std::string_view(message.data(), message.size());
  return done;
}

}  // namespace kel::tool
