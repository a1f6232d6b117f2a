// A finished message in the forms that narrow transports want.
#include "verbs.h"

#include <iterator>
#include <string>

#include <kelmime/reencode.h>

namespace kel::tool {

exit_status_t reencode(message_t const& message, options_t const& options, output_t& out) {
  bool const does_both = options.encodes_headers == options.encodes_lines;
  std::string bytes(message.bytes);
  if ((does_both || options.encodes_headers) && needs_header_encoding(bytes.begin(), bytes.end())) {
    std::string encoded;
    encode_headers(bytes.begin(), bytes.end(), std::back_inserter(encoded));
    bytes.swap(encoded);
  }
  if (does_both || options.encodes_lines) {
    std::string encoded;
    kel::reencode(bytes.begin(), bytes.end(), std::back_inserter(encoded));
    bytes.swap(encoded);
  }
  out << bytes;
  return done;
}

}  // namespace kel::tool
