// Composes a message with text, HTML that shows an image, and an attachment, and writes it to standard output.
//
//    example_compose IMAGE ATTACHMENT > message.eml
#include <cstdio>
#include <fstream>
#include <iterator>

#include <kelmime/body.h>

int main(int argc, char** argv) {
  if (argc < 3)
    return 2;
  std::ifstream file(argv[1], std::ios::binary);
  std::string const image(std::istreambuf_iterator<char>(file), {});

  kel::body_part_t draft;
  draft.set_header("from", "Zoë Example <zoe@example.org>");
  draft.set_header("to", "Ann <ann@example.net>, \"Doe, John\" <john@example.com>");
  draft.set_header("subject", "The plan, with a picture");

  std::string const id = draft.add_related_part(argv[1], { image.data(), image.size() });
  draft.set_text_body("Hello,\n\nhere is the plan.\n", kel::unset_string,
                      "<p>Hello,</p><p>here is the plan: <img src=\"cid:" + id + "\"></p>\n", /*is_signed*/ false);
  if (!draft.add_attachment(argv[2]))
    return 3;

  std::vector<char> message;
  draft.generate_rfc822(std::back_inserter(message));
  std::fwrite(message.data(), 1, message.size(), stdout);
}
