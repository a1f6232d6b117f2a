// What an encrypted message says. Its text alone does not tell where it comes from: words that a stranger put beside the
// ciphertext are no secret of the sender, so they make the answer a negative one.
#include "verbs.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/unset.h>

#include "body_lists.h"
#include "escape.h"
#include "json_writer.h"
#include "outline.h"

namespace kel::tool {

namespace {

using parts_t = std::vector<part_t const*>;

// What an enclosed message holds says nothing of the one around it.
parts_t without_enclosed(outline_t const& parts) {
  parts_t own;
  part_t const* message = nullptr;
  for (part_t const& part : parts) {
    if (message && part.depth > message->depth)
      continue;
    own.push_back(&part);
    message = part.is_message() ? &part : nullptr;
  }
  return own;
}

// A signed envelope is opened, too, but was never closed to anybody.
bool is_decrypted(part_t const* part) {
  return std::ranges::any_of(values_of(*part->body, "##security-details"), [](std::string const& details) {
    return ("\n" + details).find("\nDECRYPTION_OKAY") != details.npos;
  });
}

bool has_outcome(parts_t const& parts, std::string_view word) {
  return std::ranges::any_of(parts, [&](part_t const* part) {
    return part->type != "multipart/signed" && part->body->has_security_status() &&
           part->body->get_security_status(/*whole_message*/ false) == word;
  });
}

exit_status_t outcome_of(message_t const& message, opened_message_t const& opened) {
  std::string const details = opened.root().get_security_details();
  parts_t const parts = without_enclosed(opened.parts());
  if (has_outcome(parts, "missingCommand")) {
    complain(message.name, "cannot be decrypted: the program for it is missing", details);
    return failed;
  }
  if (has_outcome(parts, "decryptFailed")) {
    complain(message.name, "cannot be decrypted", details);
    return negative;
  }
  bool const says_nothing_of_all = opened.root().get_security_status(/*whole_message*/ true) == unset_string;
  if (says_nothing_of_all || std::ranges::none_of(parts, is_decrypted)) {
    complain(message.name, "is not encrypted");
    return negative;
  }
  return done;
}

void write_opened(message_t const& message, opened_message_t const& opened, options_t const& options, output_t& out) {
  if (options.wants_json) {
    write_json(message, opened, options, out);
    return;
  }
  std::string const text = as_text(readable_text(opened.parts(), sort_bodies(opened.parts())));
  write_heading(message, options, out);
  out << text << (text.ends_with('\n') ? "" : "\n");
}

}  // namespace

exit_status_t decrypt(message_t const& message, options_t const& options, output_t& out) {
  opened_message_t opened(message);
  opened.unseal();
  if (exit_status_t const status = outcome_of(message, opened); status != done)
    return status;
  write_opened(message, opened, options, out);
  std::string const word = opened.root().get_security_status(/*whole_message*/ true);
  if (word != "complicated" && word != "rogueParts")
    return done;
  complain(message.name, "holds more than what was encrypted, or protection of several kinds (" + word + ")");
  return negative;
}

}  // namespace kel::tool
