// What the outcomes in a message are worth, in one word.
//
// Status lines tell of some bytes; the word is about what the reader sees. So a good word ("trustedSignature",
// "validSignature", "decrypted") takes a shape in which these are the same: docs/security.md has the table.
//
// Each part is asked once. Its answer is put together from what protects it itself and from the answers of its children.
#include <kelmime/body.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include <kel/text.h>
#include <kelmime/bytes.h>
#include <kelmime/charset.h>
#include <kelmime/openpgp.h>
#include <security/inline_blocks.h>
#include <security/long_lines.h>
#include <security/protection_kind.h>
#include <security/sender_addresses.h>
#include <security/signature_verdict.h>
#include <security/status_text.h>

namespace kel {

namespace {

using lines_t = std::vector<std::string>;

constexpr char const* generation_failed = "generationFailed";
constexpr char const* rogue_parts = "rogueParts";
constexpr char const* complicated = "complicated";

// These are told of a message wherever they are found in it.
bool is_overriding(std::string_view word) {
  return word == generation_failed || word == rogue_parts;
}

// GnuPG passes over words around the armour, and a part of another type than application/octet-stream shows them. There even
// a comment in the armour is too much.
bool holds_ciphertext_alone(std::string_view data, std::string_view mime_type) {
  bool const is_shown = mime_type != "application/octet-stream";
  bool const is_binary = !data.empty() && byte_value(data.front()) >= 0x80;  // the tag of an OpenPGP packet
  if (is_binary)
    return !is_shown;
  std::string text(data);
  std::erase(text, '\r');
  inline_blocks_t const found = find_inline_blocks(text);
  return is_shown ? found.is_all : found.is_alone;
}

std::string details_of(body_part_t const& part) {
  lines_t texts;
  auto const [first, last] = part.headers().equal_range("##security-details");
  std::transform(first, last, std::back_inserter(texts), [](auto const& header) { return header.second; });
  return text::join(texts, "\n");
}

}  // namespace

// One word on a part, and what those above it need to know of it.
struct body_part_t::answer_t {
  std::string word = unset_string;  // unset where nothing is protected
  bool is_on_decrypted = false;     // what was encrypted
  bool is_untouched = false;        // the part and all below it are as they came

  bool exists() const { return word != unset_string; }

  static answer_t of(body_part_t& part);
  static answer_t of_protection(body_part_t& part, bool is_untouched_below);

private:
  static answer_t beside_each_other(std::vector<answer_t> const& siblings);
  static answer_t one_inside_the_other(answer_t const& outer, answer_t const& inner);
  static bool is_content(body_part_t& part, std::size_t index);
  static signature_engine_t engine_of(body_part_t& part);
  static std::string verdict_on(body_part_t& part, lines_t const& lines);
  static bool has_rogue_parts(body_part_t& part);
  static bool is_unopened(body_part_t& part);
  static bool is_regular(body_part_t& part, lines_t const& lines);
  static bool is_encrypted_alone(body_part_t& part);
  static bool holds_guessed_text(body_part_t& part);
  static bool is_guessed(body_part_t& text);
  static bool is_signed_alone(body_part_t& part, lines_t const& lines);
};

std::string body_part_t::get_security_status(bool whole_message) {
  if (has_body())
    decode_body();
  return whole_message ? answer_t::of(*this).word : answer_t::of_protection(*this, are_subparts_untouched()).word;
}

std::string body_part_t::get_security_details() {
  std::vector<body_part_t*> parts;
  filter_body_parts(parts, [](body_part_t& part) { return part.has_security_status(); });
  lines_t texts;
  for (body_part_t* const part : parts)
    texts.push_back(details_of(*part));
  return text::join(texts, "\n------\n");
}

// --- Senders -----------------------------------------------------------------------------------------------------

// An enclosed message is a message of its own.
body_part_t& body_part_t::message_root() {
  body_part_t* part = this;
  while (part->_parent && !part->_parent->is_message())
    part = part->_parent;
  return *part;
}

std::vector<std::string> const& body_part_t::undecoded_senders() {
  if (!_undecoded_senders && _raw_begin)
    _undecoded_senders = undecoded_sender_addresses(raw_headers());
  static std::vector<std::string> const nobody;
  return _undecoded_senders ? *_undecoded_senders : nobody;
}

// Who the message is from, where the field says the same with its encoded words and without them: what is shown is read
// with them.
std::vector<std::string> body_part_t::senders() {
  body_part_t& message = message_root();
  std::vector<std::string> shown;
  message.get_header_bodies({ "from", "split", "address" }, shown);
  return shown == message.undecoded_senders() ? shown : std::vector<std::string>();
}

// --- The whole message -------------------------------------------------------------------------------------------

body_part_t::answer_t body_part_t::answer_t::of(body_part_t& part) {
  if (part.has_body())
    part.decode_body();
  bool is_untouched_below = true;
  std::size_t index = 0;
  std::vector<answer_t> content;
  for (body_part_t& child : part._subparts) {
    answer_t answer = of(child);
    is_untouched_below = is_untouched_below && answer.is_untouched;
    if (is_content(part, index++) || answer.word == generation_failed)
      content.push_back(std::move(answer));
  }
  answer_t result = one_inside_the_other(of_protection(part, is_untouched_below), beside_each_other(content));
  result.is_untouched = part._raw_begin && is_untouched_below;
  return result;
}

// Neither the signature nor the control part nor a rogue part; and what protects an enclosed message says nothing of the one
// around it, unless it could not be made.
bool body_part_t::answer_t::is_content(body_part_t& part, std::size_t index) {
  std::string const kind = part.mime_type();
  if (kind == "multipart/signed")
    return index == 0;
  if (kind == "multipart/encrypted")
    return index == 1;
  return !part.is_message();
}

// A good word on one of several parts would be taken for one on all of them.
body_part_t::answer_t body_part_t::answer_t::beside_each_other(std::vector<answer_t> const& siblings) {
  std::vector<answer_t> found;
  std::ranges::copy_if(siblings, std::back_inserter(found), &answer_t::exists);
  auto const overriding =
      std::ranges::find_if(found, [](answer_t const& answer) { return is_overriding(answer.word); });
  if (overriding != found.end())
    return *overriding;
  if (found.empty())
    return {};
  bool const is_alone = siblings.size() == 1 || (found.size() == 1 && !is_good(found[0].word));
  return is_alone ? found[0] : answer_t{ complicated };
}

// A signature inside encryption is the usual way to have both. Anything else says too little: who signs what is encrypted
// need not know it.
body_part_t::answer_t body_part_t::answer_t::one_inside_the_other(answer_t const& outer, answer_t const& inner) {
  if (!inner.exists() || is_overriding(outer.word))
    return outer;
  if (!outer.exists() || is_overriding(inner.word))
    return inner;
  if (!is_good(outer.word))
    return outer;
  if (outer.word != "decrypted" || inner.is_on_decrypted)
    return { complicated };
  return { inner.word, /*is_on_decrypted*/ true };
}

// --- One part ----------------------------------------------------------------------------------------------------

body_part_t::answer_t body_part_t::answer_t::of_protection(body_part_t& part, bool is_untouched_below) {
  if (part.exists_header("security-generation-detail"))
    return { generation_failed };
  std::string const details = details_of(part);
  if (details == "ROGUE_PART" || has_rogue_parts(part))
    return { rogue_parts };
  if (!part.has_security_status())
    return {};
  lines_t const lines = lines_with_prefix(details, "");
  std::string word = verdict_on(part, lines);
  if ((is_good(word) || word == "unknown") && is_unopened(part))
    word = "decryptFailed";
  if (is_good(word) && !(is_untouched_below && !part._seals_anew && is_regular(part, lines)))
    word = complicated;
  if (is_good(word) && word != "decrypted" && holds_guessed_text(part))
    word = complicated;
  return { word, is_decrypted(lines) };
}

std::string body_part_t::answer_t::verdict_on(body_part_t& part, lines_t const& lines) {
  return signature_verdict(lines, has_line(lines, "GOODSIG") ? part.senders() : lines_t(), engine_of(part));
}

signature_engine_t body_part_t::answer_t::engine_of(body_part_t& part) {
  std::string const kind = part.mime_type();
  if (kind == "multipart/signed" && part._subparts.size() == 2)
    return engine_of_signature(part._subparts.back().mime_type()).value_or(signature_engine_t::openpgp);
  return is_envelope(kind) ? signature_engine_t::smime : signature_engine_t::openpgp;
}

// Whether the part was looked at, and more stands in it than belongs there.
bool body_part_t::answer_t::has_rogue_parts(body_part_t& part) {
  return part.is_sealed_multipart() && part._subparts.size() > 2 &&
         (part.has_security_status() || part._subparts.back().has_security_status());
}

// Whether nothing came out of a part that is encrypted by its type, whatever the lines say.
bool body_part_t::answer_t::is_unopened(body_part_t& part) {
  std::string const kind = part.mime_type();
  if (kind == "multipart/encrypted")
    return part._subparts.size() < 2 || part._subparts.back()._subparts.empty();
  return is_envelope(kind) && part._subparts.empty();
}

// Whether the part shows what is protected and nothing else.
bool body_part_t::answer_t::is_regular(body_part_t& part, lines_t const& lines) {
  std::string const kind = part.mime_type();
  if (is_envelope(kind))
    return part._subparts.size() == 1;
  if (!part.is_sealed_multipart())
    return part._source_body.begin && !part._has_text_around_blocks;
  if (part._subparts.size() != 2)
    return false;
  return kind == "multipart/encrypted" ? is_encrypted_alone(part) : is_signed_alone(part, lines);
}

bool body_part_t::answer_t::is_encrypted_alone(body_part_t& part) {
  body_part_t& data = part._subparts.back();
  return part._subparts.front().mime_type() == "application/pgp-encrypted" && data._subparts.size() == 1 &&
         holds_ciphertext_alone(data.decoded_body(), data.mime_type());
}

bool body_part_t::answer_t::holds_guessed_text(body_part_t& part) {
  return std::ranges::any_of(part._subparts,
                             [](body_part_t& child) { return is_guessed(child) || holds_guessed_text(child); });
}

// Whether a text is read in a charset that headers around the signed part suggest: nobody signed these.
bool body_part_t::answer_t::is_guessed(body_part_t& text) {
  return text._raw_begin && guess_charset(text._raw_begin, text._body_begin).empty() && text.is_read_by_guess();
}

bool body_part_t::answer_t::is_signed_alone(body_part_t& part, lines_t const& lines) {
  if (is_over_text(lines) && has_line_checked_in_part(part._subparts.front().raw_data()))
    return false;
  std::string const protocol = part.get_header_lowercased("content-type.parameter.split.protocol", "");
  return protocol.empty() || engine_of_signature(protocol) == engine_of_signature(part._subparts.back().mime_type());
}

}  // namespace kel
