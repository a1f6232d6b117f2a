// The shapes of protected messages: a draft takes the shape of its level at once, and what it says moves into a child.
//
//    multipart/signed              multipart/encrypted                 application/pkcs7-mime
//      the content                   application/pgp-encrypted           the content
//      the signature                 application/octet-stream
//                                      the content
//
// The children of the two leaves are no part of what is written: there stands the ciphertext, once it is made.
#include <kelmime/body.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include <kel/preferences.h>
#include <kelmime/header_generation.h>
#include <kelmime/reencode.h>
#include <base/fatal.h>
#include <codec/line_ends.h>
#include <codec/line_lengths.h>
#include <message/protected_content.h>
#include <security/part_ids.h>

namespace kel {

namespace {

constexpr char const* text_caches[] = { "#unquoted", "#quoted", "#unquoted#lc", "#quoted#lc" };

struct protocol_t {
  char const* mime_name;  // of the signature
  char const* signature_file;
  char const* signed_preamble;
};

protocol_t protocol_of(std::string const& word) {
  if (word == "S/MIME")
    return { "pkcs7-signature", "smime.p7s", "This is an S/MIME signed message (RFC 5652 and 5751).\n" };
  return { "pgp-signature", "signature.asc", "This is an OpenPGP/MIME signed message (RFC 3156 and 4880).\n" };
}

void require_known(std::string const& protocol) {
  if (protocol != "OpenPGP" && protocol != "S/MIME")
    fatal("Unknown security protocol '%s'\n", printable(protocol).c_str());
}

// Whether all layers that are in the way can go. With some of them gone, what is left would stand there less protected than
// it came.
bool can_remove_layers(body_part_t& part, std::function<bool(body_part_t&)> const& is_wanted) {
  for (body_part_t* layer = &part; is_protection(layer->mime_type()); layer = protected_content(*layer)) {
    bool const is_regular = is_regular_protection(*layer);
    if (is_wanted(*layer) && (is_regular || layer == &part))
      return true;
    if (!is_regular)
      return false;
  }
  return true;
}

// What a signature is announced to be made with; sealing corrects it.
std::string announced_digest(std::string const& protocol) {
  return protocol == "S/MIME" ? "sha1" : "pgp-" + preferences::string("PwOpenPGPHashFunction", "sha256");
}

bool is_safe(std::string_view body, bool for_signature) {
  return max_line_length(body.data(), body.data() + body.size()) <= longest_mail_line &&
         body.find_first_of(std::string_view("\r\0", 2)) == body.npos &&
         !(for_signature && has_blanks_at_line_ends(body));
}

}  // namespace

// --- What the structure says -------------------------------------------------------------------------------------

// The first child that is protected decides for a multipart that has no protection of its own.
std::string body_part_t::get_security_level() {
  std::string const kind = mime_type();
  if (kind == "multipart/signed")
    return "sign";
  if (is_encryption(kind))
    return _security_level_set ? "signAndEncrypt" : "encrypt";
  if (!is_multi_part())
    return "none";
  for (body_part_t& child : subparts()) {
    std::string level = child.get_security_level();
    if (level != "none")
      return level;
  }
  return "none";
}

std::string body_part_t::get_security_protocol() {
  std::string own = own_security_protocol();
  if (own != "Unknown")
    return own;
  if (!is_multi_part())
    return has_security_status() && !is_rogue_part() ? "OpenPGP (inlined)" : "Unknown";
  for (body_part_t& child : subparts()) {
    std::string protocol = child.get_security_protocol();
    if (protocol != "Unknown")
      return protocol;
  }
  return "Unknown";
}

// Of the part itself, without what stands in it.
std::string body_part_t::own_security_protocol() {
  std::string const kind = mime_type();
  if (kind == "multipart/signed" && num_subparts() >= 2) {
    std::string const signature = subpart(1).mime_type();
    if (signature == "application/pkcs7-signature" || signature == "application/x-pkcs7-signature")
      return "S/MIME";
    if (signature == "application/pgp-signature")
      return "OpenPGP";
  }
  if (kind == "multipart/encrypted" &&
      get_header_lowercased("content-type.parameter.split.protocol", "") == "application/pgp-encrypted")
    return "OpenPGP";
  return is_envelope(kind) ? "S/MIME" : "Unknown";
}

// --- Levels ------------------------------------------------------------------------------------------------------

// Goes by the part itself: a protected child is content like any other.
void body_part_t::set_security_level(std::string const& level, std::string const& protocol) {
  if (level != "none" && protocol == unset_string)
    fatal("Missing security protocol\n");
  bool const encrypts = level == "encrypt" || level == "signAndEncrypt";
  bool const signs = level == "sign" || level == "signAndEncrypt";
  if (!encrypts && !signs && level != "none")  // read as "none", a mistyped word would send in the clear
    fatal("Unknown security level '%s'\n", printable(level).c_str());
  auto const is_wanted = [&](body_part_t& part) {
    return (signs || encrypts) && is_encryption(part.mime_type()) == encrypts &&
           part.get_security_protocol() == protocol;
  };
  if (!can_remove_layers(*this, is_wanted))
    return;
  // What is uncovered may be another layer than it seemed, where it has several types.
  while (is_protection(mime_type()) && is_regular_protection(*this) && !is_wanted(*this)) {
    if (is_encryption(mime_type()))
      remove_encryption();
    else
      remove_signing();
  }
  if (is_protection(mime_type())) {
    if (encrypts && is_wanted(*this))
      keep_encryption(signs);
    return;
  }
  if (encrypts)
    encrypt(protocol, signs);
  else if (signs)
    sign(protocol);
  _security_level_set = signs;
}

// Encrypted content is signed too from now on, or no longer; what was signed in an S/MIME message is encrypted. What was not
// opened stays as it is.
void body_part_t::keep_encryption(bool signs) {
  bool const is_envelope_already =
      is_multi_part() || get_header_lowercased("content-type.parameter.split.smime-type", "") != "signed-data";
  if (!protected_content(*this) || (signs == _security_level_set && is_envelope_already))
    return;
  _seals_anew = true;
  _security_level_set = signs;
}

void body_part_t::sign(std::string const& protocol) {
  if (mime_type() == "multipart/signed")
    fatal("Trying to sign an already signed message\n");
  require_known(protocol);
  forget_outcome();
  body_part_t taken = take_content();
  auto const [mime_name, file, preamble_text] = protocol_of(protocol);
  std::string const preamble = preamble_text;
  set_body("multipart", "signed",
           "micalg=" + announced_digest(protocol) + "; protocol=\"application/" + std::string(mime_name) + "\"",
           preamble.data(), preamble.data() + preamble.size(), false);
  adopt_content(std::move(taken)).mark_to_be_signed(true);
  body_part_t& signature = insert_subpart(1, "application", mime_name, "name=" + std::string(file), "", "", false);
  signature.set_header("content-disposition", "attachment; filename=" + std::string(file));
  signature.set_header("content-description", protocol + " digital signature");
  _needs_sealing = true;
}

void body_part_t::encrypt(std::string const& protocol, bool signs) {
  std::string const kind = mime_type();
  if (is_encryption(kind))
    fatal("Trying to encrypt an already encrypted message (%s)\n", kind.c_str());
  require_known(protocol);
  forget_outcome();
  body_part_t taken = take_content();
  body_part_t* holder = this;
  if (protocol == "S/MIME") {
    set_body("application", "pkcs7-mime", "smime-type=enveloped-data; name=smime.p7m", "", "", false);
    set_header("content-description", "S/MIME encrypted data");
    set_header("content-disposition", "attachment; filename=smime.p7m");
  } else {
    std::string const preamble = "This is an OpenPGP/MIME encrypted message (RFC 3156 and 4880).\n";
    set_body("multipart", "encrypted", "protocol=\"application/pgp-encrypted\"", preamble.data(),
             preamble.data() + preamble.size(), false);
    std::string const version = "Version: 1\n";
    insert_subpart(0, "application", "pgp-encrypted", unset_string, version.data(), version.data() + version.size(),
                   false)
        .set_header("content-description", "OpenPGP control information");
    holder = &insert_subpart(1, "application", "octet-stream", "name=encrypted.asc", "", "", false);
    holder->set_header("content-disposition", "inline; filename=encrypted.asc");
    holder->set_header("content-description", "OpenPGP encrypted data");
  }
  holder->adopt_content(std::move(taken));
  _security_level_set = signs;
  _needs_sealing = true;
}

// Whether the bytes of this part would not do for it: they hold layers as they are sealed, which are open here.
bool body_part_t::holds_open_layer() {
  std::string const kind = mime_type();
  if (is_protection(kind) && has_body() && (!is_untouched() || (is_encryption(kind) && protected_content(*this))))
    return true;
  return std::ranges::any_of(_subparts, [](body_part_t& child) { return child.holds_open_layer(); });
}

// The content, in a part of its own that is going to be protected; this one is left without any.
body_part_t body_part_t::take_content() {
  body_part_t content;
  if (holds_open_layer()) {
    move_content_to(content);
  } else {
    settle_container();
    rewrite_guessed_text();
    std::vector<int> const ids = ids_below(*this);
    std::vector<char> entity;
    move_descriptive_headers_to(entity);
    generate_rfc822_body_with_headers(std::back_inserter(entity));
    content.init(entity);
    content.store_header("#date-received", unset_string);  // it is no message
    give_ids_below(content, ids);
  }
  if (is_text()) {
    for (char const* const cache : text_caches)
      set_header(cache, unset_string);
  }
  clear_subparts();
  set_header("content-disposition", unset_string);
  return content;
}

// What is said of the content, such as Content-Description, goes with it. The three that tell how to read it are written anyway.
void body_part_t::move_descriptive_headers_to(std::vector<char>& entity) {
  for (auto header = _headers.begin(); header != _headers.end();) {
    auto const& [name, value] = *header;
    bool const tells_reading =
        name == "content-type" || name == "content-transfer-encoding" || name == "content-disposition";
    bool const is_moved = name.starts_with("content-") && !tells_reading;
    if (is_moved)
      generate_rfc822_header(name, value, std::back_inserter(entity));
    header = is_moved ? _headers.erase(header) : std::next(header);
  }
  _description.clear();
}

void body_part_t::remove_signing() {
  if (mime_type() != "multipart/signed" || num_subparts() != 2)
    return;
  unwrap(_subparts.front());
}

void body_part_t::remove_encryption() {
  if (preferences::boolean("PwDebugDecodeBug"))
    std::fputs("remove_encryption:\n", stderr);
  std::string const kind = mime_type();
  if (is_envelope(kind) && num_subparts() == 1)
    unwrap(_subparts.front());
  else if (kind == "multipart/encrypted" && num_subparts() == 2 && _subparts.back().num_subparts() == 1)
    unwrap(_subparts.back()._subparts.front());
}

// The part becomes its content again. Of headers that stand several times, the first one counted where the content was read;
// the last one would win now.
void body_part_t::unwrap(body_part_t& content) {
  for (char const* const name : { "content-type", "content-transfer-encoding", "content-disposition" }) {
    if (content._headers.count(name) > 1)
      content.store_header(name, content._headers.lower_bound(name)->second);
  }
  std::vector<int> const ids = ids_below(content);
  replace_with_body_part(content);
  give_ids_below(*this, ids);
  mark_to_be_signed(false);
  set_header("#mime-preamble", unset_string);
}

// Of opening and of sealing: it was about what the part was.
void body_part_t::forget_outcome() {
  store_header("security-generation-detail", unset_string);
  store_header("##security-details", unset_string);
  _has_text_around_blocks = false;
}

bool body_part_t::is_rogue_part() const {
  auto const details = _headers.find("##security-details");
  return details != _headers.end() && details->second == "ROGUE_PART";
}

// --- Safe to sign ------------------------------------------------------------------------------------------------

void body_part_t::mark_to_be_signed(bool marked) {
  if (marked && make_safe(/*for_signature*/ true) && _parent)
    _parent->update_mime_encoding();
  set_to_be_signed(marked);
}

void body_part_t::set_to_be_signed(bool marked) {
  _to_be_signed = marked;
  for (body_part_t& child : _subparts)
    child.set_to_be_signed(marked);
}

// Re-encodes what may not arrive as it is: long lines, bytes that are no text, and for a signature blanks at line ends. Inside of what is protected
// itself nothing may change. Answers whether something did.
bool body_part_t::make_safe(bool for_signature) {
  if (is_protection(mime_type()))
    return false;
  if (is_multi_part() || is_message()) {
    bool is_changed = false;
    for (body_part_t& child : subparts())
      is_changed = child.make_safe(for_signature) || is_changed;
    if (is_changed && is_multi_part())
      label_container();
    return is_changed;
  }
  if (!_raw_begin || (is_safe(raw_body(), for_signature) && transfer_encoding() != "binary"))
    return false;
  set_header("content-transfer-encoding", is_text() ? "quoted-printable" : "base64");
  return true;
}

}  // namespace kel
