#include <security/openssl_values.h>

#include <security/cms.h>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include <climits>

#include <kelmime/openpgp.h>

namespace kel {

private_key_t::~private_key_t() {
  OPENSSL_cleanse(_der.data(), _der.size());
}

namespace cms {

void release_bio(bio_st* bio) {
  BIO_free_all(bio);
}

void release_certificate(x509_st* certificate) {
  X509_free(certificate);
}

void release_key(evp_pkey_st* key) {
  EVP_PKEY_free(key);
}

bool is_too_large(std::string_view bytes) {
  return bytes.size() > INT_MAX;
}

bio_t reader_of(std::string_view bytes) {
  return bio_t(is_too_large(bytes) ? nullptr : BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

bio_t collector() {
  return bio_t(BIO_new(BIO_s_mem()));
}

std::string collected(bio_t const& bio) {
  char* bytes = nullptr;
  long const size = BIO_get_mem_data(bio.get(), &bytes);
  return std::string(bytes, static_cast<std::size_t>(size));
}

std::string_view view_of(asn1_string_st const* text) {
  return { reinterpret_cast<char const*>(ASN1_STRING_get0_data(text)),
           static_cast<std::size_t>(ASN1_STRING_length(text)) };
}

x509_t parse_certificate(std::string_view der) {
  auto const* at = reinterpret_cast<unsigned char const*>(der.data());
  return x509_t(d2i_X509(nullptr, &at, static_cast<long>(der.size())));
}

key_t parse_key(private_key_t const& key) {
  auto const* at = reinterpret_cast<unsigned char const*>(key.der().data());
  return key_t(d2i_AutoPrivateKey(nullptr, &at, static_cast<long>(key.der().size())));
}

error_scope_t::error_scope_t() {
  ERR_clear_error();
}

error_scope_t::~error_scope_t() {
  ERR_clear_error();
}

std::string trouble_of_scope() {
  unsigned long const code = ERR_peek_error();
  std::string message;
  not_an_error(code ? static_cast<int>(code) : -1, message);
  return message;
}

std::string text_of_error(int code) {
  char const* const text = ERR_reason_error_string(static_cast<unsigned int>(code));
  return text ? text : "";
}

}  // namespace cms

}  // namespace kel
