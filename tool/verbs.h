// The verbs. Most are asked once for each message and answer with its exit status.
#pragma once

#include "input.h"
#include "options.h"
#include "output.h"

namespace kel::tool {

exit_status_t show(message_t const& message, options_t const& options, output_t& out);
exit_status_t tree(message_t const& message, options_t const& options, output_t& out);
exit_status_t headers(message_t const& message, options_t const& options, output_t& out);
exit_status_t get(message_t const& message, options_t const& options, output_t& out);
exit_status_t json(message_t const& message, options_t const& options, output_t& out);
exit_status_t lint(message_t const& message, options_t const& options, output_t& out);
exit_status_t extract(message_t const& message, options_t const& options, output_t& out);
exit_status_t reencode(message_t const& message, options_t const& options, output_t& out);
exit_status_t edit(message_t const& message, options_t const& options, output_t& out);
exit_status_t sign(message_t const& message, options_t const& options, output_t& out);
exit_status_t encrypt(message_t const& message, options_t const& options, output_t& out);
exit_status_t verify(message_t const& message, options_t const& options, output_t& out);
exit_status_t decrypt(message_t const& message, options_t const& options, output_t& out);

// The whole of `get --paths`: every field path that can be asked for, one a line.
exit_status_t list_paths(output_t& out);

// All messages of all inputs, read by several threads at a time and written in the order of the inputs.
exit_status_t index(options_t const& options, output_t& out);

// A new message, made of files.
exit_status_t compose(options_t const& options, output_t& out);

// What `json` writes of a message.
class opened_message_t;
void write_json(message_t const& message, opened_message_t const& opened, options_t const& options, output_t& out);

// A line that tells the messages apart where there is more than one.
void write_heading(message_t const& message, options_t const& options, output_t& out);

}  // namespace kel::tool
