// Certificates of a test's own: made in a moment (P-256), with nobody behind them.
#pragma once

#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <openssl/cms.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

namespace kel::test {

// What is to stand in a certificate.
struct subject_t {
  std::vector<std::string> addresses = {};  // the bytes as they are
  long serial = 1;
  int first_day = -1;  // counted from today
  int last_day = 30;
  std::string usage = "digitalSignature,keyEncipherment,keyAgreement";
  std::string purpose = "emailProtection";
  bool is_authority = false;
  bool is_rsa = false;
};

// A certificate and its key.
struct credentials_t {
  std::shared_ptr<X509> certificate;
  std::shared_ptr<EVP_PKEY> key;

  std::string pem() const { return written([&](BIO* out) { PEM_write_bio_X509(out, certificate.get()); }); }
  std::string der() const { return written([&](BIO* out) { i2d_X509_bio(out, certificate.get()); }); }
  std::string key_pem(std::string const& passphrase = "") const {
    return written([&](BIO* out) {
      PEM_write_bio_PKCS8PrivateKey(out, key.get(), passphrase.empty() ? nullptr : EVP_aes_256_cbc(), passphrase.data(),
                                    static_cast<int>(passphrase.size()), nullptr, nullptr);
    });
  }
  std::string both() const { return pem() + key_pem(); }
  std::string pkcs12(std::string const& passphrase) const {
    return written([&](BIO* out) {
      PKCS12* const file = PKCS12_create(passphrase.c_str(), "test", key.get(), certificate.get(), nullptr, 0, 0, 1, 1, 0);
      i2d_PKCS12_bio(out, file);
      PKCS12_free(file);
    });
  }

  template <typename Write>
  static std::string written(Write const& write) {
    std::shared_ptr<BIO> const out(BIO_new(BIO_s_mem()), BIO_free);
    write(out.get());
    char* bytes = nullptr;
    long const size = BIO_get_mem_data(out.get(), &bytes);
    return std::string(bytes, static_cast<std::size_t>(size));
  }
};

inline void add_extension(X509* certificate, int kind, std::string const& value) {
  X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str());
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

inline void add_addresses(X509* certificate, std::vector<std::string> const& addresses) {
  GENERAL_NAMES* const names = sk_GENERAL_NAME_new_null();
  for (std::string const& address : addresses) {
    GENERAL_NAME* const name = GENERAL_NAME_new();
    ASN1_IA5STRING* const text = ASN1_IA5STRING_new();
    ASN1_STRING_set(text, address.data(), static_cast<int>(address.size()));
    GENERAL_NAME_set0_value(name, GEN_EMAIL, text);
    sk_GENERAL_NAME_push(names, name);
  }
  if (!addresses.empty())
    X509_add1_ext_i2d(certificate, NID_subject_alt_name, names, 0, 0);
  GENERAL_NAMES_free(names);
}

// Issued by itself without an issuer.
inline credentials_t issue(subject_t const& subject, credentials_t const* issuer = nullptr) {
  static int count = 0;
  credentials_t made;
  made.key.reset(subject.is_rsa ? EVP_RSA_gen(2048) : EVP_EC_gen("P-256"), EVP_PKEY_free);
  made.certificate.reset(X509_new(), X509_free);
  X509* const certificate = made.certificate.get();
  X509_set_version(certificate, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), subject.serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate), subject.first_day * 86400L);
  X509_gmtime_adj(X509_getm_notAfter(certificate), subject.last_day * 86400L);
  X509_set_pubkey(certificate, made.key.get());
  std::string const name = "Test " + std::to_string(++count);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8,
                             reinterpret_cast<unsigned char const*>(name.c_str()), -1, -1, 0);
  X509_set_issuer_name(certificate, X509_get_subject_name(issuer ? issuer->certificate.get() : certificate));
  add_extension(certificate, NID_basic_constraints, subject.is_authority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  add_extension(certificate, NID_key_usage, subject.is_authority ? "critical,keyCertSign" : "critical," + subject.usage);
  if (!subject.is_authority && !subject.purpose.empty())
    add_extension(certificate, NID_ext_key_usage, subject.purpose);
  add_addresses(certificate, subject.addresses);
  X509_sign(certificate, issuer ? issuer->key.get() : made.key.get(), EVP_sha256());
  return made;
}

// Signed data that carries its content.
inline std::string opaque_by(credentials_t const& signer, std::string const& content) {
  std::shared_ptr<BIO> const in(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())), BIO_free);
  std::shared_ptr<CMS_ContentInfo> const cms(CMS_sign(signer.certificate.get(), signer.key.get(), nullptr, in.get(), CMS_BINARY), CMS_ContentInfo_free);
  return credentials_t::written([&](BIO* out) { i2d_CMS_bio(out, cms.get()); });
}

}  // namespace kel::test
