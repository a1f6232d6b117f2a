// kelmime: how a person, a script or a bug report meets the library.
#include <algorithm>
#include <csignal>
#include <cstring>

#include <unistd.h>

#include "command_line.h"
#include "escape.h"
#include "input.h"
#include "output.h"

namespace kel::tool {

void write_heading(message_t const& message, options_t const& options, output_t& out) {
  if (!is_single_message(options.inputs, message.name))
    out << out.bold("==> " + as_field(message.name) + " <==") << "\n";
}

namespace {

exit_status_t run(command_t const& command, output_t& out) {
  if (command.whole_run)
    return command.whole_run(command.options, out);
  exit_status_t status = done;
  bool const is_everything_read = for_each_message(command.options.inputs, [&](message_t const& message) {
    if (command.is_for_one && !is_single_message(command.options.inputs, message.name)) {
      complain(message.name, "is one of several messages, and one only can be written");
      status = misused;
      return false;
    }
    status = std::max(status, command.verb(message, command.options, out));
    return out.is_open();
  });
  return is_everything_read ? status : std::max(status, unreadable);
}

}  // namespace

}  // namespace kel::tool

int main(int argc, char** argv) {
  using namespace kel::tool;
  // A reader that goes away ends the output, not the program: see output_t.
  std::signal(SIGPIPE, SIG_IGN);

  exit_status_t status = done;
  auto const command = read_command_line(argc, argv, status);
  if (!command)
    return status;

  output_t out(STDOUT_FILENO, command->options.is_coloured);
  status = run(*command, out);
  out.flush();
  if (out.error() != 0) {
    complain("standard output", std::strerror(out.error()));
    return unreadable;
  }
  return status;
}
