#include <codec/circled_numbers.h>

#include <codec/excerpt.h>

namespace kel {

namespace {

constexpr std::string_view kanji_escape = "\x1B$B";
constexpr char row_13 = '-';

// Whether a circled number from 1 to 10 stands at the beginning.
bool begins_with_circled_number(std::string_view text) {
  return text.size() >= 2 && text[0] == row_13 && text[1] >= 33 && text[1] <= 42;
}

}  // namespace

std::string rewrite_circled_numbers(std::string_view text, std::string_view charset, mime_errors_handler_t* errors) {
  std::string rewritten;
  std::size_t copied = 0;
  for (std::size_t at = 0; (at = text.find(kanji_escape, at)) != std::string_view::npos;) {
    std::size_t number = at + kanji_escape.size();
    if (begins_with_circled_number(text.substr(number))) {
      if (errors && copied == 0) {
        report(errors,
               std::string("Non-standard circled number detected in Japanese encoding (charset is “")
                   .append(charset)
                   .append("”)"),
               hex_excerpt(text.data(), text.data() + text.size(), text.data() + at, 5));
      }
      rewritten.append(text, copied, at - copied);
      // The number after a rewritten one follows the escape sequence that is written again, and is rewritten as well.
      for (; begins_with_circled_number(text.substr(number)); number += 2)
        rewritten.append("(").append(std::to_string(text[number + 1] - 32)).append(")");
      rewritten.append(kanji_escape);
      copied = number;
    }
    at = number;
  }
  return copied == 0 ? "" : rewritten.append(text, copied);
}

}  // namespace kel
