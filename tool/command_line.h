// The command line: which verb, on what, how. The only place that knows the options library.
#pragma once

#include <optional>

#include "options.h"
#include "verbs.h"

namespace kel::tool {

using verb_t = exit_status_t (*)(message_t const& message, options_t const& options, output_t& out);
using whole_run_t = exit_status_t (*)(options_t const& options, output_t& out);

struct command_t {
  options_t options = {};
  verb_t verb = nullptr;            // for each message, or
  whole_run_t whole_run = nullptr;  // for all at once
  bool is_for_one = false;          // a verb that writes a message: more than one makes no message
};

// Nothing when the run is over already, since help was wanted or the usage is wrong; what there is to say is then said, and
// `status` is the exit status.
std::optional<command_t> read_command_line(int argc, char** argv, exit_status_t& status);

}  // namespace kel::tool
