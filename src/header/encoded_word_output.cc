#include <kelmime/encoded_word_output.h>

#include <algorithm>

#include <header/encoded_words.h>
#include <kel/ascii.h>
#include <kelmime/encoded_word.h>
#include <kelmime/encoding.h>
#include <kelmime/hex.h>
#include <kelmime/transfer_encoding_choice.h>

namespace kel {

namespace {

constexpr bool is_continuation_byte(char c) {
  return (byte_value(c) & 0xC0) == 0x80;
}

constexpr bool is_separator(char c) {
  return c == ' ' || c == '"';
}

constexpr bool is_written_as_is(char c) {
  return ascii::is_alnum(c) || c == '!' || c == '*' || c == '+' || c == '-' || c == '/';
}

template <byte_inserter Out>
void append(Out out, std::string_view bytes) {
  auto& container = container_of(out);
  container.insert(container.end(), bytes.begin(), bytes.end());
}

// At most `limit` bytes, cut between two characters. Bytes that are no UTF-8 are cut anywhere.
char const* end_of_base64_word(char const* first, char const* last, std::size_t limit) {
  if (static_cast<std::size_t>(last - first) <= limit)
    return last;
  char const* cut = first + limit;
  while (cut != first && is_continuation_byte(*cut))
    --cut;
  return cut == first ? first + limit : cut;
}

char const* charset_of(char const* first, char const* last) {
  return std::any_of(first, last, is_high) ? "utf-8" : "us-ascii";
}

// Finds what cannot be written as it stands: see `needs_encoded_words`.
class trouble_finder_t {
public:
  trouble_finder_t(char const* first, char const* last, bool encode)
      : _last(last), _encode(encode), _misread(find_misread(first)), _encoded_word(find_opening(first)) {}

  // The next place, or the end. The positions asked for must ascend: each byte is looked at once or twice in all.
  char const* next(char const* position) {
    if (_misread < position)
      _misread = find_misread(position);
    if (_encoded_word < position)
      _encoded_word = find_opening(position);
    return std::min(_misread, _encoded_word);
  }

private:
  char const* find_misread(char const* position) const {
    return std::find_if(position, _last, [this](char c) { return is_misread(c, _encode); });
  }

  char const* find_opening(char const* position) const {
    char const* const start = find_encoded_word(position, _last).start;
    return start ? start : _last;
  }

  char const* _last;
  bool _encode;
  char const* _misread;
  char const* _encoded_word;
};

// Behind the last of the words that begin at `first`, where one that needs encoding begins, and all need encoding. Other
// white space than spaces is no word, since it would be lost between two encoded words; nor does it end the last one, since
// values are decoded before they are unfolded, and a line feed behind a tab is unfolded to nothing.
char const* end_of_encoded_run(char const* first, char const* last, trouble_finder_t& troubles) {
  char const* run_end = first;
  for (;;) {
    char const* const word =
        std::find_if_not(run_end, last, [](char c) { return is_separator(c) || ascii::is_space(c); });
    char const* const word_end = std::find_if(word, last, is_separator);
    if (troubles.next(word) >= word_end)
      return run_end;
    run_end = word_end;
    while (ascii::is_space(run_end[-1]))
      --run_end;
  }
}

// The range as encoded words, whatever it holds.
template <byte_inserter Out>
void append_encoded(char const* first, char const* last, bool is_base64, Out out) {
  std::string_view const charset = charset_of(first, last);
  std::string opening = "=?";
  opening.append(charset).append(is_base64 ? "?b?" : "?q?");
  std::size_t const limit = 58 - charset.size();
  for (bool is_first = true; first != last; is_first = false) {
    append(out, is_first ? "" : " ");
    append(out, opening);
    if (is_base64) {
      char const* const cut = end_of_base64_word(first, last, limit);
      encode_base64(first, cut, out);
      first = cut;
    } else {
      first = encode_quoted_printable_segment(first, last, out, limit);
    }
    append(out, "?=");
  }
}

template <byte_inserter Out>
void append_encoded(char const* first, char const* last, Out out) {
  append_encoded(first, last, which_mime_encoding(first, last) == "base64", out);
}

template <byte_inserter Out>
void append_single_words(char const* first, char const* last, bool encode, Out out) {
  trouble_finder_t troubles(first, last, encode);
  while (first != last) {
    char const* const trouble = troubles.next(first);
    char const* word = trouble;
    while (trouble != last && word != first && !is_separator(word[-1]))
      --word;
    append(out, { first, word });
    first = end_of_encoded_run(word, last, troubles);
    append_encoded(word, first, out);
  }
}

// Whether a "q" word would become much longer than it should, since it never ends inside a run of 8-bit bytes.
bool holds_long_high_run(std::string_view text) {
  constexpr std::ptrdiff_t longest_run = 15;
  return std::search_n(text.begin(), text.end(), longest_run + 1, true,
                       [](char c, bool wanted) { return is_high(c) == wanted; }) != text.end();
}

}  // namespace

std::string in_encoded_words(std::string_view text) {
  char const* const first = text.data();
  char const* const last = first + text.size();
  bool const is_base64 = holds_long_high_run(text) || which_mime_encoding(first, last) == "base64";
  std::string words;
  append_encoded(first, last, is_base64, std::back_inserter(words));
  return words;
}

std::string in_single_encoded_words(std::string_view text, bool encode) {
  std::string words;
  append_single_words(text.data(), text.data() + text.size(), encode, std::back_inserter(words));
  return words;
}

template <byte_inserter Out>
std::string utf8_to_encoded_ascii(char const* first, char const* last, Out out) {
  append(out, { first, last });
  return charset_of(first, last);
}

template <byte_inserter Out>
char const* encode_quoted_printable_segment(char const* first, char const* last, Out out, std::size_t limit) {
  constexpr std::size_t longest_step = 3;
  std::string word;
  for (; first != last && (word.size() + longest_step <= limit || is_high(*first)); ++first) {
    if (*first == ' ' || is_written_as_is(*first)) {
      word += *first == ' ' ? '_' : *first;
    } else {
      word += '=';
      text::int_to_hex(byte_value(*first), std::back_inserter(word), 2);
    }
  }
  append(out, word);
  return first;
}

template <byte_inserter Out>
Out encode_words(char const* first, char const* last, Out out) {
  if (std::any_of(first, last, is_high))
    append_encoded(first, last, out);
  else
    append(out, { first, last });
  return out;
}

template <byte_inserter Out>
Out encode_single_words(char const* first, char const* last, Out out) {
  append_single_words(first, last, /*encode*/ true, out);
  return out;
}

std::string title_case(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  bool is_behind_letter = false;
  for (char const c : text) {
    result += is_behind_letter ? ascii::to_lower(c) : ascii::to_upper(c);
    is_behind_letter = ascii::is_alpha(c);
  }
  return result;
}

using string_inserter_t = std::back_insert_iterator<std::string>;
using vector_inserter_t = std::back_insert_iterator<std::vector<char>>;

template std::string utf8_to_encoded_ascii(char const*, char const*, string_inserter_t);
template std::string utf8_to_encoded_ascii(char const*, char const*, vector_inserter_t);
template string_inserter_t encode_words(char const*, char const*, string_inserter_t);
template vector_inserter_t encode_words(char const*, char const*, vector_inserter_t);
template string_inserter_t encode_single_words(char const*, char const*, string_inserter_t);
template vector_inserter_t encode_single_words(char const*, char const*, vector_inserter_t);
template char const* encode_quoted_printable_segment(char const*, char const*, string_inserter_t, std::size_t);
template char const* encode_quoted_printable_segment(char const*, char const*, vector_inserter_t, std::size_t);

}  // namespace kel
