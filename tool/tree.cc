// One line a part: number, type, charset, encoding, size, name. The number column is indented by depth.
#include "verbs.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "escape.h"
#include "outline.h"

namespace kel::tool {

namespace {

constexpr std::size_t num_columns = 6;
constexpr std::size_t size_column = 4;
constexpr std::size_t deepest_indent = 20;
constexpr std::size_t widest_column = 40;  // a longer entry pushes the rest of its own line only

using row_t = std::array<std::string, num_columns>;

std::string or_dash(std::string_view text) {
  return text.empty() ? "-" : as_field(text);
}

row_t row_of(part_t const& part) {
  std::string const indent(2 * std::min(part.depth, deepest_indent), ' ');
  return { indent + or_dash(part.number),
           or_dash(part.type),
           or_dash(part.charset),
           or_dash(part.encoding),
           std::to_string(part.body->decoded_body().size()),
           or_dash(part.name) };
}

}  // namespace

exit_status_t tree(message_t const& message, options_t const& options, output_t& out) {
  opened_message_t const opened(message);
  std::vector<row_t> rows;
  std::ranges::transform(opened.parts(), std::back_inserter(rows), row_of);

  std::array<std::size_t, num_columns> widths{};
  for (auto const& row : rows)
    for (std::size_t i = 0; i < num_columns; ++i)
      widths[i] = std::max(widths[i], std::min(row[i].size(), widest_column));

  write_heading(message, options, out);
  for (auto const& row : rows) {
    for (std::size_t i = 0; i + 1 < num_columns; ++i) {
      std::string const padding(widths[i] - std::min(widths[i], row[i].size()), ' ');
      if (i == size_column)
        out << padding << row[i] << "  ";
      else
        out << (i == 0 ? out.cyan(row[i]) : row[i]) << padding << "  ";
    }
    out << row.back() << "\n";
  }
  return done;
}

}  // namespace kel::tool
