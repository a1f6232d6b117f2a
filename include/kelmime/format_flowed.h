// Flowed text (RFC 3676): read into the form in which an application shows and edits it, and written. Text is UTF-8 with bare line
// feeds; every input has a reading, and nothing is reported.
#pragma once

#include <cstddef>

#include <kelmime/bytes.h>
#include <kelmime/export.h>

namespace kel {

// Appends the reading form of a text.
//
// With `flowed`, lines that end with a space are joined to the next one of the same quote depth, and space-stuffing is
// undone; `delsp` says that such a space is not part of the text; `keep_unquoted` leaves lines without quote markers as
// they stand. Without `flowed`, trailing spaces are removed. In both, quote markers become ">>" and one space.
//
//    kel::format_deflow(body.begin(), body.end(), std::back_inserter(text),
//                       /*flowed*/ true, /*delsp*/ false, /*keep_unquoted*/ false);
template <byte_inserter Out>
KELMIME_EXPORT Out format_deflow(char const* first, char const* last, Out out, bool flowed, bool delsp,
                                 bool keep_unquoted);

// Whether a text has a line of more than `width` + 6 bytes, where a space or ">" at its beginning counts twice. `delsp`
// always becomes false.
KELMIME_EXPORT bool should_format_flow(char const* first, char const* last, bool& delsp, std::size_t width);

// Appends the text as flowed lines of about `width` bytes (characters, with `count_characters`), and answers whether a
// line was broken. Lines are broken behind spaces. A longer word stays whole, up to the 998 bytes that a line of mail may
// have (RFC 5322, section 2.1.1); with `delsp` it is broken too, between characters, and the reader must be told "delsp=yes".
// With `keep_unquoted`, lines without quote markers stay as they are. Spaces at line ends are left out, but for those of
// signature separators and, with `keep_unquoted`, of a last line without line feed. The lines of a quote get a space
// behind their markers, and where these fill half of the width, more room. Text that begins with spaces and a ">" gets no
// space in front: `format_deflow` finds it unchanged, other readers take one of its spaces away.
//
// Reading the output with `format_deflow`, flowed and with the same flags, gives back every text that
//
//   1. has no spaces at its line ends, except in lines "-- " and "> -- ",
//   2. has a space between quote markers and text, and
//   3. has no word of more than 900 bytes, the quote markers before it included; a ">" never begins a word.
//
// That is the form in which `format_deflow` hands out text, but for a quote that flowed into nothing.
template <byte_inserter Out>
KELMIME_EXPORT bool format_flow(char const* first, char const* last, Out out, bool delsp, std::size_t width,
                                bool keep_unquoted, bool count_characters);

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out
    format_deflow(In first, In last, Out out, bool flowed, bool delsp, bool keep_unquoted) {
  return format_deflow(pointer_to(first), pointer_to(last), out, flowed, delsp, keep_unquoted);
}

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) bool format_flow(In first, In last, Out out, bool delsp, std::size_t width,
                                                          bool keep_unquoted, bool count_characters) {
  return format_flow(pointer_to(first), pointer_to(last), out, delsp, width, keep_unquoted, count_characters);
}

}  // namespace kel
