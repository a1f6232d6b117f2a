// Takes the attachments out of a message and passes it on to somebody else; the result goes to standard output.
//
//    example_edit_and_resend MESSAGE ADDRESS > resent.eml
//
// The text comes out as it came in, byte for byte. Without attachments to take out so does the whole message, behind its
// new Resent-... lines.
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

  while (message->number_of_attachments() > 0)
    message->attachments_body_part()->delete_subpart_with_index(1);

  message->set_header("resent-from", "Me <me@example.org>");
  message->set_header("resent-to", argv[2]);
  message->touch(0);

  // A message that somebody signed in a way that is not to be written again comes out of this as a "no".
  if (!message->can_be_written())
    return 1;
  std::vector<char> resent;
  message->generate_rfc822(std::back_inserter(resent));
  std::fwrite(resent.data(), 1, resent.size(), stdout);
}
