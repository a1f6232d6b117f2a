// Makes a finished message fit for a transport that takes ASCII headers and short lines only.
//
//    example_seven_bit MESSAGE > narrow.eml
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include <kelmime/reencode.h>

int main(int argc, char** argv) {
  if (argc < 2)
    return 2;
  std::ifstream file(argv[1], std::ios::binary);
  std::string message(std::istreambuf_iterator<char>(file), {});

  if (kel::needs_header_encoding(message.begin(), message.end())) {
    std::string encoded;
    kel::encode_headers(message.begin(), message.end(), std::back_inserter(encoded));
    message = encoded;
  }
  std::string narrow;
  if (kel::reencode(message.begin(), message.end(), std::back_inserter(narrow)))
    std::fprintf(stderr, "Long lines were encoded.\n");
  std::fwrite(narrow.data(), 1, narrow.size(), stdout);
}
