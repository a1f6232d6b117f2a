#include <kelmime/encoded_word.h>

#include <algorithm>
#include <string_view>

#include <kel/ascii.h>

namespace kel {

namespace {

constexpr bool is_charset_character(char c) {
  return (c >= 'a' && c <= 'z') || ascii::is_digit(c) || c == ':' || c == '.' || c == '_' || c == '-';
}

void drop_single_quotes(std::string& charset, mime_errors_handler_t* errors) {
  if (charset.size() < 2 || charset.front() != '\'' || charset.back() != '\'')
    return;
  report(errors, "Single quotes around charset ignored", charset);
  charset = charset.substr(1, charset.size() - 2);
}

// The word that begins with the "=?" at `start`; one with a null start if there is none.
encoded_word_t word_at(char const* start, char const* last, mime_errors_handler_t* errors) {
  char const* const charset = start + 2;
  char const* const charset_end = std::find_if(charset, last, [](char c) { return c == '?' || is_high(c); });
  if (charset_end == last || *charset_end != '?' || charset_end == charset)
    return {};

  encoded_word_t word;
  word.charset.resize(static_cast<std::size_t>(charset_end - charset));
  std::transform(charset, charset_end, word.charset.begin(), ascii::to_lower);
  drop_single_quotes(word.charset, errors);
  if (!std::ranges::all_of(word.charset, is_charset_character))
    return {};

  if (last - charset_end < 3 || charset_end[2] != '?')
    return {};
  word.encoding = ascii::to_lower(charset_end[1]);
  if (word.encoding != 'q' && word.encoding != 'b')
    return {};

  char const* const text = charset_end + 3;
  char const* const text_end = std::find_if(text, last, [](char c) { return c == '?' || !ascii::is_print(c); });
  if (last - text_end < 2 || text_end[0] != '?' || text_end[1] != '=')
    return {};
  word.text = { text, text_end };
  word.start = start;
  word.end = text_end + 2;
  return word;
}

}  // namespace

encoded_word_t find_encoded_word(char const* first, char const* last, mime_errors_handler_t* errors) {
  std::string_view const range(first, last);
  for (std::size_t at = range.find("=?"); at != range.npos; at = range.find("=?", at + 1)) {
    encoded_word_t word = word_at(first + at, last, errors);
    if (word.start)
      return word;
  }
  return {};
}

}  // namespace kel
