// A message as JSON: indented for one message, a line each for many.
#include "verbs.h"

#include "json_writer.h"
#include "outline.h"

namespace kel::tool {

void write_json(message_t const& message, opened_message_t const& opened, options_t const& options, output_t& out) {
  bool const is_alone = is_single_message(options.inputs, message.name);
  out << email_json(opened, options.bodies, is_alone ? json_style_t::indented : json_style_t::line);
}

exit_status_t json(message_t const& message, options_t const& options, output_t& out) {
  opened_message_t opened(message);
  if (!options.is_sealed)
    opened.unseal();
  write_json(message, opened, options, out);
  return done;
}

}  // namespace kel::tool
