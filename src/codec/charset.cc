// From a claimed charset to UTF-8.
//
// Claims that are corrected here, each with a record:
//   1. "ascii" is called "us-ascii";
//   2. text without a declared charset that has an ISO-2022-JP escape sequence is ISO-2022-JP, unless something else
//      is guessed;
//   3. "ASCII" with 8-bit bytes is UTF-8 if it is valid UTF-8, else in the guessed charset;
//   4. what the charset cannot convert is ISO-8859-1.
// Known mislabels ("gb2312", "ks_c_5601-1987", "western") are replaced silently.
#include <kelmime/charset.h>

#include <base/utf8.h>
#include <codec/circled_numbers.h>
#include <codec/conversion.h>
#include <codec/converter.h>
#include <codec/excerpt.h>
#include <codec/find_byte.h>
#include <kel/text.h>

#include <algorithm>
#include <array>

namespace kel {

namespace {

constexpr char escape = '\x1B';
constexpr std::ptrdiff_t context_radius = 20;

// Charset names that are all treated as a claim to be ASCII.
class ascii_encodings_t {
public:
  static constexpr bool is_ascii(std::string_view name) { return std::ranges::find(_names, name) != _names.end(); }

private:
  static constexpr std::array<std::string_view, 14> _names = {
    "",
    "ansi_x3.4-1968",
    "ansi_x3.4-1986",
    "ascii",
    "cp367",
    "ibm367",
    "iso-ir-6",
    "iso646-us",
    "iso_646.irv:1991",
    "us",
    "us-ascii",
    "csascii",
    "unknown-8bit",
    "x-unknown",
  };
};

constexpr struct {
  std::string_view declared;
  std::string_view used;
} substitutions[] = {
  { "gb2312", "gb18030" },
  { "ks_c_5601-1987", "euc-kr" },
  { "western", "iso-8859-1" },
};

void substitute(std::string& charset) {
  for (auto const& substitution : substitutions) {
    if (charset == substitution.declared) {
      charset = substitution.used;
      return;
    }
  }
}

std::string with_whitespace_escaped(std::string_view text) {
  std::string escaped;
  escape_whitespace(text.begin(), text.end(), std::back_inserter(escaped));
  return escaped;
}

// A conversion whose charset is found out step by step.
class utf8_conversion_t {
public:
  utf8_conversion_t(char const* first, char const* last, output_t& out, std::string& charset,
                    charset_guesser_t const& guesser, mime_errors_handler_t* errors)
      : _first(first), _last(last), _out(out), _charset(charset), _guesser(guesser), _errors(errors) {}

  void run() {
    if (_charset == "ascii") {
      report(_errors, "Non-standard charset is assumed to be 'us-ascii'", _charset);
      _charset = "us-ascii";
    }
    if (ascii_encodings_t::is_ascii(_charset))
      examine_ascii_claim();
    substitute(_charset);

    if (_charset == "us-ascii")
      _out.append(_first, _last);
    else if (_charset == "iso-2022-jp" || _charset == "shift_jis")
      convert_japanese();
    else
      convert_plainly();
  }

private:
  std::string guess() const { return _guesser ? _guesser() : ""; }

  void examine_ascii_claim() {
    char const* const first_8bit = utf8::skip_ascii(_first, _last);
    if (_charset.empty() && has_japanese_escape(first_8bit))
      return;
    if (first_8bit != _last)
      replace_ascii_claim(first_8bit);
  }

  // Looks for ESC "$" before the first 8-bit byte. What is guessed for the first one holds for the others.
  bool has_japanese_escape(char const* end) {
    for (char const* at = _first; (at = find_byte(at, end, escape)) != end; ++at) {
      if (_last - at < 2 || at[1] != '$')
        continue;
      if (guess() != "iso-2022-jp" && !guess().empty())
        return false;
      _charset = "iso-2022-jp";
      if (_errors) {
        report(_errors, "Escape character detected in string (charset is “”). Instead ISO-2022-JP is assumed",
               hex_excerpt(_first, _last, at, context_radius));
      }
      return true;
    }
    return false;
  }

  void replace_ascii_claim(char const* first_8bit) {
    std::string const claimed = _charset;
    bool const is_utf8 = utf8::is_valid(first_8bit, _last);
    _charset = is_utf8 ? "utf-8" : guess();
    if (!_errors)
      return;

    bool const is_unknown = claimed == "unknown-8bit" || claimed == "x-unknown";
    std::string const message = is_unknown ? "Charset is “" + claimed + "” and contains 8 bit characters."
                                           : "Non-ASCII detected in string claimed to be ASCII (“" + claimed + "”).";
    if (is_utf8) {
      report(_errors, message + " It is valid and assumed to be UTF-8.",
             with_whitespace_escaped(excerpt(_first, _last, first_8bit, context_radius)));
    } else {
      report(_errors, message + " It is not valid UTF-8. Instead " + text::uppercase(_charset) + " is assumed",
             hex_excerpt(_first, _last, first_8bit, context_radius));
    }
  }

  void convert_japanese() {
    if (_charset == "iso-2022-jp")
      _charset = "iso-2022-jp-3";
    std::string const rewritten = rewrite_circled_numbers({ _first, _last }, _charset, _errors);
    std::string_view const text = rewritten.empty() ? std::string_view(_first, _last) : rewritten;
    convert_japanese_range(text.data(), text.data() + text.size(), _out, _charset, _errors);
  }

  void convert_plainly() {
    char const* const stop = convert_range(_first, _last, _out, _charset, "UTF-8", /*use_fallback*/ false, _errors);
    if (stop != _last)
      convert_range(stop, _last, _out, "iso-8859-1", "UTF-8", /*use_fallback*/ false, _errors);
  }

  char const* const _first;
  char const* const _last;
  output_t& _out;
  std::string& _charset;
  charset_guesser_t const& _guesser;
  mime_errors_handler_t* const _errors;
};

}  // namespace

bool claims_ascii(std::string_view charset) {
  return ascii_encodings_t::is_ascii(charset);
}

bool is_silent_conversion(std::string_view valid_utf8, std::string_view charset) {
  char const* const last = valid_utf8.data() + valid_utf8.size();
  if (valid_utf8.empty())
    return true;
  if (ascii_encodings_t::is_ascii(charset))
    return charset == "us-ascii" && utf8::skip_ascii(valid_utf8.data(), last) == last;
  std::string used(charset);
  substitute(used);
  if (used == "iso-2022-jp" || used == "shift_jis")
    return false;
  converter_t const* const converter = find_converter(used, "UTF-8");
  return converter && converter->is_certain_to_convert(valid_utf8);
}

template <byte_inserter Out>
Out convert_to_utf8(char const* first, char const* last, Out out, std::string& charset,
                    charset_guesser_t const& guesser, mime_errors_handler_t* errors) {
  if (first == last)
    return out;
  output_t output(container_of(out));
  utf8_conversion_t(first, last, output, charset, guesser, errors).run();
  return out;
}

template <byte_inserter Out>
Out escape_whitespace(char const* first, char const* last, Out out) {
  output_t output(container_of(out));
  for (; first != last; ++first) {
    switch (*first) {
      case '\n': output.append("\\n"); break;
      case '\r': output.append("\\r"); break;
      case '\t': output.append("\\t"); break;
      default: output.append(*first);
    }
  }
  return out;
}

using to_string_t = std::back_insert_iterator<std::string>;
using to_vector_t = std::back_insert_iterator<std::vector<char>>;

template to_string_t convert_to_utf8(char const*, char const*, to_string_t, std::string&, charset_guesser_t const&,
                                     mime_errors_handler_t*);
template to_vector_t convert_to_utf8(char const*, char const*, to_vector_t, std::string&, charset_guesser_t const&,
                                     mime_errors_handler_t*);
template to_string_t escape_whitespace(char const*, char const*, to_string_t);
template to_vector_t escape_whitespace(char const*, char const*, to_vector_t);

}  // namespace kel
