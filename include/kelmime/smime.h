// S/MIME (RFC 8551): signing, encrypting, decrypting and verifying on strings, with the certificates of a folder.
//
// What an operation found out is written as lines of status text, in the words of GnuPG, so that
// `parse_security_status` reads them. A line that begins with none of its words is for people.
//
//    DECRYPTION_OKAY       an envelope was opened, and the output is what was in it
//    DECRYPTION_FAILED     it was not, and there is no output
//    GOODSIG <ADDRESS>     the signature of one signer; stands only when all signers of the message are valid
//    TRUST_FULLY ...       behind its GOODSIG: the certificate leads to an authority, is made for mail, holds today, and
//                          was issued to the address that was asked for
//    BADSIG <ADDRESS>      what was signed is not what is here, or the signature cannot be relied on
//    NO_PUBKEY             the certificate of a signer is not there
//
// The certificate folder is the one that the preference PwCertificateFolder names, otherwise "smime" in the support
// folder of the application. Its files are PEM, DER or PKCS#12, and are read in the order of their names:
//
//    identities      the user's own certificates with their private keys, and the certificates between them and an
//                    authority. A key and its certificate may be in two files
//    certificates    those of other people, and of authorities in between
//    authorities     whoever is trusted to issue certificates. A certificate here needs no issuer above it
//    preferred       certificates that come first for the addresses in them, where there are several. To sign, the private
//                    key must be with them or in "identities"
//
// A file that cannot be read, is larger than a mebibyte or holds no certificate gives a warning and is passed over; so is
// a broken piece of a PEM file, whose other certificates and keys are read. Files whose names begin with a dot are not
// looked at. The folders are read anew by every operation that needs them. Nothing else is trusted: neither the authorities
// of the system nor lists of revoked certificates are consulted.
//
// With the preference PwDebugSecurity every operation tells its steps on standard error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/export.h>

namespace kel {

class body_part_t;
class private_key_t;  // known to the library only

struct certificate_t {
  std::string der;  // the certificate itself
  std::vector<std::string>
      addresses;                    // as they stand in it: of subjectAltName, then of the subject; a stranger's bytes
  bool has_more_addresses = false;  // than the 256 that are read. Such a certificate vouches for no signature
  std::string serial;               // upper-case hexadecimal digits without leading zeros
  std::string subject;              // as RFC 2253 writes names, in UTF-8 and without control characters
  std::string issuer;
  std::int64_t not_before = 0;  // seconds since 1970 in UTC
  std::int64_t not_after = 0;
  bool may_sign = false;  // what its key usage allows; all where it has none
  bool may_encrypt = false;
  std::string public_key;                            // SubjectPublicKeyInfo in DER
  std::shared_ptr<private_key_t const> private_key;  // null in a certificate of somebody else
};

// What a platform says of a certificate; `proceed` and `unspecified` both mean trusted.
enum class trust_result_t {
  invalid = 0,             // there is no valid signature, or no address to check it against
  proceed = 1,             // the user put the signer's own certificate among the authorities
  unspecified = 4,         // an authority vouches for it
  recoverable_failure = 5  // nobody does, or it was issued to another address
};

// Signs, encrypts or does both, in this order: the signed message is what the envelope holds. The input is a MIME entity;
// it is protected in its CR LF form. False, with the reason in `status` and `output` untouched, when it is not done.
//
//   sign only        output is the detached signature (RFC 5652, DER), by the identity of `address`
//   encrypt          output is the envelope (DER, AES-256-CBC) for all recipients. Unless `address`, the sender, is among
//                    them and can open it, nothing comes out: a sender must be able to read the own message
//   sign, encrypt    within the envelope is an application/pkcs7-mime entity of signed data
//
// Neither of both is false as well.
KELMIME_EXPORT bool cms_encrypt(std::string const& address, std::vector<std::string> const& recipients, bool sign,
                                bool encrypt, std::string_view input, std::string& output, std::string& status);

// Decrypts or verifies the CMS message (RFC 5652, BER) of `length` bytes at `data`. Status lines are appended to `status`;
// the result is the trust in the last signer.
//
//   detached is unset_string    an envelope is opened, then a signature in it is verified; or signed data is verified. The
//                               content goes to `output`, with bare line feeds; where its header declares it as binary,
//                               the header only. An entity inside an envelope that is signed data is unwrapped; other
//                               forms of protection in the content are the caller's
//   otherwise                   the message is a signature of these bytes, which may be in LF or in CR LF form. One that
//                               carries content, or has no signer, is no signature. `output` stays empty
//
// `address` is what a signer's certificate must have been issued to for TRUST_FULLY; unset_string for nobody. `output`
// is emptied first, and filled only with what may be shown: never with what did not decrypt to its end, but also with
// content whose signature is bad, since the status says so.
//
// A message of more than 16 signers, 256 certificates or 50,000 sequences and sets (about 2000 recipients) is refused; a
// signer whose certificate has more than 256 addresses has no GOODSIG.
KELMIME_EXPORT trust_result_t cms_decrypt(std::string const& address, char const* data, std::size_t length,
                                          std::string const& detached, std::string& output, std::string& status);

// The certificate, with its private key, that signs for an address: the preferred one, otherwise the first one of the
// folder that lists the address and, when a serial number is mapped to the address (`setup_gpg_smime_map`), has that
// number; those that hold today and may sign come first. Nothing, with a line in `status`, when there is none.
KELMIME_EXPORT std::optional<certificate_t> KelSecCopyIdentity(std::string const& address, std::string& status);

// The certificate to encrypt with for an address, chosen likewise among "certificates" and then "identities", without
// regard to mapped serial numbers.
KELMIME_EXPORT std::optional<certificate_t> find_certificate(std::string const& address, std::string& status);

// The purpose of mail: id-kp-emailProtection (RFC 5280, section 4.2.1.12).
inline constexpr std::string_view smime_policy_oid = "1.3.6.1.5.5.7.3.4";

// What a signer's certificate is held against besides its chain and its purpose.
struct signing_policy_t {
  std::string address;

  KELMIME_EXPORT bool accepts(certificate_t const& certificate) const;
};

// The policy that the certificate must have been issued to this address. Nothing, with a line in `status`, for a text that
// is no address and for any purpose but that of mail.
KELMIME_EXPORT std::optional<signing_policy_t> SigningSecPolicyCreate(std::string const& address, std::string_view oid,
                                                                      std::string& status);

// Who says that he signed: the first address of the certificate of the first signer. Nothing is verified. False, and
// `signer` untouched, when the message is no signed data or the certificate does not come with it.
KELMIME_EXPORT bool cms_get_signer(std::string_view message, std::string& signer);

// The same for a part: multipart/signed with an S/MIME signature, or application/pkcs7-mime with signed data. False for any
// other part, and for an envelope, whose signature nobody sees before it is opened. `signer` may be null.
KELMIME_EXPORT bool cms_get_signer(body_part_t& part, std::string* signer);

// The digest of the first signer of signed data as "micalg" names it (RFC 8551, section 3.5.3.2): "sha-256". Empty when
// there is none.
KELMIME_EXPORT std::string cms_digest_name(std::string_view message);

// Asked for the passphrase of a file, by its path, each time the file is read; nothing passes the file over. Without a
// callback every protected file is. It is called in the thread of the operation.
using passphrase_callback_t = std::function<std::optional<std::string>(std::string const& path)>;
KELMIME_EXPORT void set_passphrase_callback(passphrase_callback_t callback);

}  // namespace kel
