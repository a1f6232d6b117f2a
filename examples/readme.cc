#include <cstdio>
#include <fstream>
#include <iterator>

#include <kelmime/body.h>

int main(int argc, char** argv) {
  if (argc < 2)
    return 2;
  std::ifstream file(argv[1], std::ios::binary);
  std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
  auto const message = kel::create_body_part(bytes, /*decode*/ false);

  std::printf("%s\n", message->get_header("subject", "(no subject)").c_str());
  std::printf("from %s\n", message->get_header("from.address", "nobody").c_str());
  for (auto& part : message->subparts())
    std::printf("a part is %s\n", part.mime_type().c_str());

  std::vector<kel::mime_error_t> errors;
  message->get_errors({}, errors);
  for (auto const& error : errors)
    std::printf("note: %s\n", error.at("description").c_str());
}
