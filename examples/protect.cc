// Signs and encrypts a draft with OpenPGP, writes it to standard output, and opens what was written.
//
//    example_protect FROM TO [BCC] > message.eml
//
// It needs the secret key of the sender and the keys of the recipients; without them it tells what was missing.
#include <cstdio>
#include <iterator>

#include <kelmime/body.h>

int main(int argc, char** argv) {
  if (argc < 3)
    return 2;
  kel::body_part_t draft;
  draft.set_header("from", argv[1]);
  draft.set_header("to", argv[2]);
  if (argc > 3)
    draft.set_header("bcc", argv[3]);
  draft.set_header("subject", "The plan");  // which everybody can read
  draft.set_text_body("Hello,\n\nhere is the plan.\n", kel::unset_string, kel::unset_string, /*is_signed*/ true);
  draft.set_security_level("signAndEncrypt", "OpenPGP");

  draft.generate_rfc822();  // signed and encrypted once, for the hidden recipients too
  if (draft.get_security_status(/*whole_message*/ true) == "generationFailed") {
    std::fprintf(stderr, "generationFailed:\n%s", draft.get_header("security-generation-detail", "").c_str());
    return 1;
  }
  draft.set_header("bcc", kel::unset_string);
  std::vector<char> message;
  draft.generate_rfc822(std::back_inserter(message));
  std::fwrite(message.data(), 1, message.size(), stdout);

  auto const received = kel::create_body_part(message, /*decode*/ false);
  kel::decrypt_and_verify_signatures(*received);
  std::fprintf(stderr, "%s:\n%s", received->get_security_status(/*whole_message*/ true).c_str(),
               received->text_body(/*canonical*/ false).c_str());
}
