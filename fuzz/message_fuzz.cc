// Whole messages: everything that an application may ask of a tree.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <kelmime/body.h>
#include <kelmime/disposition.h>

namespace {

void ask(kel::body_part_t& part) {
  for (char const* path :
       { "subject", "from.address", "from.name", "to.split.address", "content-type.parameter.split.charset",
         "date.#local", "list-post.split.mailto", "received.for", "references.split" })
    part.get_header(path, "");
  part.get_filename();
  part.get_suggested_filename();
  part.get_preferred_subpart();
  std::string const disposition = kel::get_disposition(part);
  if (disposition != "inline" && disposition != "attachment")
    __builtin_trap();
  for (kel::body_part_t& child : part.subparts())
    ask(child);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::vector<char> bytes(data, data + size);
  auto const message = kel::create_body_part(bytes, true);
  ask(*message);
  std::vector<kel::mime_error_t> errors;
  message->get_errors({}, errors);
  message->get_delivery_headers({ "a@x" });
  std::vector<std::string> recipients;
  message->get_resent_recipients(recipients);
  kel::body_part_t copy = *message;
  copy.detach();
  copy.set_header("subject", "changed");
  if (std::string(message->raw_data()) != std::string(data, data + size))
    __builtin_trap();
  return 0;
}
