// A program of somebody else: it sees the installed headers, the installed library and the installed specifiers only.
#include <cstdio>
#include <string_view>
#include <vector>

#include <kelmime/kelmime.h>

int main() {
  std::string_view const text =
      "From: =?utf-8?Q?Zo=C3=AB?= <zoe@example.org>\n"
      "Content-Transfer-Encoding: base64\n"
      "\n"
      "aGVsbG8K\n";
  std::vector<char> bytes(text.begin(), text.end());
  auto const message = kel::create_body_part(bytes, /*decode*/ false);
  std::printf("%s: %.*s", message->get_header("from.address", "nobody").c_str(),
              static_cast<int>(message->decoded_end() - message->decoded_begin()), message->decoded_begin());
}
