// Takes the attachments out of a message and passes it on to somebody else; the result goes to standard output.
//
//    example_edit_and_resend MESSAGE ADDRESS > resent.eml
//
// The text comes out as it came in, byte for byte, and so do the images that it shows. Without attachments to take out so
// does the whole message, behind its new Resent-... lines.
#include <cstdio>
#include <fstream>
#include <iterator>

#include <kelmime/body.h>

int main(int argc, char** argv) {
  if (argc < 3)
    return 2;
  std::ifstream file(argv[1], std::ios::binary);
  std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
  auto const message = kel::create_body_part(bytes, /*decode*/ false);

  // In a multipart/related the parts behind the first one are no attachments but belong to it. They are counted once: a
  // container that is left with one child becomes that child, whose own children are to stay.
  kel::body_part_t* const container = message->attachments_body_part();
  if (container && container->mime_type() == "multipart/mixed") {
    for (std::size_t left = message->number_of_attachments(); left > 0; --left)
      container->delete_subpart_with_index(1);
  }

  message->set_header("resent-from", "Me <me@example.org>");
  message->set_header("resent-to", argv[2]);
  message->touch(0);

  // A signed message with too many or too few parts cannot be put together again. One in which something was deleted is
  // signed anew, which only its sender can do.
  if (!message->can_be_written())
    return 1;
  std::vector<char> resent;
  message->generate_rfc822(std::back_inserter(resent));
  if (message->get_security_status(/*whole_message*/ true) == "generationFailed")
    return 1;
  std::fwrite(resent.data(), 1, resent.size(), stdout);
}
