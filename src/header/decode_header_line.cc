// Values to UTF-8. The text around encoded words is converted piece by piece, each with its own answer to the question
// what its 8-bit bytes mean: senders that write raw bytes beside encoded words rarely write both in one charset.
//
// The pieces end at a "=", which is a byte like others in a value of raw ISO-2022-JP text: one with an escape character
// and without encoded words is converted whole.
#include <kelmime/headers.h>

#include <algorithm>
#include <string_view>

#include <codec/find_byte.h>
#include <header/join_encoded_words.h>
#include <kel/ascii.h>
#include <kelmime/charset.h>
#include <kelmime/decoding.h>
#include <kelmime/encoded_word.h>
#include <kelmime/hex.h>

namespace kel {

namespace {

bool holds_two_words(std::string_view value) {
  std::size_t const first = value.find("=?");
  return first != value.npos && value.find("=?", first + 2) != value.npos;
}

bool may_be_raw_japanese(char const* begin, char const* end) {
  constexpr char escape = 27;
  return find_byte(begin, end, escape) != end && !find_encoded_word(begin, end).start;
}

// Of the characters that an encoded word can hold, only a "=" without two digits has no meaning.
bool holds_illegal_character(std::string_view text) {
  for (std::size_t at = text.find('='); at != text.npos; at = text.find('=', at + 1)) {
    if (text.size() - at < 3 || hex_to_int(text[at + 1]) < 0 || hex_to_int(text[at + 2]) < 0)
      return true;
  }
  return false;
}

std::string decode_quoted_printable_word(std::string text, mime_errors_handler_t* errors) {
  if (text.find(' ') != text.npos)
    report(errors, "Quoted-printable encoded word contains one or more spaces", text);
  if (holds_illegal_character(text))
    report(errors, "Quoted-printable encoded word contains one or more illegal characters", text);
  std::ranges::replace(text, '_', ' ');
  std::string bytes;
  decode_quoted_printable(text.begin(), text.end(), std::back_inserter(bytes), nullptr, false);
  return bytes;
}

std::string decode_word(encoded_word_t const& word, mime_errors_handler_t* errors) {
  if (word.encoding == 'q')
    return decode_quoted_printable_word({ word.text.begin, word.text.end }, errors);
  std::string bytes;
  decode_base_64(word.text.begin, word.text.end, std::back_inserter(bytes));
  return bytes;
}

}  // namespace

std::back_insert_iterator<std::string> decode_header_line(char const* begin, char const* end,
                                                          std::back_insert_iterator<std::string> out,
                                                          mime_errors_handler_t* errors, std::string const& charset,
                                                          std::function<std::string()> const& guess_charset) {
  auto const convert_from = [&](std::string used_charset, char const* first, char const* last) {
    if (first != last)
      convert_to_utf8(first, last, out, used_charset, guess_charset, errors);
  };

  std::string joined;
  if (holds_two_words({ begin, end })) {
    joined = join_encoded_words({ begin, end });
    begin = joined.data();
    end = begin + joined.size();
  }

  char const* cursor = may_be_raw_japanese(begin, end) ? end : find_byte(begin, end, '=');
  convert_from(charset, begin, cursor);
  bool is_behind_word = false;
  for (encoded_word_t word; (word = find_encoded_word(cursor, end, errors)).start; cursor = word.end) {
    if (!is_behind_word || !std::all_of(cursor, word.start, ascii::is_space))
      convert_from("", cursor, word.start);
    std::string const bytes = decode_word(word, errors);
    convert_from(word.charset, bytes.data(), bytes.data() + bytes.size());
    is_behind_word = true;
  }
  convert_from(charset, cursor, end);
  return out;
}

}  // namespace kel
