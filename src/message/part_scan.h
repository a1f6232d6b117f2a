// The parts of a message in its bytes, without a tree: for those who rewrite a few of them and copy the rest.
//
// Headers are read as the tree reads them, and what the tree would unfold is looked into: a multipart and a message/rfc822,
// neither below `limits::nested_levels` nor, but for the outermost part, with a transfer encoding that had to be undone. The
// other subtypes of message are data, some of it cut in the middle of a text, and so are parts of an unknown encoding.
//
// Header blocks may have CR LF at their line ends, as those of an enclosed message can.
#pragma once

#include <functional>
#include <string>

#include <kelmime/bytes.h>

namespace kel {

struct scanned_part_t {
  range_t headers;  // with the empty line that ends them
  range_t body;
  std::string type;      // lower case
  std::string encoding;  // the mechanism, lower case

  bool is_leaf() const { return type != "multipart" && type != "message"; }
};

// Calls `visit` for each part, in the order in which they begin. Neither header blocks nor leaves overlap anything that is
// visited after them.
void scan_parts(char const* first, char const* last, std::function<void(scanned_part_t const&)> const& visit);

// Whether the empty line that ends a header block begins here.
bool is_empty_line(char const* line, char const* last);

// Just after a header and the lines that continue it.
char const* header_end(char const* header, char const* last);

// Whether a header has this name, given in lower case.
bool is_header(char const* header, char const* last, std::string_view name);

}  // namespace kel
