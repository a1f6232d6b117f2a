// Makes a finished message fit for a transport that takes ASCII and short lines only.
//
//    example_seven_bit MESSAGE > narrow.eml
//
// 8-bit bodies of signed and encrypted parts stay as they are, since others would not be what was signed; RFC 1847 does not
// allow them. Long lines and 8-bit headers are encoded there too.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/body.h>
#include <kelmime/reencode.h>

bool is_seven_bit(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte > 0 && byte < 0x80; });
}

// Answers whether the part has 7-bit bodies only. They are read from the raw bytes, so children come before the headers of
// the part are set.
bool encode_bodies(kel::body_part_t& part) {
  if (is_seven_bit(part.raw_body()))
    return true;
  std::string const type = part.mime_type();
  if (type == "multipart/signed" || type == "multipart/encrypted")
    return false;
  bool is_done = true;
  if (part.is_multi_part() || type == "message/rfc822") {
    for (kel::body_part_t& child : part.subparts())
      is_done = encode_bodies(child) && is_done;
    if (!is_seven_bit(part.get_header("#mime-preamble", "")))
      part.set_header("#mime-preamble", kel::unset_string);
    part.set_header("content-transfer-encoding", is_done ? kel::unset_string : "8bit");
  } else if (part.is_message()) {
    return false;  // is not to be encoded
  } else {
    part.set_header("content-transfer-encoding", part.is_text() ? "quoted-printable" : "base64");
  }
  bool const is_message = !part.parent() || part.parent()->is_message();
  if (is_message)
    part.set_header("mime-version", "1.0");
  return is_done;
}

int main(int argc, char** argv) {
  if (argc < 2)
    return 2;
  std::ifstream file(argv[1], std::ios::binary);
  std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
  auto const message = kel::create_body_part(bytes, /*decode*/ false);

  if (!encode_bodies(*message))
    std::fprintf(stderr, "8-bit bodies were left.\n");
  if (!message->can_be_written())
    return 1;
  std::vector<char> written;
  message->generate_rfc822(std::back_inserter(written));

  if (kel::needs_header_encoding(written.begin(), written.end())) {
    std::vector<char> encoded;
    kel::encode_headers(written.begin(), written.end(), std::back_inserter(encoded));
    written.swap(encoded);
  }
  std::vector<char> narrow;
  if (kel::reencode(written.begin(), written.end(), std::back_inserter(narrow)))
    std::fprintf(stderr, "Long lines were encoded.\n");
  std::fwrite(narrow.data(), 1, narrow.size(), stdout);
}
