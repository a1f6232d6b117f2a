// Values of field paths, one a line. Shorthands and short forms of paths are understood.
#include "verbs.h"

#include <string>
#include <vector>

#include <kelmime/body.h>
#include <kelmime/field_path.h>
#include <kelmime/header_parsers.h>

#include "escape.h"

namespace kel::tool {

namespace {

std::vector<field_path_t> paths_behind(std::string const& text) {
  if (field_parsers_init::is_shorthand(text))
    return field_parsers_init::get_field_paths_for_shorthand(text);
  field_path_t path = string_to_field_path(text);
  field_parsers_init::expand_implicit_field_path(path);
  return { path };
}

}  // namespace

exit_status_t get(message_t const& message, options_t const& options, output_t& out) {
  auto const root = parse_body(message.bytes.data(), message.bytes.data() + message.bytes.size());
  exit_status_t status = done;
  for (auto const& text : options.paths) {
    std::vector<std::string> values;
    for (auto const& path : paths_behind(text))
      root->get_header_bodies(path, values);
    if (values.empty() && options.fallback)
      values.push_back(*options.fallback);
    if (values.empty())
      status = negative;
    for (auto const& value : values)
      out << as_field(value) << "\n";
  }
  return status;
}

exit_status_t list_paths(output_t& out) {
  for (auto const& path : field_parsers_init::get_field_paths())
    out << to_s(path) << "\n";
  return done;
}

}  // namespace kel::tool
