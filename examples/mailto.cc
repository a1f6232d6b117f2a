// Makes a draft of a click on an address, and writes it to standard output.
//
//    example_mailto 'mailto:ann@example.net?subject=The%20plan&body=Hello%2C' > draft.eml
#include <cstdio>
#include <iterator>

#include <kelmime/body.h>
#include <kelmime/mailto.h>

int main(int argc, char** argv) {
  if (argc < 2)
    return 2;
  kel::mailto_t wanted;
  if (!kel::parse_mailto(argv[1], wanted))
    return 1;

  kel::body_part_t draft;
  draft.set_header("from", "Zoë Example <zoe@example.org>");
  for (auto const& [name, value] : wanted.headers)
    draft.set_header(name, value);
  draft.set_text_body(wanted.body, kel::unset_string, kel::unset_string, /*is_signed*/ false);

  std::vector<char> message;
  draft.generate_rfc822(std::back_inserter(message));
  std::fwrite(message.data(), 1, message.size(), stdout);
}
