// The receiving side: what is encrypted is decrypted, what is signed is verified, in place.
//
//    application/pkcs7-mime     the content becomes a child
//    multipart/encrypted        the content becomes a child of the second part, which holds the ciphertext
//    multipart/signed           stays as it is
//    text/plain with blocks     what was decrypted becomes a child, one for each block
//    TNEF                       the files become a child
//
// What the engines say is stored in "##security-details"; message_status.cc tells what it is worth. What was opened is
// looked into like everything else. The parts that held it keep their raw bytes, so that nothing decrypted is written.
#include <kelmime/body.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <set>

#include <codec/line_ends.h>
#include <kel/regexp.h>
#include <kel/text.h>
#include <kelmime/decoding.h>
#include <kelmime/openpgp.h>
#include <message/tree_budget.h>
#include <security/certificate_store.h>
#include <security/entity_lines.h>
#include <security/gpg.h>
#include <security/gpg_arguments.h>
#include <security/inline_blocks.h>
#include <security/protection_kind.h>
#include <security/signature_verdict.h>
#include <security/status_text.h>
#include <security/tnef.h>

namespace kel {

namespace {

using lines_t = std::vector<std::string>;
using moment_t = std::chrono::steady_clock;

constexpr std::size_t most_runs = 64;  // of external programs and of the S/MIME engine
constexpr std::size_t most_keys = 16;  // of one run, to be listed
constexpr std::size_t most_layers = 16;
constexpr std::chrono::minutes patience(15);       // for a whole message
constexpr std::size_t status_allowance = 1 << 20;  // bytes of talk beside the output
constexpr std::size_t expected_parts = 2;          // of what is signed or encrypted (RFC 1847)

constexpr char const* failure = "DECRYPTION_FAILED";
constexpr char const* nothing = "NODATA";
constexpr char const* too_much = "INCOMPLETE (there is too much to be opened in this message)";

// Whether the signature was made over these bytes, whatever its key is worth.
bool is_over_these_bytes(lines_t const& lines) {
  return has_line(lines, "VALIDSIG") && !has_line(lines, "BADSIG");
}

// Whoever asks later must not take silence, or what another program said, for an outcome.
void tell_failure(lines_t& lines) {
  if (!has_line(lines, failure) && !has_line(lines, "MISSING_COMMAND"))
    lines.push_back(failure);
}

// The digests that signatures were made with. VALIDSIG has ten fields, this is the eighth.
std::set<std::string> digests_in(lines_t const& lines) {
  constexpr std::size_t hash_algorithm = 8;
  std::set<std::string> digests;
  for (std::string const& line : lines) {
    lines_t const words = text::split(line, " ");
    if (words[0] == "VALIDSIG" && words.size() > hash_algorithm)
      digests.insert(gpg_hash_name(std::strtol(words[hash_algorithm].c_str(), nullptr, 10)));
  }
  return digests;
}

// Programs that read a message in one go believe what its header says of the digest.
void check_digest(body_part_t& part, lines_t const& lines) {
  constexpr std::string_view prefix = "pgp-";
  std::string const micalg = part.get_header_lowercased("content-type.parameter.split.micalg", "");
  std::string const stated = micalg.substr(micalg.starts_with(prefix) ? prefix.size() : 0);
  std::set<std::string> const digests = digests_in(lines);
  if (!digests.empty() && !digests.contains(stated))
    report(&part.errors(), "The signature was made with another digest than “micalg” says", micalg);
}

bool is_leaf(body_part_t& part) {
  return !part.is_multi_part() && !part.is_message();
}

// The second part of an OpenPGP message in MIME form (RFC 3156, section 4). Null in any other message, and where containers
// stand in place of the data.
body_part_t* ciphertext_of(body_part_t& encrypted) {
  std::string const protocol = encrypted.get_header_lowercased("content-type.parameter.split.protocol", "");
  if (protocol != "application/pgp-encrypted" || encrypted.num_subparts() < expected_parts)
    return nullptr;
  body_part_t& data = encrypted.subpart(1);
  return is_leaf(data) ? &data : nullptr;
}

// Whether text in this charset has ASCII where its bytes have it, and nowhere else.
bool keeps_ascii(std::string const& charset) {
  static regexp::pattern_t const pattern(
      R"(\A(us-ascii|utf-?8|iso-8859-[0-9]{1,2}|windows-(125[0-8]|874)|koi8-[ru]|euc-(jp|kr))\Z)");
  return bool(regexp::search(pattern, charset));
}

// Charset and flowing are stated outside of a block. Read as UTF-7, or without the blanks at the ends of its lines, it says
// other words than those that were signed.
bool shows_words_as_signed(body_part_t& text) {
  std::string const stated = text.get_header_lowercased("content-type.parameter.split.charset", "us-ascii");
  std::string const guessed = stated == "us-ascii" ? text.get_guessed_charset() : "";
  return keeps_ascii(stated) && (guessed.empty() || keeps_ascii(guessed)) &&
         text.get_header_lowercased("content-type.parameter.split.delsp", "") != "yes";
}

// Certificates that travel alone are neither signed nor encrypted.
bool holds_certificates_only(body_part_t& envelope) {
  return envelope.get_header_lowercased("content-type.parameter.split.smime-type", "") == "certs-only";
}

}  // namespace

// One walk over a message.
struct body_part_t::opening_t {
  void open(body_part_t& part);

private:
  void open_below(body_part_t& part);
  void open_signed(body_part_t& part);
  void open_encrypted(body_part_t& part);
  void open_envelope(body_part_t& part);
  void open_blocks(body_part_t& text);
  void open_tnef(body_part_t& part);

  void verify(body_part_t& part, body_part_t& content, body_part_t& signature);
  lines_t verified_with_openpgp(body_part_t& part, std::string_view text, std::string const& signature);
  lines_t verified_with_smime(body_part_t& part, std::string const& text, std::string_view signature);
  lines_t decrypted_with_openpgp(body_part_t& holder, std::string_view ciphertext, std::string const& header);
  lines_t run(body_part_t& part, std::string const& args, std::string_view input, std::string const& signature,
              std::string& output);
  void add_keys(lines_t& lines);

  bool take_runs(std::size_t count);
  command_limits_t limits_for(body_part_t const& part) const;
  static void mark_unexpected_shape(body_part_t& part);
  static bool adopt(body_part_t& holder, std::string_view content);
  static void store(body_part_t& part, lines_t const& lines);

  certificate_store_t _certificates;
  std::size_t _runs_left = most_runs;
  std::size_t _layers = 0;  // that the present part was in
  moment_t::time_point const _deadline = moment_t::now() + patience;
};

void decrypt_and_verify_signatures(body_part_t& message) {
  body_part_t::opening_t().open(message);
}

std::string get_from_address_for_verification(body_part_t& part) {
  std::vector<std::string> const senders = part.senders();
  return senders.size() == 1 ? senders.front() : unset_string;
}

// --- The walk ----------------------------------------------------------------------------------------------------

// A draft that is going to be sealed is nothing to open.
void body_part_t::opening_t::open(body_part_t& part) {
  if (!part.has_body() || part._is_headers_only || part._needs_sealing)
    return;
  if (!part._parent || part._parent->is_message())
    part.undecoded_senders();  // kept from now on, also when the raw bytes are not
  std::string const kind = part.mime_type();
  if (kind == "multipart/signed")
    return open_signed(part);
  if (kind == "multipart/encrypted")
    return open_encrypted(part);
  if (is_envelope(kind))
    open_envelope(part);
  else if (kind == "text/plain")
    open_blocks(part);
  else if (is_tnef(part))
    open_tnef(part);
  open_below(part);
}

// Children of a leaf were inside it.
void body_part_t::opening_t::open_below(body_part_t& part) {
  std::size_t const layer = is_leaf(part) ? 1 : 0;
  _layers += layer;
  for (body_part_t& child : part.subparts())
    open(child);
  _layers -= layer;
}

// The signature is no content, and a rogue part nothing to look into.
void body_part_t::opening_t::open_signed(body_part_t& part) {
  mark_unexpected_shape(part);
  if (part._subparts.empty())
    return;
  body_part_t& content = part._subparts.front();
  if (part._subparts.size() >= 2)
    verify(part, content, *std::next(part._subparts.begin()));
  open(content);
}

// Text beside the ciphertext is looked into only where nothing can be decrypted.
void body_part_t::opening_t::open_encrypted(body_part_t& part) {
  mark_unexpected_shape(part);
  body_part_t* const data = ciphertext_of(part);
  if (data) {
    if (data->_subparts.empty())
      store(part, decrypted_with_openpgp(*data, data->decoded_body(), ""));
    open_below(*data);
    return;
  }
  std::size_t left = expected_parts;
  for (body_part_t& child : part._subparts) {
    if (left-- == 0)
      return;
    open(child);
  }
}

void body_part_t::opening_t::open_envelope(body_part_t& part) {
  if (holds_certificates_only(part) || part.num_subparts() > 0)
    return;
  lines_t lines = { too_much };
  std::string output;
  if (take_runs(1)) {
    std::string status;
    cms_decrypt(get_from_address_for_verification(part), part.decoded_body(), unset_string, _certificates, output,
                status);
    lines = lines_with_prefix(status, "");
  }
  bool const has_content = !output.empty() || is_decrypted(lines);
  if (!has_content || !adopt(part, output))
    tell_failure(lines);
  store(part, lines);
}

// What was signed are the bytes after the transfer encoding: before charset and flowing are undone.
void body_part_t::opening_t::open_blocks(body_part_t& part) {
  if (!part._raw_begin || part.num_subparts() > 0)
    return;
  std::string_view const body = part.raw_body();
  std::string text;
  if (!mime_decode(body.begin(), body.end(), std::back_inserter(text), part.transfer_encoding(), nullptr,
                   /*binary*/ false))
    text = body;
  std::erase(text, '\r');
  inline_blocks_t const found = find_inline_blocks(text);
  if (found.blocks.empty())
    return;
  std::string const header = "Content-Type: " + in_one_line(part.get_header("content-type", "text/plain")) + "\n\n";
  lines_t lines;
  for (inline_block_t const& block : found.blocks) {
    lines_t const more = block.is_encrypted ? decrypted_with_openpgp(part, block.text, header)
                                            : verified_with_openpgp(part, block.text, unset_string);
    lines.insert(lines.end(), more.begin(), more.end());
  }
  part._has_text_around_blocks = !found.is_all || !shows_words_as_signed(part);
  store(part, lines);
}

void body_part_t::opening_t::open_tnef(body_part_t& part) {
  if (part.num_subparts() == 0 && take_runs(runs_per_tnef))
    unpack_tnef(part, limits_for(part));
}

// --- Signatures --------------------------------------------------------------------------------------------------

// Of content that was edited nothing is known. A text that stands for "no value" is no signature, and nothing to sign: it
// would have the engines look for both in one place.
void body_part_t::opening_t::verify(body_part_t& part, body_part_t& content, body_part_t& signature) {
  auto const engine = engine_of_signature(signature.mime_type());
  if (!engine || !content._raw_begin)
    return;
  std::string const text(content.raw_data());
  std::string const bytes(signature.decoded_body());
  bool const is_openpgp = *engine == signature_engine_t::openpgp;
  lines_t lines = { nothing };
  if (text != unset_string && bytes != unset_string)
    lines = is_openpgp ? verified_with_openpgp(part, text, bytes) : verified_with_smime(part, text, bytes);
  if (is_openpgp)
    check_digest(part, lines);
  store(part, lines);
}

// Most programs sign the CR LF form. GnuPG finds that by itself only for signatures of text.
lines_t body_part_t::opening_t::verified_with_openpgp(body_part_t& part, std::string_view text,
                                                      std::string const& signature) {
  std::string output;
  lines_t lines = run(part, "--verify", text, signature, output);
  if (signature != unset_string && has_line(lines, "BADSIG")) {
    lines_t const second = run(part, "--verify", with_crlf(text), signature, output);
    if (is_over_these_bytes(second))
      lines = second;
  }
  add_keys(lines);
  return lines;
}

lines_t body_part_t::opening_t::verified_with_smime(body_part_t& part, std::string const& text,
                                                    std::string_view signature) {
  if (!take_runs(1))
    return { too_much };
  std::string output, status;
  cms_decrypt(get_from_address_for_verification(part), signature, text, _certificates, output, status);
  return lines_with_prefix(status, "");
}

// --- Ciphertext --------------------------------------------------------------------------------------------------

// What comes out goes into a child of `holder`, behind the header that belongs to it.
lines_t body_part_t::opening_t::decrypted_with_openpgp(body_part_t& holder, std::string_view ciphertext,
                                                       std::string const& header) {
  std::string output;
  lines_t lines = run(holder, "--decrypt", ciphertext, unset_string, output);
  add_keys(lines);
  if (!is_decrypted(lines) || !adopt(holder, entity_with_lf(header + output)))
    tell_failure(lines);
  return lines;
}

// False when the tree may not hold that much more. The new child draws on what is left, as if it had come with the message.
bool body_part_t::opening_t::adopt(body_part_t& holder, std::string_view content) {
  if (holder._budget && !holder._budget->take_decoded(content.size())) {
    holder.report_spent();
    return false;
  }
  std::vector<char> entity(content.begin(), content.end());
  body_part_t& child = holder.add_body_part(entity);
  child.store_header("#date-received", unset_string);  // it is no message
  if (holder._budget)
    child._budget = holder._budget;
  return true;
}

// --- Runs --------------------------------------------------------------------------------------------------------

lines_t body_part_t::opening_t::run(body_part_t& part, std::string const& args, std::string_view input,
                                    std::string const& signature, std::string& output) {
  if (!take_runs(1))
    return { too_much };
  std::string status;
  run_gpg(args, input, signature, output, status, limits_for(part));
  return lines_with_prefix(status, "[GNUPG:] ");
}

void body_part_t::opening_t::add_keys(lines_t& lines) {
  _runs_left -= add_key_to_details(lines, std::min(most_keys, _runs_left));
}

bool body_part_t::opening_t::take_runs(std::size_t count) {
  if (_runs_left < count || _layers >= most_layers || moment_t::now() >= _deadline)
    return false;
  _runs_left -= count;
  return true;
}

// A run may take what is left for the message, of time and of decoded bytes.
command_limits_t body_part_t::opening_t::limits_for(body_part_t const& part) const {
  command_limits_t limits;
  auto const time_left = std::chrono::duration_cast<std::chrono::milliseconds>(_deadline - moment_t::now());
  limits.time = std::clamp(time_left, std::chrono::milliseconds(0), limits.time);
  if (part._budget)
    limits.captured_bytes = part._budget->decoded_bytes_left + status_allowance;
  return limits;
}

// --- Outcomes ----------------------------------------------------------------------------------------------------

void body_part_t::opening_t::mark_unexpected_shape(body_part_t& part) {
  std::size_t index = 0;
  for (body_part_t& child : part.subparts()) {
    if (index++ >= expected_parts)
      store(child, { "ROGUE_PART" });
  }
  if (index < expected_parts)
    store(part, { nothing });
}

// An engine that says nothing leaves an outcome, too. It is no change of the part.
void body_part_t::opening_t::store(body_part_t& part, lines_t const& lines) {
  part.store_header("##security-details", lines.empty() ? nothing : text::join(lines, "\n"));
}

}  // namespace kel
