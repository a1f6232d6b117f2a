// Composes a message with text, HTML that shows an image, and an attachment, and writes it to standard output.
//
//    example_compose PICTURE PLAN > message.eml
#include <cstdio>
#include <fstream>
#include <iterator>

#include <kelmime/body.h>

int main(int argc, char** argv) {
  if (argc < 3)
    return 2;
  std::string const picture_path = argv[1], plan_path = argv[2];
  std::ifstream file(picture_path, std::ios::binary);
  std::string const picture(std::istreambuf_iterator<char>(file), {});

  kel::body_part_t draft;
  draft.set_header("from", "Zoë Example <zoe@example.org>");
  draft.set_header("to", "Ann <ann@example.net>, \"Doe, John\" <john@example.com>");
  draft.set_header("subject", "The plan, with a picture");

  std::string const id = draft.add_related_part(picture_path, picture);
  draft.set_text_body("Hello,\n\nhere is the plan.\n", kel::unset_string,
                      "<p>Hello,</p><p>here is the plan: <img src=\"cid:" + id + "\"></p>\n", /*is_signed*/ false);
  if (!draft.add_attachment(plan_path))
    return 3;

  std::vector<char> message;
  draft.generate_rfc822(std::back_inserter(message));
  std::fwrite(message.data(), 1, message.size(), stdout);
}
