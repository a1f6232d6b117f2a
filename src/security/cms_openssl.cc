// CMS messages (RFC 5652) on OpenSSL.
//
//   1. Content is signed, encrypted and verified as it stands (CMS_BINARY); the form of the line ends is chosen above, in
//      one way for all of it. OpenSSL's own conversion drops more than it should: a CR before the end of a line.
//   2. A signer is checked alone, over digests of our making. OpenSSL's reader computes every digest that a message
//      names, and a message may name hundreds of thousands.
//   3. OpenSSL does not compare the type of the content with the one that was signed (RFC 5652, section 11.1). Nor does it
//      see that a signature over attributes is, without them, one over a content that is these attributes. Both are
//      looked at here.
//   4. Plaintext is written before it is known to be right; it leaves only when decryption came to its end.
#include <security/cms.h>

#include <security/openssl_values.h>

#include <openssl/cms.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

namespace kel::cms {

namespace {

constexpr int most_pieces = 50'000;  // about 2000 recipients
constexpr int longest_chain = 10;
constexpr int least_security = 1;       // 80 bits: no MD5, no SHA-1 in certificates, no RSA below 1024
constexpr int least_digest_bytes = 20;  // SHA-1: old mail is signed so
constexpr unsigned as_it_stands = CMS_BINARY;

void release_certificates(STACK_OF(X509) * certificates) {
  sk_X509_pop_free(certificates, X509_free);
}

using message_t = handle_t<CMS_ContentInfo, CMS_ContentInfo_free>;
using certificate_list_t = handle_t<STACK_OF(X509), release_certificates>;
using store_t = handle_t<X509_STORE, X509_STORE_free>;
using store_context_t = handle_t<X509_STORE_CTX, X509_STORE_CTX_free>;

// Each certificate costs OpenSSL a third of a millisecond before anybody can count them, so the sequences and sets of a
// message are counted first. The elements of one follow its head: the walk is a walk over heads.
bool has_too_many_pieces(std::string_view bytes) {
  error_scope_t const scope;
  constexpr int is_constructed = 0x20, is_broken = 0x80;
  auto const* at = reinterpret_cast<unsigned char const*>(bytes.data());
  unsigned char const* const end = at + bytes.size();
  int pieces = 0;
  while (at < end && pieces <= most_pieces) {
    long size = 0;
    int tag = 0, tag_class = 0;
    int const kind = ASN1_get_object(&at, &size, &tag, &tag_class, end - at);
    if (kind & is_broken)
      break;
    if (kind & is_constructed)
      ++pieces;
    else
      at += size;
  }
  return pieces > most_pieces;
}

message_t parse(std::string_view bytes, std::string& trouble) {
  if (is_too_large(bytes) || has_too_many_pieces(bytes)) {
    trouble = "The message is made of more than is read.\n";
    return nullptr;
  }
  auto const* at = reinterpret_cast<unsigned char const*>(bytes.data());
  message_t message(d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(bytes.size())));
  if (!message)
    trouble = trouble_of_scope();
  return message;
}

std::optional<std::string> der_of(CMS_ContentInfo* message, std::string& trouble) {
  bio_t const out = collector();
  if (message && out && i2d_CMS_bio(out.get(), message) == 1)
    return collected(out);
  trouble = trouble_of_scope();
  return std::nullopt;
}

void push(STACK_OF(X509) * list, x509_t certificate) {
  if (certificate && sk_X509_push(list, certificate.get()) > 0)
    static_cast<void>(certificate.release());
}

certificate_list_t list_of(std::span<certificate_t const> certificates) {
  certificate_list_t list(sk_X509_new_null());
  for (certificate_t const& certificate : certificates)
    push(list.get(), parse_certificate(certificate.der));
  return list;
}

// The certificates above a signer, as far as they are known, without the self-signed one at the top.
certificate_list_t issuers_of(X509* signer, std::span<certificate_t const> others) {
  certificate_list_t const known = list_of(others);
  certificate_list_t chain(sk_X509_new_null());
  X509* at = signer;
  for (int i = 0; i < sk_X509_num(known.get()); ++i) {
    X509* const candidate = sk_X509_value(known.get(), i);
    if (X509_check_issued(candidate, at) != X509_V_OK || X509_check_issued(candidate, candidate) == X509_V_OK)
      continue;
    push(chain.get(), x509_t(sk_X509_delete(known.get(), i)));
    at = candidate;
    i = -1;
  }
  return chain;
}

// --- Signers -----------------------------------------------------------------------------------------------------

int digest_of(CMS_SignerInfo* signer) {
  X509_ALGOR* algorithm = nullptr;
  CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &algorithm, nullptr);
  ASN1_OBJECT const* object = nullptr;
  X509_ALGOR_get0(&object, nullptr, nullptr, algorithm);
  return OBJ_obj2nid(object);
}

std::string name_of_digest(int digest) {
  switch (digest) {
    case NID_md5: return "md5";
    case NID_sha1: return "sha-1";
    case NID_sha224: return "sha-224";
    case NID_sha256: return "sha-256";
    case NID_sha384: return "sha-384";
    case NID_sha512: return "sha-512";
    default: return {};
  }
}

X509* certificate_of(CMS_SignerInfo* signer) {
  X509* certificate = nullptr;
  CMS_SignerInfo_get0_algs(signer, nullptr, &certificate, nullptr, nullptr);
  return certificate;
}

// A reader of the content that computes the one digest on the way.
bio_t digested(std::string_view content, EVP_MD const* digest) {
  bio_t source = reader_of(content);
  bio_t filter(source ? BIO_new(BIO_f_md()) : nullptr);
  if (!filter || BIO_set_md(filter.get(), digest) <= 0)
    return nullptr;
  BIO_push(filter.get(), source.release());
  std::array<char, 16 << 10> block;
  while (BIO_read(filter.get(), block.data(), static_cast<int>(block.size())) > 0) {
  }
  return filter;
}

bool covers(CMS_SignerInfo* signer, std::string_view content) {
  EVP_MD const* const digest = EVP_get_digestbynid(digest_of(signer));
  if (!digest || EVP_MD_get_size(digest) < least_digest_bytes)
    return false;
  bio_t const reader = digested(content, digest);
  return reader && CMS_SignerInfo_verify_content(signer, reader.get()) == 1;
}

bool signs_type(CMS_SignerInfo* signer, ASN1_OBJECT const* type) {
  constexpr int the_only_one = -3;
  auto const* const signed_type = static_cast<ASN1_OBJECT const*>(
      CMS_signed_get0_data_by_OBJ(signer, OBJ_nid2obj(NID_pkcs9_contentType), the_only_one, V_ASN1_OBJECT));
  return signed_type && OBJ_cmp(signed_type, type) == 0;
}

// A SET of attributes, the digest of a message among them: no mail begins like that.
bool looks_like_attributes(std::string_view content) {
  constexpr std::string_view message_digest("\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x09\x04", 11);
  return content.starts_with('1') && content.find(message_digest) != content.npos;
}

// Only mail itself may be signed without attributes (RFC 5652, section 5.3).
bool is_valid(CMS_SignerInfo* signer, ASN1_OBJECT const* type, std::vector<std::string_view> const& contents) {
  bool const has_attributes = CMS_signed_get_attr_count(signer) > 0;
  if (has_attributes && (!signs_type(signer, type) || CMS_SignerInfo_verify(signer) != 1))
    return false;
  if (!has_attributes && OBJ_obj2nid(type) != NID_pkcs7_data)
    return false;
  return std::any_of(contents.begin(), contents.end(), [&](std::string_view content) {
    return (has_attributes || !looks_like_attributes(content)) && covers(signer, content);
  });
}

// --- Trust -------------------------------------------------------------------------------------------------------

store_t store_of(std::span<certificate_t const> authorities) {
  store_t store(X509_STORE_new());
  for (certificate_t const& authority : authorities) {
    if (x509_t const certificate = parse_certificate(authority.der))
      X509_STORE_add_cert(store.get(), certificate.get());
  }
  return store;
}

// Why the certificate is not trusted to sign mail today; empty when it is.
std::string distrust_in(X509* certificate, X509_STORE* store, STACK_OF(X509) * others) {
  store_context_t const context(X509_STORE_CTX_new());
  if (!context || X509_STORE_CTX_init(context.get(), store, certificate, others) != 1 ||
      X509_STORE_CTX_set_default(context.get(), "smime_sign") != 1)
    return "out of memory";
  X509_VERIFY_PARAM* const rules = X509_STORE_CTX_get0_param(context.get());
  X509_VERIFY_PARAM_set_depth(rules, longest_chain);
  X509_VERIFY_PARAM_set_auth_level(rules, least_security);
  X509_VERIFY_PARAM_set_flags(rules, X509_V_FLAG_PARTIAL_CHAIN);
  if (X509_verify_cert(context.get()) == 1)
    return {};
  return X509_verify_cert_error_string(X509_STORE_CTX_get_error(context.get()));
}

certificate_list_t certificates_around(CMS_ContentInfo* message, std::span<certificate_t const> others) {
  certificate_list_t list(CMS_get1_certs(message));
  if (!list)
    list.reset(sk_X509_new_null());
  for (certificate_t const& other : others)
    push(list.get(), parse_certificate(other.der));
  return list;
}

// Many signers may have one certificate, and that may be large: it is described once.
using descriptions_t = std::map<X509*, std::shared_ptr<certificate_t const>>;

signer_t checked(CMS_SignerInfo* signer, ASN1_OBJECT const* type, std::vector<std::string_view> const& contents,
                 X509_STORE* store, STACK_OF(X509) * others, descriptions_t& descriptions) {
  signer_t result;
  result.digest = name_of_digest(digest_of(signer));
  X509* const certificate = certificate_of(signer);
  if (!certificate) {
    result.validity = validity_t::no_certificate;
    return result;
  }
  std::shared_ptr<certificate_t const>& description = descriptions[certificate];
  if (!description)
    description = std::make_shared<certificate_t const>(described(certificate));
  result.certificate = description;
  if (is_valid(signer, type, contents)) {
    result.validity = validity_t::valid;
    result.distrust = distrust_in(certificate, store, others);
    result.is_trusted = result.distrust.empty();
  }
  return result;
}

bool has_too_much(CMS_ContentInfo* message) {
  certificate_list_t const carried(CMS_get1_certs(message));
  return sk_CMS_SignerInfo_num(CMS_get0_SignerInfos(message)) > most_signers ||
         sk_X509_num(carried.get()) > most_certificates;
}

// --- Envelopes ---------------------------------------------------------------------------------------------------

bool is_type(CMS_ContentInfo* message, int wanted) {
  return OBJ_obj2nid(CMS_get0_type(message)) == wanted;
}

bool is_envelope(CMS_ContentInfo* message) {
  return is_type(message, NID_pkcs7_enveloped) || is_type(message, NID_id_smime_ct_authEnvelopedData);
}

// OpenSSL reports success for any key of a matching certificate, so that nobody can probe for padding; a wrong key shows
// when the content is decrypted.
bool take_key(CMS_ContentInfo* message, certificate_t const& identity) {
  if (!identity.private_key)
    return false;
  x509_t const certificate = parse_certificate(identity.der);
  key_t const key = parse_key(*identity.private_key);
  return certificate && key && CMS_decrypt_set1_pkey(message, key.get(), certificate.get()) == 1;
}

}  // namespace

kind_t kind_of(std::string_view message, std::string& trouble) {
  error_scope_t const scope;
  message_t const cms = parse(message, trouble);
  if (!cms)
    return kind_t::unreadable;
  if (is_envelope(cms.get()))
    return kind_t::envelope;
  return is_type(cms.get(), NID_pkcs7_signed) ? kind_t::signed_data : kind_t::other;
}

// Attributes that are not needed are left out, capabilities too.
std::optional<std::string> sign(std::string_view content, certificate_t const& signer,
                                std::span<certificate_t const> others, bool is_detached, std::string& trouble) {
  error_scope_t const scope;
  bio_t const in = reader_of(content);
  x509_t const certificate = parse_certificate(signer.der);
  key_t const key = signer.private_key ? parse_key(*signer.private_key) : nullptr;
  message_t message;
  if (in && certificate && key) {
    certificate_list_t const chain = issuers_of(certificate.get(), others);
    unsigned const flags = as_it_stands | (is_detached ? CMS_DETACHED : 0);
    message.reset(CMS_sign(nullptr, nullptr, chain.get(), nullptr, flags | CMS_PARTIAL));
    if (!message || !CMS_add1_signer(message.get(), certificate.get(), key.get(), EVP_sha256(), CMS_NOSMIMECAP) ||
        CMS_final(message.get(), in.get(), nullptr, flags) != 1)
      message.reset();
  }
  return der_of(message.get(), trouble);
}

std::optional<std::string> encrypt(std::string_view content, std::span<certificate_t const> recipients,
                                   std::string& trouble) {
  error_scope_t const scope;
  std::set<std::string_view> used;
  bio_t const in = reader_of(content);
  message_t message(in ? CMS_encrypt(nullptr, in.get(), EVP_aes_256_cbc(), as_it_stands | CMS_PARTIAL) : nullptr);
  for (certificate_t const& recipient : recipients) {
    if (!message || !used.insert(recipient.der).second)
      continue;
    x509_t const certificate = parse_certificate(recipient.der);
    if (!certificate || !CMS_add1_recipient_cert(message.get(), certificate.get(), 0))
      message.reset();
  }
  if (message && CMS_final(message.get(), in.get(), nullptr, as_it_stands) != 1)
    message.reset();
  return der_of(message.get(), trouble);
}

std::optional<plaintext_t> decrypt(std::string_view message, std::span<certificate_t const> identities,
                                   std::string& trouble) {
  error_scope_t const scope;
  message_t const cms = parse(message, trouble);
  if (!cms)
    return std::nullopt;
  bool const has_key = is_envelope(cms.get()) &&
                       std::any_of(identities.begin(), identities.end(),
                                   [&](certificate_t const& identity) { return take_key(cms.get(), identity); });
  bio_t const out = collector();
  if (has_key && out && CMS_decrypt(cms.get(), nullptr, nullptr, nullptr, out.get(), as_it_stands) == 1)
    return plaintext_t{ collected(out), OBJ_obj2nid(CMS_get0_eContentType(cms.get())) == NID_pkcs7_signed };
  trouble = has_key ? trouble_of_scope() : "The message is encrypted to none of the private keys.\n";
  return std::nullopt;
}

std::string framed_signed_data(std::string_view signed_data) {
  std::string trouble;
  if (kind_of(signed_data, trouble) == kind_t::signed_data || is_too_large(signed_data))
    return std::string(signed_data);
  int const size = static_cast<int>(signed_data.size());
  ASN1_OBJECT const* const type = OBJ_nid2obj(NID_pkcs7_signed);
  int const inside = i2d_ASN1_OBJECT(type, nullptr) + ASN1_object_size(/*constructed*/ 1, size, 0);
  std::string message(static_cast<std::size_t>(ASN1_object_size(1, inside, V_ASN1_SEQUENCE) - size), '\0');
  auto* at = reinterpret_cast<unsigned char*>(message.data());
  ASN1_put_object(&at, 1, inside, V_ASN1_SEQUENCE, V_ASN1_UNIVERSAL);
  i2d_ASN1_OBJECT(type, &at);
  ASN1_put_object(&at, 1, size, 0, V_ASN1_CONTEXT_SPECIFIC);
  return message.append(signed_data);
}

std::optional<signatures_t> verify(std::string_view message, std::vector<std::string_view> const& contents,
                                   certificates_t const& known, std::string& trouble) {
  error_scope_t const scope;
  message_t const cms = parse(message, trouble);
  if (!cms)
    return std::nullopt;
  if (!is_type(cms.get(), NID_pkcs7_signed))
    trouble = "The message is no signed data.\n";
  else if (has_too_much(cms.get()))
    trouble = "The message has more signers or certificates than are read.\n";
  if (!trouble.empty())
    return std::nullopt;
  signatures_t result;
  ASN1_OCTET_STRING** const content = CMS_get0_content(cms.get());
  if (content && *content)
    result.content.emplace(view_of(*content));
  std::vector<std::string_view> candidates = contents;
  if (contents.empty() && result.content)
    candidates.push_back(*result.content);
  certificate_list_t const others = certificates_around(cms.get(), known.others);
  CMS_set1_signers_certs(cms.get(), others.get(), 0);
  store_t const store = store_of(known.authorities);
  descriptions_t descriptions;
  STACK_OF(CMS_SignerInfo)* const signers = CMS_get0_SignerInfos(cms.get());
  for (int i = 0; i < sk_CMS_SignerInfo_num(signers); ++i)
    result.signers.push_back(checked(sk_CMS_SignerInfo_value(signers, i), CMS_get0_eContentType(cms.get()), candidates,
                                     store.get(), others.get(), descriptions));
  return result;
}

}  // namespace kel::cms
