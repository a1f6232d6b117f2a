// What an encrypted message says. Its text alone does not tell where it comes from: words that a stranger put beside the
// ciphertext are no secret of the sender, so they make the answer a negative one.
#include "verbs.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "body_lists.h"
#include "escape.h"
#include "json_writer.h"
#include "outline.h"

namespace kel::tool {

namespace {

bool is_encrypted(part_t const& part) {
  return part.body->has_security_status() && (part.type == "multipart/encrypted" || part.is_unsealed());
}

bool has_outcome(outline_t const& parts, std::string_view word) {
  return std::ranges::any_of(parts, [&](part_t const& part) {
    return part.type != "multipart/signed" && part.body->has_security_status() &&
           part.body->get_security_status(/*whole_message*/ false) == word;
  });
}

exit_status_t outcome_of(message_t const& message, opened_message_t const& opened) {
  std::string const details = opened.root().get_security_details();
  if (has_outcome(opened.parts(), "missingCommand")) {
    complain(message.name, "cannot be decrypted: the program for it is missing", details);
    return failed;
  }
  if (has_outcome(opened.parts(), "decryptFailed")) {
    complain(message.name, "cannot be decrypted", details);
    return negative;
  }
  if (std::ranges::none_of(opened.parts(), is_encrypted)) {
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
