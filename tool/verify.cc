// One word on whether a message can be trusted.
#include "verbs.h"

#include <string>

#include <kelmime/body.h>

#include "escape.h"

namespace kel::tool {

exit_status_t verify(message_t const& message, options_t const& options, output_t& out) {
  auto const root = parse_body(message.bytes.data(), message.bytes.data() + message.bytes.size());
  decrypt_and_verify_signatures(*root);
  std::string const status = root->get_security_status(/*whole_message*/ true);
  std::string const prefix = is_single_message(options.inputs, message.name) ? "" : as_field(message.name) + ": ";
  out << prefix << (status == unset_string ? "none" : status) << "\n";
  if (status == "trustedSignature" || status == "validSignature")
    return done;
  return status == "missingCommand" ? failed : negative;
}

}  // namespace kel::tool
