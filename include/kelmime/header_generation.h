// Headers as they are written: one folded line for each value, whatever the value holds.
//
// CR, LF and NUL inside a value are written as spaces, so that no value can add a header line. Beyond what
// `construct_header_line` does:
//
//   1. display names of address headers that hold special characters are quoted, and encoded as a whole where they hold
//      8-bit bytes (RFC 2047, section 5); domains take their ACE form. The parsers here find the same names and addresses
//      in what is written as in the value; where they would not without its quotes, these are encoded with the name;
//   2. parameters of Content-Type and Content-Disposition whose value is not ASCII, or longer than a line, take the form of
//      RFC 2231, without a plain one beside it: some readers would take that instead;
//   3. a value of free text with a word that no line of 998 bytes can hold is encoded as a whole.
//
// What needs none of this stays as it is, byte for byte.
#pragma once

#include <string>

#include <kelmime/bytes.h>
#include <kelmime/export.h>

namespace kel {

// Appends "Name: value", folded, and a line feed. Nothing is written for an empty name, for one that begins with "#", for
// one that no header can have, or for "security-generation-detail". The line is ASCII, unless the preference
// PwSMTPUTF8Enabled is set: then the text stays UTF-8 (RFC 6532), but for what would be read as an encoded word. A name of
// more than 50 bytes is written, but `parse_headers` takes no such header.
template <byte_inserter Out>
KELMIME_EXPORT Out generate_rfc822_header(std::string const& name, std::string const& value, Out out);

// The same, with `encode` in the place of the preference.
template <byte_inserter Out>
KELMIME_EXPORT Out generate_rfc822_header(std::string const& name, std::string const& value, bool encode, Out out);

// A Message-ID without its angle brackets: the unique text, "@" and the domain of the From value. A domain that is no
// dot-atom (RFC 5322, section 3.2.3) is replaced by the library's own, with a warning.
KELMIME_EXPORT std::string create_message_id(std::string const& unique, std::string const& from);

// The value of X-Mailer: the application's name, version and revision. Empty while the application has not told them with
// `set_application_version`.
KELMIME_EXPORT std::string get_x_mailer_value();

}  // namespace kel
