// Charsets: everything that the library hands out as text is UTF-8, whatever a message claims to be written in.
//
// Claims are not trusted. Text that is said to be ASCII is examined, known mislabels are replaced, and what a charset
// cannot convert is converted as ISO-8859-1, so that no text is lost. UTF-16 and UTF-32 without a byte order mark are
// big-endian (RFC 2781, section 4.3). Every correction is recorded. A charset name that
// comes from a message is used only if it consists of at most 64 of the characters a-z, 0-9 and ":._()+-" and does not
// name a form that exists inside of programs only; all others are unknown charsets.
#pragma once

#include <kelmime/bytes.h>
#include <kelmime/export.h>
#include <kelmime/mime_errors_handler.h>

#include <functional>
#include <string>
#include <string_view>

namespace kel {

// Answers which charset a text without a useful declaration might be written in; "" when nothing is known.
using charset_guesser_t = std::function<std::string()>;

// Appends the UTF-8 form of a text. `charset` is its declared name in lower case, "" when none is declared, and becomes
// the name of the charset that was used. The guesser is asked only for text without a declaration or with a wrong claim to
// be ASCII; it may be empty. The collector may be null.
//
//    std::string charset = "us-ascii", text;
//    kel::convert_to_utf8(body.begin(), body.end(), std::back_inserter(text), charset, guesser, &errors);
template <byte_inserter Out>
KELMIME_EXPORT Out convert_to_utf8(char const* first, char const* last, Out out, std::string& charset,
                                   charset_guesser_t const& guesser, mime_errors_handler_t* errors);

// Converts a text from one charset to another in one pass. Returns the position where the conversion stopped: `last`, or
// the first byte that does not convert, which is recorded, or `first` when one of the charsets is unknown, which is
// recorded too. With `use_fallback` a byte that does not convert is written as "<U+0081>" and the conversion goes on;
// only a sequence that is cut off by the end still stops it. The empty name means the charset of the process's locale.
template <byte_inserter Out>
KELMIME_EXPORT char const* convert(char const* first, char const* last, Out out, std::string_view from_charset,
                                   std::string_view to_charset, bool use_fallback, mime_errors_handler_t* errors);

// Appends the UTF-8 form of Japanese text in "shift_jis" or a variant of "iso-2022-jp". Escape sequences of another
// variant are followed, lines that do not convert are converted again with "<U+0081>" for each byte that cannot be, and
// both are recorded. Every byte reaches the output in one form or the other.
template <byte_inserter Out>
KELMIME_EXPORT Out japanese_convert(char const* first, char const* last, Out out, std::string_view charset,
                                    mime_errors_handler_t* errors);

// The charset that a header block lets one expect: the first charset name in its first 3000 bytes, in lower case;
// "iso-2022-jp" for the escape sequence ESC "$"; "" when there is neither.
template <byte_iterator In>
std::string guess_charset(In first, In last);
KELMIME_EXPORT std::string guess_charset(char const* first, char const* last);

// Copies a text for the context of a record, with LF, CR and TAB made visible as "\n", "\r" and "\t".
template <byte_inserter Out>
KELMIME_EXPORT Out escape_whitespace(char const* first, char const* last, Out out);

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out
    convert_to_utf8(In first, In last, Out out, std::string& charset, charset_guesser_t const& guesser,
                    mime_errors_handler_t* errors) {
  return convert_to_utf8(pointer_to(first), pointer_to(last), out, charset, guesser, errors);
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) In
    convert(In first, In last, Out out, std::string_view from_charset, std::string_view to_charset, bool use_fallback,
            mime_errors_handler_t* errors) {
  char const* const begin = pointer_to(first);
  return first + (convert(begin, pointer_to(last), out, from_charset, to_charset, use_fallback, errors) - begin);
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out
    japanese_convert(In first, In last, Out out, std::string_view charset, mime_errors_handler_t* errors) {
  return japanese_convert(pointer_to(first), pointer_to(last), out, charset, errors);
}

template <byte_iterator In>
std::string guess_charset(In first, In last) {
  return guess_charset(pointer_to(first), pointer_to(last));
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out escape_whitespace(In first, In last, Out out) {
  return escape_whitespace(pointer_to(first), pointer_to(last), out);
}

}  // namespace kel
