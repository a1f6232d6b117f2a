// The header block of a message, decoded line by line or as it stands.
#include "verbs.h"

#include <string>
#include <string_view>
#include <vector>

#include <kelmime/body.h>
#include <kelmime/headers.h>

#include "escape.h"
#include "outline.h"

namespace kel::tool {

exit_status_t headers(message_t const& message, options_t const& options, output_t& out) {
  auto const root = parse_body(message.bytes.data(), message.bytes.data() + message.bytes.size());
  write_heading(message, options, out);
  if (options.wants_raw) {
    std::string_view block = root->raw_headers();
    if (block.ends_with("\n\n"))
      block.remove_suffix(1);  // the empty line ends the block and belongs to no header
    out << as_text(block);
    return done;
  }
  for (auto const& header : headers_in_order(*root)) {
    std::string const line = construct_header_line(header.name, header.value, /*encode*/ false);
    std::size_t const colon = line.find(':');
    out << out.bold(as_field(line.substr(0, colon))) << as_field(line.substr(colon)) << "\n";
  }
  return done;
}

}  // namespace kel::tool
