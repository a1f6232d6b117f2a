// Laws of header blocks and values: what the ways of reading have in common, and what writing must not lose.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <base/utf8.h>
#include <header/join_encoded_words.h>
#include <header/parameter_editing.h>
#include <kel/ascii.h>
#include <kelmime/encoded_word_output.h>
#include <kelmime/header_generation.h>
#include <kelmime/header_parser.h>
#include <kelmime/headers.h>
#include <kelmime/idn_wrapper.h>

namespace {

void require(bool law) {
  if (!law)
    std::abort();
}

std::vector<kel::header_pair_t> pairs_of(std::string_view text, std::string const& charset) {
  std::vector<kel::header_pair_t> pairs;
  kel::mime_errors_handler_t errors;
  char const* const begin = text.data();
  char const* const end = begin + text.size();
  char const* const body = kel::parse_headers(begin, end, pairs, errors, charset, {});
  require(body >= begin && body <= end);
  return pairs;
}

std::multimap<std::string, std::string> sorted_pairs_of(std::string_view text) {
  std::multimap<std::string, std::string> pairs;
  kel::mime_errors_handler_t errors;
  kel::parse_headers(text.data(), text.data() + text.size(), pairs, errors, "", {});
  return pairs;
}

std::string decoded(std::string_view value) {
  std::string text;
  kel::mime_errors_handler_t errors;
  kel::decode_header_line(value.begin(), value.end(), std::back_inserter(text), &errors, "", {});
  return text;
}

template <typename Encode>
std::string decoded_again(Encode encode) {
  std::string encoded;
  encode(std::back_inserter(encoded));
  return decoded(encoded);
}

bool holds_words(std::string_view text) {
  return text.find("=?") != text.npos;
}

bool is_plain_ascii(std::string_view text) {
  return std::ranges::none_of(text, [](char c) { return kel::is_high(c) || c == 27; });
}

// Text that is almost an encoded word, as one with control characters is, may be joined with a word behind it.
bool holds_half_words(std::string_view text) {
  auto const is_control = [](char c) { return !kel::is_high(c) && !kel::ascii::is_print(c); };
  return holds_words(text) &&
         (std::ranges::any_of(text, is_control) || kel::join_encoded_words(std::string(text)) != text);
}

void check_reading(std::string_view text) {
  std::vector<kel::header_pair_t> const pairs = pairs_of(text, "");
  std::multimap<std::string, std::string> sorted;
  for (kel::header_pair_t const& pair : pairs)
    sorted.emplace(pair.name, pair.value);
  require(sorted == sorted_pairs_of(text));

  // Without encoded words no charset matters to ASCII, and so no short cut for some charsets may show.
  if (is_plain_ascii(text) && !holds_words(text))
    require(pairs == pairs_of(text, "iso-8859-15"));
}

void check_writing(std::string_view text) {
  decoded(text);
  std::string const whole = decoded_again([&](auto out) { kel::encode_words(text.begin(), text.end(), out); });
  std::string const by_words =
      decoded_again([&](auto out) { kel::encode_single_words(text.begin(), text.end(), out); });
  if (!kel::utf8::is_valid(text.data(), text.data() + text.size()) || text.find('\x1B') != text.npos)
    return;
  require(whole == text || (holds_words(text) && is_plain_ascii(text)));
  require(by_words == text || holds_half_words(text));
}

bool is_line_break(char c) {
  return c == '\r' || c == '\n' || c == '\0';
}

std::string without_leading_white_space(std::string const& text) {
  return { std::ranges::find_if_not(text, kel::ascii::is_space), text.end() };
}

// The value of the only header that a value makes; empty when it holds nothing but white space.
std::string generated_and_read(std::string const& name, std::string const& value) {
  std::string header;
  kel::generate_rfc822_header(name, value, true, std::back_inserter(header));
  require(std::ranges::none_of(header, [](char c) { return kel::is_high(c); }));
  std::vector<kel::header_pair_t> const pairs = pairs_of(header + "X-Next: y\n", "");
  require(pairs.back().name == "x-next" && pairs.size() <= 2);
  return pairs.size() == 2 ? without_leading_white_space(pairs[0].value) : "";
}

// Domains in ACE form, since names that are no names may hold them as well.
std::vector<std::string> names_and_addresses(std::string const& value) {
  std::vector<std::string> all;
  for (char const* path : { "sender.split.name", "sender.split.address" }) {
    for (std::string const& text : kel::header_parser::parse_all_from_header(path, value))
      all.push_back(kel::idn::header_domains_to_ascii(text));
  }
  return all;
}

void check_generation(std::string value) {
  std::string const text = generated_and_read("subject", value);
  std::string const addresses = generated_and_read("sender", value);
  std::string const type = generated_and_read("content-type", value);
  std::ranges::replace_if(value, is_line_break, ' ');
  value = without_leading_white_space(value);
  if (!kel::utf8::is_valid(value.begin(), value.end()) || value.find('\x1B') != value.npos || holds_half_words(value))
    return;
  require(text == value);
  require(names_and_addresses(addresses) == names_and_addresses(value));
  require(kel::header::reads_the_same(kel::header::parse_structured_value(type),
                                      kel::header::parse_structured_value(value)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string_view const text(reinterpret_cast<char const*>(data), size);
  check_reading(text);
  check_writing(text);
  check_generation(std::string(text));
  return 0;
}
