// The seam to the library that does the cryptography: bytes in, bytes and plain values out.
//
// Nothing here knows addresses, folders or status lines. What fails says why in `trouble`, one line with its line feed.
#pragma once

#include <kelmime/smime.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kel {

// PKCS#8 in DER, wiped when its last holder lets go.
class private_key_t {
public:
  private_key_t(std::string der, std::string public_key) : _der(std::move(der)), _public_key(std::move(public_key)) {}
  ~private_key_t();
  private_key_t(private_key_t const&) = delete;
  private_key_t& operator=(private_key_t const&) = delete;

  std::string const& der() const { return _der; }
  std::string const& public_key() const { return _public_key; }  // as in the certificates that it belongs to

private:
  std::string _der;
  std::string _public_key;
};

}  // namespace kel

namespace kel::cms {

inline constexpr int most_signers = 16;
inline constexpr int most_certificates = 256;
inline constexpr std::size_t most_addresses = 256;  // of a certificate

// --- Files of certificates ----------------------------------------------------------------- certificates_openssl.cc

struct file_content_t {
  std::vector<certificate_t> certificates;  // without their keys
  std::vector<std::shared_ptr<private_key_t const>> keys;
  bool has_broken_blocks = false;  // more stands in it that claims to be a certificate or a key

  bool is_empty() const { return certificates.empty() && keys.empty(); }
};

// Reads PEM, DER or PKCS#12. `ask` is called, at most once, when something is protected by a passphrase; without an
// answer, or with a wrong one, that is left out.
file_content_t read_certificates(std::string_view bytes, std::function<std::optional<std::string>()> const& ask);

// --- Messages --------------------------------------------------------------------------------------- cms_openssl.cc

enum class kind_t { unreadable, signed_data, envelope, other };

// `trouble` is set when the message is unreadable.
kind_t kind_of(std::string_view message, std::string& trouble);

// Signed data by SHA-256 over the content as it stands, with the signer's certificate and those of its issuers that are
// among `others`.
std::optional<std::string> sign(std::string_view content, certificate_t const& signer,
                                std::span<certificate_t const> others, bool is_detached, std::string& trouble);

// An envelope of AES-256-CBC around the content as it stands. A certificate that comes twice is used once.
std::optional<std::string> encrypt(std::string_view content, std::span<certificate_t const> recipients,
                                   std::string& trouble);

struct plaintext_t {
  std::string bytes;
  bool is_signed_data = false;  // by its type it is signed data, without the frame that says so
};

// Opens the envelope with the first of the identities that it is addressed to.
std::optional<plaintext_t> decrypt(std::string_view message, std::span<certificate_t const> identities,
                                   std::string& trouble);

// Signed data as a message of its own.
std::string framed_signed_data(std::string_view signed_data);

enum class validity_t { valid, invalid, no_certificate };

struct signer_t {
  validity_t validity = validity_t::invalid;
  std::shared_ptr<certificate_t const> certificate;  // null when there is none; signers may share one
  std::string digest;                                // "sha-256"; empty when it is unknown
  bool is_trusted = false;  // the certificate leads to an authority, holds today and is made for signing mail
  std::string distrust;     // why not; a text without control characters
};

struct signatures_t {
  std::optional<std::string> content;  // what the message carries
  std::vector<signer_t> signers;
};

struct certificates_t {
  std::span<certificate_t const> authorities;
  std::span<certificate_t const> others;  // may stand between a signer and an authority
};

// Verifies signed data over each of the contents, one of which a valid signer must have signed. Without contents it is the
// one that the message carries.
std::optional<signatures_t> verify(std::string_view message, std::vector<std::string_view> const& contents,
                                   certificates_t const& known, std::string& trouble);

// The library's text for one of its codes, empty when there is none.
std::string text_of_error(int code);

}  // namespace kel::cms
