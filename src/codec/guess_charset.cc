#include <kelmime/charset.h>

#include <kel/regexp.h>
#include <kel/text.h>

#include <algorithm>

namespace kel {

std::string guess_charset(char const* first, char const* last) {
  static regexp::pattern_t const names(
      "((?i:iso-8859-\\d|windows-(?:125\\d|874)|euc-(?:cn|jp|kr|tw)|shift_jis|gb2312|koi8-(?:[ruto]|cs)|"
      "iso-2022-(?:jp|cn|kr)|\\e\\$))");
  constexpr std::ptrdiff_t searched_bytes = 3000;

  regexp::match_t const match = regexp::search(names, first, first + std::min(last - first, searched_bytes));
  if (!match)
    return "";
  return match.text().starts_with('\x1B') ? "iso-2022-jp" : text::lowercase(match.text());
}

}  // namespace kel
