// Signing and encrypting while a message is written.
//
// A draft is sealed each time, since recipients change. A received message is sealed again only when its protected content
// was edited; otherwise its signature or ciphertext is written as it came. What fails is told in
// "security-generation-detail", and never leaves the plaintext: a draft gets an empty signature or ciphertext, a received
// message keeps the one that it came with.
#include <kelmime/body.h>

#include <algorithm>
#include <iterator>

#include <kel/preferences.h>
#include <base/fatal.h>
#include <header/parameters.h>
#include <kelmime/openpgp.h>
#include <kelmime/smime.h>
#include <message/protected_content.h>
#include <security/gpg_arguments.h>
#include <security/shell_text.h>
#include <security/status_text.h>

namespace kel {

namespace {

constexpr char const* unknown_failure = "Signing or encryption failed for unknown reasons.";
constexpr char const* unknown_smime_failure = "S/MIME encryption failed for unknown reasons.";
constexpr char const* bcc_failure = "Bcc recipients are not currently supported for S/MIME encrypted messages.";

// An empty group, such as "undisclosed-recipients:;", is read as an address, too.
bool is_empty_group(std::string const& address) {
  return address.ends_with(';') && address.find('@') == address.npos;
}

std::vector<std::string> addresses(body_part_t& part, std::string const& header) {
  std::vector<std::string> found;
  part.get_header_bodies({ header, "split", "address" }, found);
  std::erase_if(found, is_empty_group);
  return found;
}

bool tells_failure(std::string const& line) {
  return line.starts_with("INCOMPLETE") || (line.starts_with("FAILURE ") && !line.starts_with("FAILURE gpg-exit"));
}

// Whether a run made what was asked for. Its status lines say so; its exit status, which "FAILURE gpg-exit" repeats, does
// not: GnuPG ends badly for trouble beside the work, too.
bool is_made(std::string const& level, std::string const& status) {
  auto const lines = lines_with_prefix(status, "[GNUPG:] ");
  if (std::ranges::any_of(lines, tells_failure))
    return false;
  bool const is_signed = has_line(lines, "SIG_CREATED ");
  bool const is_encrypted = has_line(lines, "END_ENCRYPTION");
  if (level == "sign")
    return is_signed;
  return is_encrypted && (level == "encrypt" || is_signed);
}

// The sender is a recipient by the bare address, which GnuPG takes for a piece of another one when no key with this one
// can encrypt. So the keys that the ciphertext names are held against those of this very address, with two more runs. What
// GnuPG does not tell raises no suspicion.
bool is_for_stranger(std::string const& ciphertext, std::string const& sender) {
  constexpr std::string_view hidden_key = "0000000000000000";
  std::optional<std::string> const name = shell_text("<" + sender + ">");
  std::string keys_of_sender, output, status;
  run_gpg("--list-only --decrypt", ciphertext, unset_string, output, status);
  std::vector<std::string> named = lines_with_prefix(status, "[GNUPG:] ENC_TO ");
  std::erase_if(named, [=](std::string const& line) { return line.starts_with(hidden_key); });
  if (named.empty() || !name)
    return false;
  run_gpg("--with-colons --list-keys -- \"" + *name + "\"", "", unset_string, keys_of_sender, status);
  return std::ranges::none_of(named, [&](std::string const& line) {
    std::string const key = line.substr(0, line.find(' '));
    return keys_of_sender.find(":" + key + ":") != keys_of_sender.npos;
  });
}

}  // namespace

// Null when there is nothing to seal: what is there may be written as it is. What was sealed once is sealed each time, since
// recipients change, and since it may have failed.
body_part_t* body_part_t::content_to_seal() {
  body_part_t* const content = has_body() ? protected_content(*this) : nullptr;
  if (!content)
    return nullptr;
  body_part_t const& holder = mime_type() == "multipart/encrypted" ? _subparts.back() : *this;
  return _needs_sealing || _seals_anew || !holder.are_subparts_untouched() ? content : nullptr;
}

// Why the last attempt to seal this part, or one below it, failed.
std::string body_part_t::generation_failure() {
  std::string failure = get_header("security-generation-detail", unset_string);
  for (auto child = _subparts.begin(); child != _subparts.end() && failure == unset_string; ++child)
    failure = child->generation_failure();
  return failure;
}

// The content as it is going to be protected, in a form that arrives as it is. The content itself stays as the application
// left it, with its layers open. What the limits keep us from reading again is taken as it stands.
std::vector<char> body_part_t::entity_of(body_part_t& content, bool for_signature) {
  std::vector<char> bytes;
  content.generate_rfc822(std::back_inserter(bytes));
  std::vector<char> copied = bytes;
  body_part_t entity;
  entity.init(copied);
  adopt(entity);
  if (!entity.make_safe(for_signature) || !entity.can_be_written())
    return bytes;
  bytes.clear();
  entity.generate_rfc822(std::back_inserter(bytes));
  return bytes;
}

// Signs or encrypts what asks for it. Answers what was signed, since exactly these bytes are to be written beside the
// signature; nothing for what is encrypted.
std::optional<std::vector<char>> body_part_t::seal() {
  body_part_t* const content = content_to_seal();
  if (!content)
    return std::nullopt;
  bool const is_signature = mime_type() == "multipart/signed";
  std::vector<char> entity = entity_of(*content, /*for_signature*/ is_signature);
  std::string output;
  std::string failure = content->generation_failure();
  if (failure == unset_string)
    failure = sealed(is_signature          ? "sign"
                     : _security_level_set ? "signAndEncrypt"
                                           : "encrypt",
                     { entity.data(), entity.size() }, output);
  store_header("security-generation-detail", failure.empty() ? unset_string : failure);
  body_part_t& leaf = is_multi_part() ? _subparts.back() : *this;
  if (failure.empty() || _needs_sealing)
    leaf.set_sealed_body(failure.empty() ? output : "", own_security_protocol() == "S/MIME" ? "base64" : unset_string);
  return is_signature ? std::optional(std::move(entity)) : std::nullopt;
}

// Why it failed; empty for success.
std::string body_part_t::sealed(std::string const& level, std::string_view entity, std::string& output) {
  std::string const protocol = own_security_protocol();
  if (protocol == "S/MIME")
    return sealed_with_smime(level, entity, output);
  return protocol == "OpenPGP" ? sealed_with_openpgp(level, entity, output) : unknown_failure;
}

std::string body_part_t::sealed_with_openpgp(std::string const& level, std::string_view entity, std::string& output) {
  body_part_t& message = message_root();
  gpg_people_t const people = { message.get_header("from.address", ""), addresses(message, "to"),
                                addresses(message, "cc"), addresses(message, "bcc") };
  auto const arguments = gpg_arguments(level, people, get_header("content-type.parameter.split.micalg", ""));
  std::string status;
  if (arguments)
    run_gpg(*arguments, entity, unset_string, output, status);
  if (!is_made(level, status))
    return status.empty() ? unknown_failure : status;
  if (level != "sign" && is_for_stranger(output, people.sender))
    return "GnuPG has no key of the sender " + in_one_line(people.sender) + " to encrypt to, and took another.\n";
  if (level == "sign")
    store_parameter("micalg", "pgp-" + gpg_hash_name(status));
  return {};
}

std::string body_part_t::sealed_with_smime(std::string const& level, std::string_view entity, std::string& output) {
  body_part_t& message = message_root();
  std::string const sender = message.get_header("from.address", "");
  bool const encrypts = level != "sign";
  std::vector<std::string> recipients;
  if (encrypts) {
    recipients = addresses(message, "to");
    std::ranges::copy(addresses(message, "cc"), std::back_inserter(recipients));
    if (!sender.empty())
      recipients.push_back(sender);
    auto const hidden = addresses(message, "bcc");
    if (!hidden.empty() && !preferences::boolean("PwBccEncryptionCheckDisabled"))
      return bcc_failure;
    if (!hidden.empty())
      warning("Bcc recipients are not supported for S/MIME encrypted messages\n");
    std::ranges::copy(hidden, std::back_inserter(recipients));
  }
  std::string status;
  if (!cms_encrypt(sender, recipients, level != "encrypt", encrypts, entity, output, status))
    return !status.empty() ? status : encrypts ? unknown_smime_failure : unknown_failure;
  if (level == "sign")
    store_parameter("micalg", cms_digest_name(output));
  else
    store_parameter("smime-type", "enveloped-data");  // what was received may have been signed only
  return {};
}

// Of Content-Type.
void body_part_t::store_parameter(std::string const& name, std::string const& value) {
  store_header("content-type", header::with_parameter(get_header("content-type", ""), name, value));
}

// The bytes become the body of this leaf; its headers stay, and the child that holds its content.
void body_part_t::set_sealed_body(std::string_view bytes, std::string const& encoding) {
  drop_raw_bytes();
  _source_body = {};
  _decoded_body = std::make_shared<std::vector<char> const>(bytes.begin(), bytes.end());
  store_header("content-transfer-encoding", encoding);
}

}  // namespace kel
