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

// Whether a text has lines that are too long for `width` columns and need to be flowed: longer than `width` + 6 bytes after
// the breaks that flowing would make. `delsp` always becomes false.
KELMIME_EXPORT bool should_format_flow(char const* first, char const* last, bool& delsp, std::size_t width);

// Appends the text as flowed lines of about `width` bytes (of characters with `count_characters`), each ending with a space
// but the last one of its paragraph. The input is in the form that `format_deflow` gives, and deflowing the output gives it
// back. With `delsp` words are broken too, and the reader has to be told. With `keep_unquoted` lines without quote markers
// stay as they are. Answers whether a line was broken.
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
