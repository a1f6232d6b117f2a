// Certificates and private keys, as files hold them and as values.
//
//   1. PEM blocks may stand between any text, and each is read by itself: a broken one takes none behind it along. Of the
//      kinds of blocks certificates and private keys are taken, in whatever form the key is.
//   2. PKCS#12 is read in a context of its own that also knows the old ciphers (RC2, 3DES), which most programs still
//      write; nothing else may use them.
//   3. Callbacks of the application never run inside OpenSSL: a file that needs a passphrase is read once without one,
//      only to find that out.
#include <security/cms.h>

#include <security/openssl_values.h>

#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <set>

namespace kel::cms {

namespace {

using pkcs12_t = handle_t<PKCS12, PKCS12_free>;
using certificate_list_t = handle_t<STACK_OF(X509), [](STACK_OF(X509) * all) { sk_X509_pop_free(all, X509_free); }>;
using names_t = handle_t<GENERAL_NAMES, GENERAL_NAMES_free>;
using big_number_t = handle_t<BIGNUM, BN_free>;
using openssl_text_t = handle_t<char, [](char* text) { OPENSSL_free(text); }>;
using pkcs8_t = handle_t<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;

// The DER form that one of OpenSSL's i2d functions writes; empty when it cannot.
template <typename T>
std::string der_of(T const* value, int (*write)(T const*, unsigned char**)) {
  int const size = write(value, nullptr);
  if (size <= 0)
    return {};
  std::string der(static_cast<std::size_t>(size), '\0');
  auto* at = reinterpret_cast<unsigned char*>(der.data());
  write(value, &at);
  return der;
}

// --- What a certificate says -------------------------------------------------------------------------------------

// Addresses are taken as they stand, a NUL byte included: whoever compares them has to see it.
void read_addresses(X509* certificate, certificate_t& result) {
  std::set<std::string, std::less<>> seen;
  auto const add = [&](ASN1_STRING const* text) {
    std::string_view const address = view_of(text);
    if (address.empty() || seen.contains(address))
      return;
    result.has_more_addresses = seen.size() == most_addresses;
    if (!result.has_more_addresses)
      result.addresses.emplace_back(*seen.emplace(address).first);
  };
  auto* const extension = X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr);
  names_t const names(static_cast<GENERAL_NAMES*>(extension));
  for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
    GENERAL_NAME const* const name = sk_GENERAL_NAME_value(names.get(), i);
    if (name->type == GEN_EMAIL)
      add(name->d.rfc822Name);
  }
  X509_NAME const* const subject = X509_get_subject_name(certificate);
  for (int at = -1; (at = X509_NAME_get_index_by_NID(subject, NID_pkcs9_emailAddress, at)) >= 0;)
    add(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, at)));
}

std::string serial_of(X509* certificate) {
  big_number_t const number(ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr));
  openssl_text_t const text(number ? BN_bn2hex(number.get()) : nullptr);
  std::string const digits = text ? text.get() : "";
  return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
}

std::string text_of(X509_NAME const* name) {
  bio_t const out = collector();
  constexpr unsigned long in_utf8 = XN_FLAG_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
  return out && X509_NAME_print_ex(out.get(), name, 0, in_utf8) >= 0 ? collected(out) : std::string();
}

std::int64_t seconds_of(ASN1_TIME const* time) {
  std::tm fields{};
  return ASN1_TIME_to_tm(time, &fields) == 1 ? std::int64_t{ timegm(&fields) } : 0;
}

// --- Reading -----------------------------------------------------------------------------------------------------

void add_certificate(X509* certificate, file_content_t& content) {
  if (certificate)
    content.certificates.push_back(described(certificate));
}

void add_key(EVP_PKEY* key, file_content_t& content) {
  pkcs8_t const plain(key ? EVP_PKEY2PKCS8(key) : nullptr);
  if (plain)
    content.keys.push_back(
        std::make_shared<private_key_t>(der_of(plain.get(), i2d_PKCS8_PRIV_KEY_INFO), der_of(key, i2d_PUBKEY)));
}

constexpr std::string_view pem_begin = "-----BEGIN ";

using passphrase_source_t = std::function<std::optional<std::string>()>;

// What OpenSSL gets for an answer when it asks for a passphrase, and whether it asked.
struct answer_t {
  std::optional<std::string> passphrase;
  bool was_asked = false;
};

int give_answer(char* buffer, int size, int /*is_writing*/, void* data) {
  answer_t& answer = *static_cast<answer_t*>(data);
  answer.was_asked = true;
  if (!answer.passphrase || answer.passphrase->size() > static_cast<std::size_t>(size))
    return -1;
  std::memcpy(buffer, answer.passphrase->data(), answer.passphrase->size());
  return static_cast<int>(answer.passphrase->size());
}

key_t read_pem_key(std::string_view text, answer_t& answer) {
  bio_t const in = reader_of(text);
  return key_t(in ? PEM_read_bio_PrivateKey(in.get(), nullptr, give_answer, &answer) : nullptr);
}

x509_t read_pem_certificate(std::string_view text) {
  bio_t const in = reader_of(text);
  answer_t none;
  return x509_t(in ? PEM_read_bio_X509(in.get(), nullptr, give_answer, &none) : nullptr);
}

// One passphrase for all keys of a file.
class pem_reader_t {
public:
  pem_reader_t(passphrase_source_t const& ask, file_content_t& content) : _ask(ask), _content(content) {}

  // `block` begins with the first line of a block, and ends before that of the next one.
  void read(std::string_view block) {
    std::string_view name = block.substr(pem_begin.size());
    name = name.substr(0, name.find("-----"));
    if (name.ends_with("PRIVATE KEY"))
      read_key(block);
    else if (name.ends_with("CERTIFICATE"))
      read_certificate(block);
  }

private:
  void read_certificate(std::string_view block) {
    x509_t const certificate = read_pem_certificate(block);
    add_certificate(certificate.get(), _content);
    _content.has_broken_blocks |= !certificate;
  }

  // A key that nobody opens is not broken.
  void read_key(std::string_view block) {
    _answer.was_asked = false;
    key_t key = read_pem_key(block, _answer);
    if (!key && _answer.was_asked && !_was_told) {
      _was_told = true;
      if ((_answer.passphrase = _ask()))
        key = read_pem_key(block, _answer);
    }
    add_key(key.get(), _content);
    _content.has_broken_blocks |= !key && !_answer.was_asked;
  }

  passphrase_source_t const& _ask;
  file_content_t& _content;
  answer_t _answer;
  bool _was_told = false;
};

void read_pem(std::string_view text, passphrase_source_t const& ask, file_content_t& content) {
  pem_reader_t reader(ask, content);
  for (std::size_t at = text.find(pem_begin); at != text.npos;) {
    std::size_t const next = text.find(pem_begin, at + 1);
    reader.read(text.substr(at, next - at));
    at = next;
  }
}

// Lives as long as the process; the providers go with it.
OSSL_LIB_CTX* context_with_old_ciphers() {
  static OSSL_LIB_CTX* const context = [] {
    OSSL_LIB_CTX* const made = OSSL_LIB_CTX_new();
    OSSL_PROVIDER_load(made, "default");
    OSSL_PROVIDER_load(made, "legacy");
    return made;
  }();
  return context;
}

pkcs12_t parse_pkcs12(std::string_view bytes) {
  PKCS12* file = PKCS12_init_ex(NID_pkcs7_data, context_with_old_ciphers(), nullptr);
  auto const* at = reinterpret_cast<unsigned char const*>(bytes.data());
  return pkcs12_t(d2i_PKCS12(&file, &at, static_cast<long>(bytes.size())));
}

bool read_pkcs12(PKCS12* file, std::string const& passphrase, file_content_t& content) {
  EVP_PKEY* key = nullptr;
  X509* certificate = nullptr;
  STACK_OF(X509)* others = nullptr;
  if (!PKCS12_parse(file, passphrase.c_str(), &key, &certificate, &others))
    return false;
  key_t const key_owner(key);
  x509_t const certificate_owner(certificate);
  certificate_list_t const others_owner(others);
  add_certificate(certificate, content);
  for (int i = 0; i < sk_X509_num(others); ++i)
    add_certificate(sk_X509_value(others, i), content);
  add_key(key, content);
  return true;
}

// The empty passphrase also opens what has none.
void read_pkcs12(std::string_view bytes, passphrase_source_t const& ask, file_content_t& content) {
  pkcs12_t const file = parse_pkcs12(bytes);
  if (!file || read_pkcs12(file.get(), "", content))
    return;
  if (std::optional<std::string> const passphrase = ask())
    read_pkcs12(file.get(), *passphrase, content);
}

}  // namespace

certificate_t described(x509_st* certificate) {
  certificate_t result;
  result.der = der_of(certificate, i2d_X509);
  read_addresses(certificate, result);
  if (EVP_PKEY const* const key = X509_get0_pubkey(certificate))
    result.public_key = der_of(key, i2d_PUBKEY);
  result.serial = serial_of(certificate);
  result.subject = text_of(X509_get_subject_name(certificate));
  result.issuer = text_of(X509_get_issuer_name(certificate));
  result.not_before = seconds_of(X509_get0_notBefore(certificate));
  result.not_after = seconds_of(X509_get0_notAfter(certificate));
  std::uint32_t const usage = X509_get_key_usage(certificate);  // all bits where the certificate does not say
  result.may_sign = usage & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION);
  result.may_encrypt = usage & (KU_KEY_ENCIPHERMENT | KU_KEY_AGREEMENT);
  return result;
}

file_content_t read_certificates(std::string_view bytes, std::function<std::optional<std::string>()> const& ask) {
  error_scope_t const scope;
  file_content_t content;
  if (bytes.find(pem_begin) != bytes.npos) {
    read_pem(bytes, ask, content);
  } else if (x509_t const certificate = parse_certificate(bytes)) {
    add_certificate(certificate.get(), content);
  } else {
    read_pkcs12(bytes, ask, content);
  }
  return content;
}

}  // namespace kel::cms
