// Laws of header blocks and values: what the ways of reading have in common, and what writing must not lose.
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <codec/utf8.h>
#include <kelmime/encoded_word_output.h>
#include <kelmime/headers.h>

namespace {

void require(bool law) {
  if (!law)
    std::abort();
}

std::vector<kel::header_pair_t> pairs_of(char const* begin, char const* end, std::string const& charset) {
  std::vector<kel::header_pair_t> pairs;
  kel::mime_errors_handler_t errors;
  char const* const body = kel::parse_headers(begin, end, pairs, errors, charset, {});
  require(body >= begin && body <= end);
  return pairs;
}

std::multimap<std::string, std::string> sorted_pairs_of(char const* begin, char const* end) {
  std::multimap<std::string, std::string> pairs;
  kel::mime_errors_handler_t errors;
  kel::parse_headers(begin, end, pairs, errors, "", {});
  return pairs;
}

template <typename Encode>
std::string decoded_again(Encode encode) {
  std::string encoded, decoded;
  encode(std::back_inserter(encoded));
  kel::decode_header_line(encoded.begin(), encoded.end(), std::back_inserter(decoded), nullptr, "", {});
  return decoded;
}

bool is_plain_ascii(std::string_view text) {
  for (char const c : text) {
    if (kel::byte_value(c) >= 0x80 || c == 27)
      return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  auto const* const begin = reinterpret_cast<char const*>(data);
  char const* const end = begin + size;
  std::string_view const text(begin, size);

  std::vector<kel::header_pair_t> const pairs = pairs_of(begin, end, "");
  std::multimap<std::string, std::string> sorted;
  for (kel::header_pair_t const& pair : pairs)
    sorted.emplace(pair.name, pair.value);
  require(sorted == sorted_pairs_of(begin, end));

  // Without encoded words no charset matters to ASCII, and so no short cut for some charsets may show.
  bool const holds_words = text.find("=?") != text.npos;
  if (is_plain_ascii(text) && !holds_words)
    require(pairs == pairs_of(begin, end, "iso-8859-15"));

  if (kel::utf8::is_valid(begin, end) && !holds_words && text.find('\x1B') == text.npos) {
    require(decoded_again([&](auto out) { kel::encode_words(begin, end, out); }) == text);
    require(decoded_again([&](auto out) { kel::encode_single_words(begin, end, out); }) == text);
  }
  return 0;
}
