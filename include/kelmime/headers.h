// Header blocks: from bytes to pairs of name and value, and from a pair back to a line.
//
//    std::multimap<std::string, std::string> headers;
//    mime_errors_handler_t errors;
//    char const* const body = parse_headers(begin, end, headers, errors, "", [] { return std::string(); });
//
// Lines end with a line feed; a carriage return is white space, so whoever has CRLF text converts it first.
#pragma once

#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <kelmime/bytes.h>
#include <kelmime/export.h>
#include <kelmime/mime_errors_handler.h>

namespace kel {

// One header in message order.
struct header_pair_t {
  std::string name;   // lower-cased
  std::string value;  // unfolded, encoded words decoded, UTF-8

  header_pair_t(std::string header_name, std::string header_value)
      : name(std::move(header_name)), value(std::move(header_value)) {}

  bool operator==(header_pair_t const&) const = default;
};

// Reads a header block and returns the first byte of the body: just after the empty line that ends the block, or `end`.
//
// Names are lower-cased, values are unfolded, freed of encoded words (RFC 2047) and converted to UTF-8; a value that is
// then nothing but white space is not stored. In addresses, domains in ACE form become readable. The multimap keeps
// values of one name in message order; the vector keeps the order of all headers, and new ones are appended to either.
//
// `charset` is what raw 8-bit bytes are taken for, empty for "unknown"; `guess_charset` is asked for a charset name
// where such bytes must be read and nothing is known, and may be empty or return the empty name.
//
// Three headers of the library's own are stored besides, dates in the form "yyyy-MM-dd HH:mm:ss":
//   #date            the "Date" header in the sender's own zone, with the zone behind it
//   #date-sent       the same moment in UTC; without a readable "Date" the date of receipt
//   #date-received   UTC; the newest readable "Received" below the last "Return-Path". A message that has no
//                    "Return-Path" was never delivered and uses its "Date", unless the preference
//                    PwDisableReturnPathCheck is set
// They are made from this block alone: a "#date" that the container held before keeps no "Received" from being used.
//
// Nothing makes it fail. Deviations are recorded in `errors`, those of a header with "header" and its name as typed:
// lines that are no headers (they are skipped), headers whose names are reserved to the library (they begin with "#",
// or are "security-generation-detail"; they are skipped), whatever the decoding of values and dates finds, fields
// longer than `limits::header_field_bytes` (their first bytes are used) and fields after the first
// `limits::header_fields` (they are skipped; the end of the block is found all the same).
KELMIME_EXPORT char const* parse_headers(char const* begin, char const* end,
                                         std::multimap<std::string, std::string>& headers,
                                         mime_errors_handler_t& errors, std::string const& charset,
                                         std::function<std::string()> const& guess_charset);
KELMIME_EXPORT char const* parse_headers(char const* begin, char const* end, std::vector<header_pair_t>& headers,
                                         mime_errors_handler_t& errors, std::string const& charset,
                                         std::function<std::string()> const& guess_charset);

// Decodes one value to UTF-8 and appends it. Adjacent encoded words of one charset and encoding are joined before
// they are decoded, so that a character split between them is read whole; white space between encoded words is
// dropped (RFC 2047, section 6.2). Folding stays, see cleanup_header_body. Text that is no valid encoded word is kept
// as it stands.
//
// `charset` holds for the text before the first "=" and behind the last encoded word; to 8-bit bytes between them only
// the guess applies. A value with an escape character and without encoded words is converted whole, since it is
// probably raw ISO-2022-JP, where "=" is an ordinary byte of kanji.
KELMIME_EXPORT std::back_insert_iterator<std::string> decode_header_line(
    char const* begin, char const* end, std::back_insert_iterator<std::string> out, mime_errors_handler_t* errors,
    std::string const& charset, std::function<std::string()> const& guess_charset);

template <byte_iterator In>
std::back_insert_iterator<std::string> decode_header_line(In begin, In end, std::back_insert_iterator<std::string> out,
                                                          mime_errors_handler_t* errors, std::string const& charset,
                                                          std::function<std::string()> const& guess_charset) {
  return decode_header_line(pointer_to(begin), pointer_to(end), out, errors, charset, guess_charset);
}

// The text of one header line, "Message-ID: <a@b>", neither folded nor ended. The name gets its usual capitals. With
// `encode`, domains of "to", "cc", "bcc" and "from" take their ACE form, and nothing else changes there: 8-bit bytes of
// names stay. All other values become ASCII, see encode_single_words; a subject with 8-bit bytes is encoded as a whole
// if the preference PwEncodeFullSubjectLines is set.
// An empty name and one that begins with "#" end the process: the library's own headers must never reach output.
KELMIME_EXPORT std::string construct_header_line(std::string const& name, std::string const& value, bool encode);

}  // namespace kel
