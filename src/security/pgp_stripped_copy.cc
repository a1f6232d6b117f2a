#include <kelmime/openpgp.h>

#include <algorithm>

namespace kel {

namespace {

// The next line without its line feed. The end of a text that ends in a line feed is no line.
std::string_view take_line(std::string_view& text) {
  std::string_view const line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(text.size(), line.size() + 1));
  return line;
}

}  // namespace

void pgp_stripped_copy(char const* begin, char const* end, std::string& out) {
  bool is_copying = true;
  for (std::string_view rest(begin, end); !rest.empty();) {
    std::string_view const line = take_line(rest);
    if (line == "-----BEGIN PGP SIGNED MESSAGE-----") {
      while (!rest.empty() && !take_line(rest).empty())
        ;
    } else if (line == "-----BEGIN PGP SIGNATURE-----") {
      is_copying = false;
    } else if (line == "-----END PGP SIGNATURE-----") {
      is_copying = true;
    } else if (is_copying) {
      out.append(line) += '\n';
    }
  }
}

}  // namespace kel
