// Flowed text (RFC 3676), read into the form in which an application shows and edits it. Text is UTF-8 with bare line
// feeds; every input has a reading, and nothing is reported.
#pragma once

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

template <byte_iterator In, byte_inserter Out>
requires(!std::same_as<In, char const*>) Out
    format_deflow(In first, In last, Out out, bool flowed, bool delsp, bool keep_unquoted) {
  return format_deflow(pointer_to(first), pointer_to(last), out, flowed, delsp, keep_unquoted);
}

}  // namespace kel
