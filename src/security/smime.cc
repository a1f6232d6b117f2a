// S/MIME: which certificates take part, and what the outcome is called.
//
//    sign               content in CR LF form -> detached signature
//    encrypt            content in CR LF form -> envelope, opened once with the sender's own key before it is handed out
//    sign and encrypt   content in CR LF form -> signed data -> entity of application/pkcs7-mime -> envelope
//
// Reading undoes one envelope and, behind it or alone, one layer of signed data. What is nested deeper is content, which
// whoever knows parts looks into, within his own bounds.
#include <kelmime/smime.h>

#include <algorithm>
#include <cstdio>

#include <kel/text.h>
#include <base/fatal.h>
#include <codec/line_ends.h>
#include <kelmime/decoding.h>
#include <kelmime/encoding.h>
#include <kelmime/openpgp.h>
#include <kelmime/quick_parse_headers.h>
#include <kelmime/unset.h>
#include <security/certificate_store.h>
#include <security/cms.h>
#include <security/debug_trace.h>
#include <security/entity_lines.h>
#include <security/status_text.h>

namespace kel {

namespace {

// --- Signed data within an envelope ------------------------------------------------------------------------------

std::string entity_of_signed_data(std::string const& signed_data) {
  std::string entity =
      "Content-Type: application/pkcs7-mime; smime-type=signed-data; name=smime.p7m\n"
      "Content-Transfer-Encoding: base64\n"
      "Content-Disposition: attachment; filename=smime.p7m\n"
      "\n";
  encode(signed_data.begin(), signed_data.end(), std::back_inserter(entity), "base64");
  return with_crlf(entity += '\n');
}

// Empty when the entity is anything else. A body that is not encoded is taken as it came: it is no text.
std::string signed_data_of_entity(std::string_view entity) {
  std::size_t const offset = body_offset(entity);
  std::string const header = with_lf(entity.substr(0, offset));
  char const* cursor = header.data();
  auto headers = quick_parse_headers(cursor, cursor + header.size(), { "content-type", "content-transfer-encoding" });
  if (headers["#type"] != "application" ||
      (headers["#subtype"] != "pkcs7-mime" && headers["#subtype"] != "x-pkcs7-mime"))
    return {};
  std::string const lines = with_lf(entity.substr(offset));
  std::string bytes, trouble;
  if (!mime_decode(lines.begin(), lines.end(), std::back_inserter(bytes), headers["#encoding"], nullptr,
                   /*binary*/ true))
    bytes = entity.substr(offset);
  return cms::kind_of(bytes, trouble) == cms::kind_t::signed_data ? bytes : std::string();
}

// --- Reading -----------------------------------------------------------------------------------------------------

// One message on its way to content and status lines.
class reading_t {
public:
  // `address` is what signers are held against, unset for nothing.
  reading_t(std::string const& address, certificate_store_t& store, std::string& output, std::string& status)
      : _address(address), _store(store), _output(output), _status(status) {}

  // An envelope is opened with these identities alone.
  void open_only_with(std::vector<certificate_t> identities) { _identities = std::move(identities); }

  // `detached` is the content of a signature, unset for a message that has its content in it.
  void read(std::string_view message, std::string const& detached);

  trust_result_t trust() const { return _trust; }

private:
  void read_parsed(std::string_view message, std::string const& detached);
  void read_content(std::string_view message, cms::kind_t kind);
  void open_envelope(std::string_view message);
  void verify_detached(std::string_view message, std::string const& content);
  bool verify_content(std::string_view message);
  std::optional<cms::signatures_t> verified(std::string_view message, std::vector<std::string_view> const& contents);
  void report(std::vector<cms::signer_t> const& signers);
  trust_result_t report_valid(cms::signer_t const& signer);
  std::string address_of(certificate_t const& certificate) const;
  bool was_issued_to_sender(certificate_t const& certificate);

  std::string const& _address;
  certificate_store_t& _store;
  std::string& _output;
  std::string& _status;
  std::optional<std::vector<certificate_t>> _identities;  // unset: all
  trust_result_t _trust = trust_result_t::invalid;
  debug_trace_t _trace;
};

void reading_t::read(std::string_view message, std::string const& detached) {
  _trace.line("S/MIME verify/decrypt");
  if (_address != unset_string)
    _trace.line(" Verify for address: " + _address);
  _trace.line(text::format(" Data (%zu)", message.size()));
  _trace.bytes("Input string", message);
  _output.clear();
  read_parsed(message, detached);
  _trace.bytes("Output string", _output);
  _trace.details(_status);
}

void reading_t::read_parsed(std::string_view message, std::string const& detached) {
  _trace.line(" CMSDecoderCreate");
  std::string trouble;
  cms::kind_t const kind = cms::kind_of(message, trouble);
  _status += trouble;
  if (kind == cms::kind_t::unreadable)
    return;
  _trace.line(" CMSDecoderUpdateMessage");
  if (detached == unset_string)
    read_content(message, kind);
  else
    verify_detached(message, detached);
}

void reading_t::read_content(std::string_view message, cms::kind_t kind) {
  switch (kind) {
    case cms::kind_t::envelope: return open_envelope(message);
    case cms::kind_t::signed_data: verify_content(message); return;
    case cms::kind_t::unreadable:
    case cms::kind_t::other: _status += "The message is neither encrypted nor signed.\n";
  }
}

void reading_t::open_envelope(std::string_view message) {
  std::string trouble;
  std::optional<cms::plaintext_t> const plaintext =
      cms::decrypt(message, _identities ? *_identities : own_identities(_store), trouble);
  if (!plaintext) {
    _status += trouble + "DECRYPTION_FAILED\n";
    return;
  }
  _trace.line(" CMSDecoderFinalizeMessage");
  _trace.line(" Looking for content");
  _status += "DECRYPTION_OKAY\n";
  std::string const signed_data =
      plaintext->is_signed_data ? cms::framed_signed_data(plaintext->bytes) : signed_data_of_entity(plaintext->bytes);
  if (signed_data.empty() || !verify_content(signed_data))
    _output = entity_with_lf(plaintext->bytes);
}

// False when there is nothing to show.
bool reading_t::verify_content(std::string_view message) {
  std::optional<cms::signatures_t> const signatures = verified(message, {});
  if (!signatures)
    return false;
  if (!signatures->content) {
    _status += "The content that was signed is missing.\n";
    return false;
  }
  _trace.line(" Looking for content");
  _output = entity_with_lf(*signatures->content);
  report(signatures->signers);
  return true;
}

// Who could put content into a signature could have one text verified and another one shown.
void reading_t::verify_detached(std::string_view message, std::string const& content) {
  std::string const in_crlf_form = with_crlf(content);
  std::vector<std::string_view> contents = { in_crlf_form };
  if (in_crlf_form != content)
    contents.push_back(content);
  std::optional<cms::signatures_t> const signatures = verified(message, contents);
  if (signatures && !signatures->content)
    return report(signatures->signers);
  warning("Failed to set detached content\n");
  if (signatures)
    _status += "The signature has content of its own.\n";
}

std::optional<cms::signatures_t> reading_t::verified(std::string_view message,
                                                     std::vector<std::string_view> const& contents) {
  std::string trouble;
  auto signatures = cms::verify(message, contents, { _store.authorities(), _store.certificates() }, trouble);
  _status += trouble;
  if (signatures)
    _trace.line(" CMSDecoderFinalizeMessage");
  return signatures;
}

// One bad signer is a reason to believe none.
void reading_t::report(std::vector<cms::signer_t> const& signers) {
  bool const all_are_valid = std::ranges::all_of(
      signers, [](cms::signer_t const& signer) { return signer.validity == cms::validity_t::valid; });
  if (signers.empty())
    _status += "The signature has no signer.\n";
  for (cms::signer_t const& signer : signers) {
    _trust = trust_result_t::invalid;
    switch (signer.validity) {
      case cms::validity_t::invalid: _status += "BADSIG <" + address_of(*signer.certificate) + ">\n"; break;
      case cms::validity_t::no_certificate: _status += "NO_PUBKEY\n"; break;
      case cms::validity_t::valid:
        if (all_are_valid)
          _trust = report_valid(signer);
    }
  }
}

trust_result_t reading_t::report_valid(cms::signer_t const& signer) {
  certificate_t const& certificate = *signer.certificate;
  if (certificate.has_more_addresses) {
    _status += "The certificate has more addresses than are read.\n";
    return trust_result_t::invalid;
  }
  if (std::ranges::any_of(certificate.addresses, has_control_bytes)) {
    _status += "An address of the certificate has control characters.\n";
    return trust_result_t::invalid;
  }
  _status += "GOODSIG <" + address_of(certificate) + ">\n";
  if (_address == unset_string)
    return trust_result_t::invalid;
  if (!was_issued_to_sender(certificate))
    return trust_result_t::recoverable_failure;
  if (!signer.is_trusted) {
    _status += "The certificate is not trusted: " + signer.distrust + ".\n";
    return trust_result_t::recoverable_failure;
  }
  _status += "TRUST_FULLY ...\n";
  bool const is_authority = std::ranges::any_of(
      _store.authorities(), [&](certificate_t const& authority) { return authority.der == certificate.der; });
  return is_authority ? trust_result_t::proceed : trust_result_t::unspecified;
}

bool reading_t::was_issued_to_sender(certificate_t const& certificate) {
  std::optional<signing_policy_t> const policy = SigningSecPolicyCreate(_address, smime_policy_oid, _status);
  if (!policy) {
    warning("Failed to setup verification of from address in certificate\n");
    return false;
  }
  bool const is_accepted = policy->accepts(certificate);
  if (!is_accepted)
    _status += "The certificate was not issued to " + policy->address + ".\n";
  return is_accepted;
}

// The sender's where the certificate has several.
std::string reading_t::address_of(certificate_t const& certificate) const {
  if (certificate.addresses.empty())
    return {};
  auto const senders = std::ranges::find(certificate.addresses, comparable_address(_address), comparable_address);
  return in_one_line(senders == certificate.addresses.end() ? certificate.addresses.front() : *senders);
}

// --- Writing -----------------------------------------------------------------------------------------------------

struct request_t {
  std::string const& address;
  std::vector<std::string> const& recipients;
  bool sign;
  bool encrypt;
};

// The sender's own key alone counts: another of the user's addresses among the recipients is no help on another machine.
bool can_be_read_by_sender(std::string const& envelope, request_t const& request, certificate_store_t& store,
                           std::string& status) {
  std::string output, details;
  reading_t reading(unset_string, store, output, details);
  reading.open_only_with(identities_of(request.address, store));
  reading.read(envelope, unset_string);
  if (has_line(lines_with_prefix(details, ""), "DECRYPTION_OKAY"))
    return true;
  status += details;
  debug_trace_t().line(" Unable to decrypt/verify the encrypted data.");
  return false;
}

bool collect_certificates(std::vector<std::string> const& recipients, certificate_store_t& store,
                          std::vector<certificate_t>& certificates, std::string& status) {
  for (std::string const& recipient : recipients) {
    std::optional<certificate_t> certificate = certificate_for(recipient, store, status);
    if (!certificate)
      return false;
    certificates.push_back(*std::move(certificate));
  }
  return true;
}

struct participants_t {
  std::optional<certificate_t> signer;
  std::vector<certificate_t> recipients;
};

bool find_participants(request_t const& request, certificate_store_t& store, participants_t& participants,
                       std::string& status) {
  if (request.sign && !(participants.signer = identity_for(request.address, store, status)))
    return false;
  if (request.encrypt && !collect_certificates(request.recipients, store, participants.recipients, status))
    return false;
  void const* const signer = participants.signer ? &*participants.signer : nullptr;
  void const* const recipients = participants.recipients.data();
  debug_trace_t().line(text::format(" Addresses found: %p, %p", signer, recipients));
  return true;
}

std::optional<std::string> protected_form(request_t const& request, std::string_view input, std::string& status) {
  certificate_store_t store;
  participants_t participants;
  if (!find_participants(request, store, participants, status))
    return std::nullopt;
  debug_trace_t().line(" CMSEncode");
  std::optional<std::string> result = with_crlf(input);
  std::string trouble;
  if (request.sign)
    result = cms::sign(*result, *participants.signer, store.identities(), /*is_detached*/ !request.encrypt, trouble);
  if (result && request.encrypt)
    result = cms::encrypt(request.sign ? entity_of_signed_data(*result) : *result, participants.recipients, trouble);
  status += trouble;
  if (result && request.encrypt && !can_be_read_by_sender(*result, request, store, status))
    result.reset();
  return result;
}

void trace_request(request_t const& request, std::string_view input) {
  debug_trace_t const trace;
  trace.line("S/MIME sign/encrypt");
  if (request.sign)
    trace.line(" Sign for address: " + request.address);
  if (request.encrypt) {
    for (std::string const& recipient : request.recipients)
      trace.line(" Encrypt for address: " + recipient);
  }
  trace.bytes("Input string", input);
}

}  // namespace

bool cms_encrypt(std::string const& address, std::vector<std::string> const& recipients, bool sign, bool encrypt,
                 std::string_view input, std::string& output, std::string& status) {
  request_t const request{ address, recipients, sign, encrypt };
  trace_request(request, input);
  std::optional<std::string> result;
  if (sign || encrypt)
    result = protected_form(request, input, status);
  else
    status += "Neither a signature nor encryption is asked for.\n";
  debug_trace_t const trace;
  trace.result(result.has_value());
  trace.details(status);
  if (!result)
    return false;
  output = *std::move(result);
  return true;
}

trust_result_t cms_decrypt(std::string const& address, std::string_view message, std::string const& detached,
                           certificate_store_t& store, std::string& output, std::string& status) {
  reading_t reading(address, store, output, status);
  reading.read(message, detached);
  return reading.trust();
}

trust_result_t cms_decrypt(std::string const& address, char const* data, std::size_t length,
                           std::string const& detached, std::string& output, std::string& status) {
  certificate_store_t store;
  return cms_decrypt(address, { data, length }, detached, store, output, status);
}

bool signing_policy_t::accepts(certificate_t const& certificate) const {
  return lists_address(certificate, address);
}

std::optional<signing_policy_t> SigningSecPolicyCreate(std::string const& address, std::string_view oid,
                                                       std::string& status) {
  std::size_t const at = address.rfind('@');
  bool const is_address = at != address.npos && at > 0 && at + 1 < address.size() && !has_control_bytes(address);
  if (is_address && oid == smime_policy_oid)
    return signing_policy_t{ address };
  status += "Failed to make a policy for " + in_one_line(address) + ".\n";
  return std::nullopt;
}

bool cms_get_signer(std::string_view message, std::string& signer) {
  std::string trouble;
  std::optional<cms::signatures_t> const signatures = cms::verify(message, {}, { {}, {} }, trouble);
  if (!signatures || signatures->signers.empty())
    return false;
  certificate_t const* const certificate = signatures->signers[0].certificate.get();
  if (!certificate || certificate->addresses.empty())
    return false;
  signer = in_one_line(certificate->addresses[0]);
  return true;
}

std::string cms_digest_name(std::string_view message) {
  std::string trouble;
  std::optional<cms::signatures_t> const signatures = cms::verify(message, {}, { {}, {} }, trouble);
  return signatures && !signatures->signers.empty() ? signatures->signers[0].digest : "";
}

}  // namespace kel
