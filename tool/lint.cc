// Every tolerated deviation, one a line:
//
//    part 2.1: subject: [low] Description of the deviation: "what stands there"
#include "verbs.h"

#include <string>
#include <string_view>

#include "escape.h"
#include "outline.h"

namespace kel::tool {

namespace {

constexpr std::size_t longest_context = 80;

std::string_view without_trailing_space(std::string_view text) {
  return text.substr(0, text.find_last_not_of(" \n") + 1);
}

std::string line_of(deviation_t const& deviation, output_t const& out) {
  std::string line = out.cyan(deviation.part.empty() ? "message" : "part " + std::string(deviation.part)) + ": ";
  if (auto const header = deviation["header"]; !header.empty())
    line += as_excerpt(header, longest_context) + ": ";
  if (deviation.is_low())
    line += out.faint("[low] ");
  line += as_field(without_trailing_space(deviation["description"]));
  if (auto const context = deviation["context"]; !context.empty())
    line += ": \"" + as_excerpt(context, longest_context) + "\"";
  return line;
}

}  // namespace

exit_status_t lint(message_t const& message, options_t const& options, output_t& out) {
  opened_message_t const opened(message);
  std::string const prefix = is_single_message(options.inputs, message.name) ? "" : as_field(message.name) + ": ";
  exit_status_t status = done;
  for (auto const& deviation : opened.deviations()) {
    out << prefix << line_of(deviation, out) << "\n";
    if (!deviation.is_low())
      status = negative;
  }
  return status;
}

}  // namespace kel::tool
