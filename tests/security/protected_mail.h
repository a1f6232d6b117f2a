// Messages that are really signed and encrypted: OpenPGP by GnuPG itself, S/MIME with certificates made here.
//
// Ann is the reader, and trusts herself. Stranger's key is in the keyring, and nobody vouches for it.
#pragma once

#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <codec/line_ends.h>
#include <helpers/certificates.h>
#include <helpers/messages.h>
#include <kel/preferences.h>
#include <kelmime/body.h>
#include <kelmime/smime.h>
#include <security/gpg_home.h>

namespace kel {

using test::leaf_in_base64;
using test::multipart;
using test::written;

// --- Entities ----------------------------------------------------------------------------------------------------

inline std::string part(std::string const& type, std::string const& body = "text\n") { return "Content-Type: " + type + "\n\n" + body; }

inline std::string message(std::string const& entity, std::string const& from = "From: Ann <ann@x.org>\n") {
  return from + "Subject: x\nMIME-Version: 1.0\n" + entity;
}

// --- OpenPGP -----------------------------------------------------------------------------------------------------

inline std::string pgp(std::string const& options, std::string const& text) { return gpg_home_t::gpg("--armor " + options, text); }
inline std::string pgp_signature(std::string const& text, std::string const& options = "") { return pgp("--detach-sign --local-user ann@x.org " + options, text); }
inline std::string clear_signed(std::string const& text) { return pgp("--clear-sign --local-user ann@x.org", text); }
inline std::string pgp_ciphertext(std::string const& text, std::string const& options = "") { return pgp("--encrypt --recipient ann@x.org " + options, text); }

constexpr char const* signed_by_pgp = "signed; micalg=pgp-sha256; protocol=\"application/pgp-signature\"";
constexpr char const* encrypted_by_pgp = "encrypted; protocol=\"application/PGP-encrypted\"";

inline std::string with_pgp_signature(std::string const& entity, std::string const& signature) {
  return multipart(signed_by_pgp, { entity, part("application/pgp-signature", signature) });
}
inline std::string pgp_signed(std::string const& entity, std::string const& options = "") { return with_pgp_signature(entity, pgp_signature(with_crlf(entity), options)); }

inline std::string with_ciphertext(std::string const& ciphertext) {
  return multipart(encrypted_by_pgp, { part("application/pgp-encrypted", "Version: 1\n"), part("application/octet-stream", ciphertext) });
}
inline std::string pgp_encrypted(std::string const& entity, std::string const& options = "") { return with_ciphertext(pgp_ciphertext(with_crlf(entity), options)); }

// --- S/MIME ------------------------------------------------------------------------------------------------------

inline std::string smime(bool sign, bool encrypt, std::string const& entity) {
  std::string output, status;
  EXPECT_TRUE(cms_encrypt("ann@x.org", { "ann@x.org" }, sign, encrypt, entity, output, status)) << status;
  return output;
}

inline std::string with_smime_signature(std::string const& entity, std::string const& signature) {
  return multipart("signed; micalg=sha-256; protocol=\"application/pkcs7-signature\"", { entity, leaf_in_base64("application/x-pkcs7-signature", signature) });
}
inline std::string smime_signed(std::string const& entity) { return with_smime_signature(entity, smime(true, false, entity)); }
inline std::string envelope(std::string const& bytes) { return leaf_in_base64("application/pkcs7-mime; name=smime.p7m", bytes); }

// --- Keys --------------------------------------------------------------------------------------------------------

class ProtectedMail : public testing::Test {
protected:
  static void SetUpTestSuite() {
    home.emplace();
    home->make_key("Ann <ann@x.org>");
    home->set_owner_trust(home->make_key("Stranger <stranger@x.org>"), 2);
    folder.emplace();
    test::credentials_t const authority = test::issue({ .is_authority = true });
    ann = test::issue({ .addresses = { "ann@x.org" } }, &authority);
    folder->write("authorities/one.pem", authority.pem());
    folder->write("identities/ann.pem", ann->both());
    preferences::set("PwCertificateFolder", folder->path());
  }
  static void TearDownTestSuite() {
    preferences::reset();
    home.reset();
    folder.reset();
  }

  static std::string opaque(std::string const& entity) { return test::opaque_by(*ann, entity); }
  static std::shared_ptr<body_part_t> opened(std::string const& source) {
    auto const root = test::message_of(source);
    decrypt_and_verify_signatures(*root);
    return root;
  }
  static std::string word_of(body_part_t& part, bool whole_message = true) {
    std::string const word = part.get_security_status(whole_message);
    return word == unset_string ? "-" : word;
  }

  static inline std::optional<gpg_home_t> home;
  static inline std::optional<temporary_folder_t> folder;
  static inline std::optional<test::credentials_t> ann;
};

}  // namespace kel
