// Address lists, element by element; what needs nothing is copied.
//
// Encoded words must stand neither in quoted strings nor in addresses (RFC 2047, section 5), so that a display name is encoded
// as a whole and without its quotes. But our own readers look for addresses in the decoded value, where a name without quotes
// might be read as something else: "Müller, b@y" as two elements. So every new form is read again before it is used:
//
//   1. names as encoded words without quotes, or in quotes where they stay as they are;
//   2. names as encoded words with all their quotes;
//   3. the value with only its 8-bit words encoded, wherever they stand: no reader could get anything else than the value.
#include <header/written_addresses.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

#include <header/encoded_words.h>
#include <kel/ascii.h>
#include <kelmime/address.h>
#include <kelmime/idn_wrapper.h>

namespace kel {

namespace {

constexpr std::string_view blanks = " \t";

// What a name must not hold outside of quotes (RFC 5322, section 3.2.3).
constexpr std::string_view specials = "()<>[]:;@\\,.\"";

// --- What a reader finds ------------------------------------------------------------------------------------------------

struct reading_t {
  std::string name;
  std::string address;  // in ACE form

  bool operator==(reading_t const&) const = default;
};

reading_t reading_of(header::match_t element) {
  header::name_and_email_t const found = header::address_name_and_email_function(element.first, element.last);
  auto const& [first, last, is_quoted, is_special] = found.name;
  return { is_quoted ? header::dequote_string(first, last) : std::string(first, last),
           idn::header_domains_to_ascii({ found.email.first, found.email.last }) };
}

std::vector<reading_t> readings(std::string_view value) {
  std::vector<reading_t> all;
  char const* cursor = value.data();
  char const* const end = cursor + value.size();
  while (cursor != end) {
    header::match_t const element = header::address_split_function(cursor, end);
    if (!element.first)
      break;
    all.push_back(reading_of(element));
  }
  return all;
}

bool reads_the_same(std::string_view written, std::string_view value, bool encode) {
  return readings(needs_encoded_words(value, encode) ? decoded_words(written) : std::string(written)) ==
         readings(value);
}

// --- The pieces of an element -------------------------------------------------------------------------------------------

// Everything of an element in its order; each piece may be empty.
struct element_t {
  std::string_view group;   // its name
  std::string_view colon;   // with the blanks around it
  std::string_view phrase;  // the display name, if an angle address follows
  std::string_view rest;
};

std::string_view without_blanks_at_end(std::string_view text) {
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

// Behind the quoted string that begins at `at`, or the end.
std::size_t behind_quotes(std::string_view text, std::size_t at) {
  for (++at; at < text.size() && text[at] != '"'; ++at)
    at += text[at] == '\\' ? 1 : 0;
  return std::min(at + 1, text.size());
}

// The first byte of a set that stands outside of quoted strings, or `npos`.
std::size_t find_unquoted(std::string_view text, std::string_view set, std::size_t at = 0) {
  while (at < text.size() && set.find(text[at]) == set.npos)
    at = text[at] == '"' ? behind_quotes(text, at) : at + 1;
  return at < text.size() ? at : text.npos;
}

// Behind the last place where a group can end.
std::size_t end_of_groups(std::string_view value) {
  std::size_t end = 0;
  for (std::size_t at = 0; (at = find_unquoted(value, ";", at)) != value.npos;)
    end = ++at;
  return end;
}

// Where the angle address begins, or the start of an element without one.
std::size_t start_of_angle(std::string_view element) {
  char const* cursor = element.data();
  char const* const email = header::address_email_function(cursor, cursor + element.size()).first;
  if (!email)
    return 0;
  std::string_view const before = element.substr(0, static_cast<std::size_t>(email - element.data()));
  std::size_t const angle = before.find('<', before.find_last_not_of("< \t'") + 1);
  return angle == before.npos ? 0 : angle;
}

// `may_be_group` tells whether a ";" follows that can end a group.
element_t pieces_of(std::string_view text, bool may_be_group) {
  element_t element;
  std::size_t const colon = may_be_group ? find_unquoted(text, ":@<(") : text.npos;
  if (colon != text.npos && text[colon] == ':') {
    element.group = without_blanks_at_end(text.substr(0, colon));
    std::size_t const next = std::min(text.find_first_not_of(blanks, colon + 1), text.size());
    element.colon = text.substr(element.group.size(), next - element.group.size());
    text.remove_prefix(next);
  }
  element.phrase = without_blanks_at_end(text.substr(0, start_of_angle(text)));
  element.rest = text.substr(element.phrase.size());
  return element;
}

// --- Writing ------------------------------------------------------------------------------------------------------------

bool is_quoted_string(std::string_view phrase) {
  return phrase.size() > 1 && phrase.front() == '"' && phrase.back() == '"' &&
         behind_quotes(phrase, 0) == phrase.size();
}

// Quotes and comments are never put into quotes.
bool needs_quotes(std::string_view phrase) {
  return phrase.find_first_of(specials) != phrase.npos && phrase.find_first_of("\"(") == phrase.npos;
}

std::string encoded_between_specials(std::string_view text, bool encode) {
  return in_encoded_words_between(text, "()<>@,;:", encode);
}

std::string with_domains(std::string_view text, bool encode) {
  return encode ? idn::header_domains_to_ascii(text) : std::string(text);
}

class element_writer_t {
public:
  element_writer_t(std::string_view text, bool may_be_group, bool encode)
      : _text(text), _element(pieces_of(text, may_be_group)), _encode(encode) {}

  std::string written() const {
    if (!needs_encoded_words(_text, _encode) && !needs_quotes(_element.phrase) && !needs_quotes(_element.group))
      return std::string(_text);
    for (bool const keeps_quotes : { false, true }) {
      std::string form = with_names(keeps_quotes);
      if (reads_the_same(form + neighbour, std::string(_text) + neighbour, _encode))
        return form;
    }
    return in_single_encoded_words(with_domains(_text, _encode), _encode);
  }

private:
  // Shows where an element ends.
  static constexpr char const* neighbour = ", a@b";

  std::string with_names(bool keeps_quotes) const {
    std::string form = name(_element.group, keeps_quotes);
    form.append(_element.colon).append(name(_element.phrase, keeps_quotes));
    if (!needs_encoded_words(_element.rest, _encode))
      return form.append(separator()).append(_element.rest);
    return form.append(separator()).append(encoded_between_specials(with_domains(_element.rest, _encode), _encode));
  }

  // Encoded words stand apart (RFC 2047, section 5).
  std::string_view separator() const {
    return needs_encoded_words(_element.phrase, _encode) && _element.rest.starts_with('<') ? " " : "";
  }

  std::string name(std::string_view phrase, bool keeps_quotes) const {
    if (!needs_encoded_words(phrase, _encode))
      return needs_quotes(phrase) ? quote_email_name(phrase) : std::string(phrase);
    if (!keeps_quotes && is_quoted_string(phrase))
      return in_encoded_words(header::dequote_string(phrase.data() + 1, phrase.data() + phrase.size() - 1));
    if (!keeps_quotes && phrase.find('(') != phrase.npos && phrase.find('"') == phrase.npos)
      return encoded_between_specials(phrase, _encode);
    return in_encoded_words(phrase);
  }

  std::string_view _text;
  element_t _element;
  bool _encode;
};

// The elements one after the other, with what stands between them.
std::string written_elements(std::string_view value, bool encode) {
  std::string result;
  char const* cursor = value.data();
  char const* const groups_end = cursor + end_of_groups(value);
  char const* const end = cursor + value.size();
  char const* copied = cursor;
  while (cursor != end) {
    header::match_t const element = header::address_split_function(cursor, end);
    if (!element.first)
      break;
    result.append(copied, element.first);
    result += element_writer_t({ element.first, element.last }, element.first < groups_end, encode).written();
    copied = element.last;
  }
  std::string_view const rest(copied, end);
  return result += in_single_encoded_words(rest, encode);
}

}  // namespace

bool holds_addresses(std::string_view name) {
  // clang-format off
  constexpr std::string_view names[] = {
    "from", "sender", "reply-to", "to", "cc", "bcc", "apparently-to",
    "resent-from", "resent-sender", "resent-reply-to", "resent-to", "resent-cc", "resent-bcc",
    "original-from", "x-original-from", "errors-to", "abuse-reports-to", "return-receipt-to",
    "disposition-notification-to", "x-confirm-reading-to", "mail-followup-to", "mail-reply-to",
    "return-path", "delivered-to", "x-delivered-to", "x-original-to", "envelope-to",
  };
  // clang-format on
  return std::ranges::find(names, name) != std::end(names);
}

std::string written_addresses(std::string_view value, bool encode) {
  std::string result = written_elements(value, encode);
  if ((result == value && !needs_encoded_words(value, encode)) || reads_the_same(result, value, encode))
    return result;
  return in_single_encoded_words(with_domains(value, encode), encode);
}

}  // namespace kel
