// Splitting multipart bodies and decoding leaves: the functions behind `body_part_t::decode_body`, on plain ranges.
//
// A delimiter line (RFC 2046 section 5.1.1) begins with "--" and the boundary, byte for byte, optionally followed by
// "--" (the closing delimiter), then only spaces and tabs up to its line feed. The line feed before it belongs to it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <kelmime/bytes.h>
#include <kelmime/export.h>
#include <kelmime/mime_errors_handler.h>

namespace kel {

// The end of the content before the next delimiter line: the line feed before that line, or the line's own beginning
// when it is the first line and `at_line_start` says that `begin` may be one. `delimiter` includes the leading "--".
// `*next` receives the first byte after the delimiter line, `*is_closing` whether it was the closing one. Without a
// delimiter line both the result and `*next` are `end`, and a record is made. `errors` may be null.
KELMIME_EXPORT char const* find_boundary(char const* begin, char const* end, std::string const& delimiter,
                                         bool at_line_start, char const** next, bool* is_closing,
                                         mime_errors_handler_t* errors);

// The text before the first delimiter line (all of it when there is none); `unset_string` when it is only white space
// or the boundary is empty.
KELMIME_EXPORT std::string parse_preamble(char const* begin, char const* end, std::string const& boundary);

// The ranges of a multipart body: preamble, each body part, epilogue; so n + 2 for n parts. Empty for an empty body or
// boundary. With `first_only` three at the most: preamble, first part, everything behind its delimiter line. The ranges
// look into the caller's bytes.
KELMIME_EXPORT std::vector<range_t> parse_subparts(char const* begin, char const* end, std::string const& boundary,
                                                   bool first_only, mime_errors_handler_t* errors);

// Whether every byte is white space; true for no bytes.
KELMIME_EXPORT bool sequence_isspace(char const* begin, char const* end);

// Undoes a transfer encoding (RFC 2045 section 6) after checking that it is known and fits the type; what is wrong is
// recorded and decoded all the same. `type` and `subtype` become application/octet-stream where the body must not be
// looked into. `top_level` parts are not decoded where the standard forbids an encoding, nested ones are. Text and
// messages lose their CR bytes. `charset` is the declared one, lower-cased. `decoded` stays empty when the bytes are
// used as they stand.
KELMIME_EXPORT void decode(char const* first, char const* last, bool top_level, std::string& type, std::string& subtype,
                           std::string encoding, std::string const& disposition, std::string const& charset,
                           std::vector<char>& decoded, mime_errors_handler_t* errors);

// Turns a text body into UTF-8 in its reading form. The input is `decoded` when it holds anything, else the range; the
// result replaces `decoded`. `charset` receives the charset that was really used.
KELMIME_EXPORT void decode_text(char const* first, char const* last, std::vector<char>& decoded,
                                std::string const& subtype, bool flowed, bool delsp, std::string& charset,
                                std::function<std::string()> const& guesser, mime_errors_handler_t* errors);

// Removes the line breaks of flowed plain text (RFC 3676); text of any other subtype is copied.
KELMIME_EXPORT void decode_to_canonical_format(char const* first, char const* last, std::string const& subtype,
                                               bool flowed, bool delsp,
                                               std::back_insert_iterator<std::vector<char>> out,
                                               mime_errors_handler_t* errors);

}  // namespace kel
