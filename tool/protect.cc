// A finished message, signed by its sender or encrypted for its recipients: both are those of its own headers.
#include "verbs.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include <kelmime/body.h>

#include "written_form.h"

namespace kel::tool {

namespace {

// Of the message itself: what it encloses may well be protected, that is content like any other.
bool is_protected(body_part_t& message) {
  constexpr std::string_view types[] = { "multipart/signed", "multipart/encrypted", "application/pkcs7-mime",
                                         "application/x-pkcs7-mime" };
  return std::ranges::find(types, message.mime_type()) != std::end(types);
}

// A message that gets a new content is dated and identified anew. One that was finished stays the message that it was.
void put_back_origin(body_part_t& message, body_part_t::headers_t const& had) {
  for (char const* const name : { "date", "message-id", "resent-date", "resent-message-id", "x-mailer" }) {
    auto const [first, last] = had.equal_range(name);
    message.set_header(name, unset_string);
    std::for_each(first, last, [&](auto const& header) { message.add_header(name, header.second); });
  }
}

exit_status_t protect(message_t const& message, char const* level, std::string const& protocol, output_t& out) {
  auto const root = parse_body(message.bytes.data(), message.bytes.data() + message.bytes.size());
  if (is_protected(*root)) {
    complain(message.name, "is signed or encrypted already");
    return negative;
  }
  auto const had = root->headers();
  root->set_security_level(level, protocol);
  put_back_origin(*root, had);
  bool const only_signs = level == std::string_view("sign");
  return write_tree(message, *root, only_signs ? "cannot be signed" : "cannot be encrypted", out);
}

}  // namespace

exit_status_t sign(message_t const& message, options_t const& options, output_t& out) {
  return protect(message, "sign", options.protocol, out);
}

exit_status_t encrypt(message_t const& message, options_t const& options, output_t& out) {
  return protect(message, options.signs ? "signAndEncrypt" : "encrypt", options.protocol, out);
}

}  // namespace kel::tool
