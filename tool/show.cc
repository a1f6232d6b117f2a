// A message for a person: main headers, whether it can be trusted, the text, the attachments, and whether anything was wrong
// with it.
#include "verbs.h"

#include <algorithm>
#include <string>

#include <kelmime/headers.h>
#include <kelmime/value_format.h>

#include "body_lists.h"
#include "escape.h"
#include "outline.h"

namespace kel::tool {

namespace {

std::string size_text(std::size_t size) {
  std::string const digits = std::to_string(size);
  return formatted_size(digits.data(), digits.data() + digits.size());
}

void write_main_headers(body_part_t const& root, output_t& out) {
  for (char const* const name : { "from", "to", "cc", "date", "subject" }) {
    auto const [first, last] = root.headers().equal_range(name);
    for (auto header = first; header != last; ++header) {
      std::string const line = construct_header_line(header->first, header->second, /*encode*/ false);
      std::size_t const value = line.find(": ") + 2;
      out << out.bold(line.substr(0, value)) << as_field(line.substr(value)) << "\n";
    }
  }
}

// Stands among the headers: below them begins what the sender may write.
void write_security(body_part_t& root, output_t& out) {
  std::string const status = root.get_security_status(/*whole_message*/ true);
  if (status != unset_string)
    out << out.bold("Security: ") << status << ", " << root.get_security_protocol() << "\n";
  else if (root.get_security_level() != "none")
    out << out.bold("Security: ") << "not checked, " << root.get_security_protocol() << "\n";
}

void write_text(std::string const& text, output_t& out) {
  if (text.empty())
    return;
  out << "\n" << as_text(text) << (text.ends_with('\n') ? "" : "\n");
}

void write_files(opened_message_t const& opened, body_lists_t const& lists, output_t& out) {
  auto const files = list_files(opened.parts(), lists);
  if (files.empty())
    return;
  out << "\n" << out.bold("Attachments:") << "\n";
  for (std::size_t const index : files) {
    part_t const& part = opened.parts()[index];
    out << "  " << out.cyan(part.number) << "  " << as_field(part.body->get_suggested_filename()) << "  ("
        << as_field(part.type) << ", " << size_text(part.body->decoded_body().size()) << ")\n";
  }
}

// Empty without problems.
std::string problems_line(opened_message_t const& opened, message_t const& message, options_t const& options) {
  auto const deviations = opened.deviations();
  if (deviations.empty())
    return {};
  auto const serious = std::ranges::count_if(deviations, [](auto const& deviation) { return !deviation.is_low(); });
  std::string line =
      "Problems: " + std::to_string(deviations.size()) + (deviations.size() == 1 ? " deviation" : " deviations");
  if (serious > 0)
    line += ", " + std::to_string(serious) + " of them serious";
  line += ": kelmime lint";
  // A message of an mbox or a folder of many has no name to give.
  if (is_single_message(options.inputs, message.name))
    line += " " + as_field(options.inputs.front());
  return line;
}

}  // namespace

exit_status_t show(message_t const& message, options_t const& options, output_t& out) {
  opened_message_t opened(message);
  // Counted now: what is unsealed, and asking for the names to save under, can make more records than lint tells of.
  std::string const problems = problems_line(opened, message, options);
  if (!options.is_sealed)
    opened.unseal();
  body_lists_t const lists = sort_bodies(opened.parts());
  write_heading(message, options, out);
  write_main_headers(opened.root(), out);
  write_security(opened.root(), out);
  write_text(readable_text(opened.parts(), lists), out);
  write_files(opened, lists, out);
  if (!problems.empty())
    out << "\n" << out.yellow(problems) << "\n";
  return done;
}

}  // namespace kel::tool
