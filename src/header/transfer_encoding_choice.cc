#include <kelmime/transfer_encoding_choice.h>

#include <algorithm>
#include <string_view>

namespace kel {

namespace {

constexpr std::size_t long_line = 80;          // in non-blank bytes, deliberately
constexpr std::ptrdiff_t sample_bytes = 1000;  // behind these a scan may stop

struct names_t {
  std::string base64 = "base64";
  std::string quoted_printable = "quoted-printable";
  std::string seven_bit = "7bit";
  std::string eight_bit = "8bit";
};

names_t const& names() {
  static names_t const all;
  return all;
}

// "-- ", or the same quoted, "> -- ".
bool is_signature_separator(std::string_view line) {
  std::size_t const quotes = std::min(line.find_first_not_of('>'), line.size());
  line.remove_prefix(quotes);
  return line == (quotes == 0 ? "-- " : " -- ");
}

struct findings_t {
  std::size_t problems = 0;  // control bytes, and blanks at line ends that count
  std::size_t high_bytes = 0;
  std::size_t long_lines = 0;
  std::size_t scanned = 0;

  bool has_problem() const { return problems > 0 || long_lines > 0; }
};

bool counts_trailing_blanks(std::string_view line, encoding_options options) {
  return !has_option(options, encoding_options::ignore_trailing_blanks) &&
         !(has_option(options, encoding_options::ignore_signature_blanks) && is_signature_separator(line));
}

findings_t examine(char const* first, char const* last, encoding_options options) {
  findings_t found;
  char const* line = first;
  std::size_t line_bytes = 0;
  std::size_t trailing_blanks = 0;
  for (char const* cursor = first; cursor != last; ++cursor) {
    std::uint8_t const value = byte_value(*cursor);
    if (value == ' ' || value == '\t') {
      ++trailing_blanks;
      continue;
    }
    if (value != '\n') {
      found.problems += value < 32 || value == 127;
      found.high_bytes += value >= 0x80;
      trailing_blanks = 0;
      ++line_bytes;
      continue;
    }
    if (trailing_blanks > 0 && counts_trailing_blanks({ line, cursor }, options))
      found.problems += trailing_blanks;
    found.long_lines += line_bytes >= long_line;
    line = cursor + 1;
    line_bytes = trailing_blanks = 0;
    if (cursor - first > sample_bytes && found.has_problem()) {
      found.scanned = static_cast<std::size_t>(line - first);
      return found;
    }
  }
  found.scanned = static_cast<std::size_t>(last - first);
  return found;
}

}  // namespace

std::string const& which_mime_encoding(char const* first, char const* last, encoding_options options) {
  findings_t const found = examine(first, last, options);
  bool const is_8bit_allowed = has_option(options, encoding_options::allow_8bit);
  if (!found.has_problem() && (is_8bit_allowed || found.high_bytes == 0))
    return found.high_bytes == 0 ? names().seven_bit : names().eight_bit;

  std::size_t const weight = found.problems + found.high_bytes;
  bool const is_mostly_text = weight < 4 || static_cast<double>(found.scanned) / static_cast<double>(weight) > 8.0;
  return is_mostly_text ? names().quoted_printable : names().base64;
}

std::string const& which_mime_encoding(char const* first, char const* last, std::string_view type,
                                       std::string_view subtype, encoding_options options) {
  if (type == "message")
    return std::any_of(first, last, is_high) ? names().eight_bit : names().seven_bit;
  bool const is_armored = subtype == "pgp-signature" || subtype == "pgp-encrypted";
  if (type == "image" || type == "audio" || type == "video" || (type == "application" && !is_armored))
    return names().base64;
  return which_mime_encoding(first, last, options | encoding_options::allow_8bit);
}

}  // namespace kel
