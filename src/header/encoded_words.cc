#include <header/encoded_words.h>

#include <algorithm>
#include <iterator>

#include <kelmime/bytes.h>
#include <kelmime/encoded_word.h>
#include <kelmime/encoded_word_output.h>
#include <kelmime/headers.h>

namespace kel {

bool needs_encoded_words(std::string_view text, bool encode) {
  return std::ranges::any_of(text, [=](char c) { return is_misread(c, encode); }) ||
         find_encoded_word(text.begin(), text.end()).start;
}

// A separator inside of what a reader takes for an encoded word would hide that from us.
std::string in_encoded_words_between(std::string_view text, std::string_view separators, bool encode) {
  std::string words;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t const end = std::min(text.find_first_of(separators, at), text.size());
    words += in_single_encoded_words(text.substr(at, end - at), encode);
    at = std::min(text.find_first_not_of(separators, end), text.size());
    words += text.substr(end, at - end);
  }
  return decoded_words(words) == text ? words : in_single_encoded_words(text, encode);
}

std::string decoded_words(std::string_view text) {
  std::string result;
  decode_header_line(text.begin(), text.end(), std::back_inserter(result), nullptr, "utf-8", [] { return "utf-8"; });
  return result;
}

}  // namespace kel
