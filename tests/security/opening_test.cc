#include <security/protected_mail.h>

#include <kel/text.h>
#include <kelmime/unset.h>
#include <helpers/repeated.h>
#include <security/leftovers.h>

namespace kel {
namespace {

std::string const text = part("text/plain", "The secret.\n");

std::string decoded(body_part_t& part) { return std::string(part.decoded_body()); }

class Opening : public ProtectedMail {};

TEST_F(Opening, PutsContentWhereItWas) {
  std::string const in_latin1 = "Content-Type: text/plain; charset=iso-8859-1; format=flowed\nContent-Transfer-Encoding: quoted-printable\n\n";
  std::string const block = pgp_ciphertext("gr\xFC\xDF \r\ngott\n");
  std::string quoted;
  encode(block.begin(), block.end(), std::back_inserter(quoted), "quoted-printable");
  struct { char const* name; std::string source; char const* tree; std::vector<std::size_t> place; char const* content; } const rows[] = {
    { "OpenPGP", message(pgp_encrypted(text)), "multipart/encrypted[application/pgp-encrypted(11) application/octet-stream[text/plain(12)]]", { 1, 0 }, "The secret.\n" },
    { "S/MIME", message(envelope(smime(false, true, text))), "application/pkcs7-mime[text/plain(12)]", { 0 }, "The secret.\n" },
    { "S/MIME of old", message(leaf_in_base64("application/x-pkcs7-mime", opaque(with_crlf(text)))), "application/x-pkcs7-mime[text/plain(12)]", { 0 }, "The secret.\n" },
    { "signed, encrypted", message(pgp_encrypted(pgp_signed("Content-Type: text/html\n\n<b>"))), "multipart/encrypted[application/pgp-encrypted(11) application/octet-stream[multipart/signed[text/html(3) application/pgp-signature(", { 1, 0, 0 }, "<b>" },
    { "a block", message(in_latin1 + quoted), "text/plain[text/plain(12)]", { 0 }, "grüß gott\n" },
    { "two blocks", message(part("text/plain", "a\n" + pgp_ciphertext("b\n") + pgp_ciphertext("c\n"))), "text/plain[text/plain(2) text/plain(2)]", { 1 }, "c\n" },
    { "binary", message(with_ciphertext(pgp_ciphertext("Content-Type: x/y\r\nContent-Transfer-Encoding: binary\r\n\r\na\r\nb"))), "multipart/encrypted[application/pgp-encrypted(11) application/octet-stream[x/y(4)]]", { 1, 0 }, "a\r\nb" },
    { "a block in a block", message(part("text/plain", pgp_ciphertext(pgp_ciphertext("b\n")))), "text/plain[text/plain[text/plain(2)]]", { 0, 0 }, "b\n" },
    { "nothing", message(pgp_encrypted("")), "multipart/encrypted[application/pgp-encrypted(11) application/octet-stream[text/plain(0)]]", { 1, 0 }, "" },
    { "in an attached message", message("Content-Type: message/rfc822\n\n" + message(envelope(smime(false, true, text)))), "message/rfc822[application/pkcs7-mime[text/plain(12)]]", { 0, 0 }, "The secret.\n" },
    { "in a block that is attached", message("Content-Disposition: attachment\n" + part("text/plain", pgp_ciphertext("b\n"))), "text/plain[text/plain(2)]", { 0 }, "b\n" },
    { "not in other text", message(part("text/html", pgp_ciphertext("b\n"))), "text/html(", {}, "" },
  };
  for (auto const& row : rows) {
    auto const root = opened(row.source);
    decrypt_and_verify_signatures(*root);  // a second time, for keys that have come since
    EXPECT_TRUE(test::describe(*root).starts_with(row.tree)) << row.name << ": " << test::describe(*root) << root->get_security_details();
    body_part_t* at = root.get();
    for (std::size_t const index : row.place)
      at = &at->subpart(index);
    EXPECT_EQ(row.place.empty() ? "" : decoded(*at), row.content) << row.name;
    EXPECT_FALSE(at->exists_header("#date-received") && !row.place.empty()) << row.name;
    EXPECT_FALSE(root->has_changed()) << row.name;
    EXPECT_EQ(written(*root), row.source) << row.name;
  }
}

TEST_F(Opening, TellsWhoIsSaidToHaveSigned) {
  std::string const two = "From: ann@x.org, bob@x.org\n";
  struct { char const* name; std::string source; char const* signer; std::string from = "ann@x.org"; } const rows[] = {
    { "signed", message(smime_signed(text)), "ann@x.org" }, { "opaque", message(envelope(opaque(text))), "ann@x.org" },
    { "from two", message(smime_signed(text), two), "ann@x.org", unset_string },
    { "encrypted", message(envelope(smime(true, true, text))), "" }, { "OpenPGP", message(pgp_signed(text)), "" },
    { "text", message(text, "Subject: y\n"), "", unset_string },
  };
  for (auto const& row : rows) {
    auto const root = test::message_of(row.source);
    std::string signer;
    EXPECT_EQ(cms_get_signer(*root, &signer), *row.signer != '\0') << row.name;
    EXPECT_EQ(cms_get_signer(*root, nullptr), *row.signer != '\0') << row.name;
    EXPECT_EQ(signer, row.signer) << row.name;
    EXPECT_EQ(get_from_address_for_verification(*root), row.from) << row.name;
  }
}

TEST_F(Opening, AsksForAPassphraseOnce) {
  std::string const one = envelope(smime(false, true, text));
  folder->write("identities/ann.pem", ann->pem() + ann->key_pem("sesame"));
  int questions = 0;
  set_passphrase_callback([&](std::string const&) { ++questions; return "sesame"; });
  EXPECT_EQ(test::describe(*opened(message(multipart("mixed", { one, one })))), "multipart/mixed[application/pkcs7-mime[text/plain(12)] application/pkcs7-mime[text/plain(12)]]");
  EXPECT_EQ(questions, 1);
  set_passphrase_callback(nullptr);
  folder->write("identities/ann.pem", ann->both());
}

// Nothing in a received header adds a line to that of the content.
TEST_F(Opening, HeadsTheTextOfABlock) {
  auto const root = opened(message(part("text/plain; x=\"=?utf-8?q?=0D=0ASubject:_y=0A=0Dpaid?=\"", pgp_ciphertext("b\n"))));
  ASSERT_EQ(root->num_subparts(), 1U);
  EXPECT_FALSE(root->subpart(0).exists_header("subject"));
  EXPECT_EQ(decoded(root->subpart(0)), "b\n");
}

TEST_F(Opening, RecordsAnotherDigestThanIsStated) {
  std::string const signature = pgp_signature(text, "--digest-algo SHA512");
  for (auto const& [micalg, is_right] : { std::pair("pgp-sha512", true), { "PGP-SHA512", true }, { "sha512", true }, { "pgp-sha256", false }, { "\"$(id)\"", false } }) {
    auto const root = opened(message(multipart("signed; micalg=" + std::string(micalg), { text, part("application/pgp-signature", signature) })));
    EXPECT_EQ(test::all_records(*root), is_right ? "" : "root: The signature was made with another digest than “micalg” says\n") << micalg;
    EXPECT_EQ(word_of(*root), "trustedSignature") << micalg;
  }
}

// Messages that come with the tests; KELMIME_MAIL names a folder of more.
TEST_F(Opening, TakesWhateverComes) {
  char const* const more = std::getenv("KELMIME_MAIL");
  std::size_t protected_ones = 0;
  for (std::filesystem::path const place : { KELMIME_TEST_DATA "/messages", more ? more : KELMIME_TEST_DATA "/tool/messages" }) {
    for (auto const& file : std::filesystem::recursive_directory_iterator(place)) {
      if (!file.is_regular_file())
        continue;
      std::string const source = path::content(file.path());
      for (std::string const& bytes : { source, source.substr(0, source.size() * 2 / 3) }) {
        auto const root = opened(bytes);
        EXPECT_EQ(written(*root), bytes) << file.path();
        std::string const word = word_of(*root);
        protected_ones += word != "-";
        EXPECT_FALSE(word == "trustedSignature" || word == "decrypted" || word == "generationFailed") << file.path() << " by a key of these tests: " << word;
      }
    }
  }
  EXPECT_GE(protected_ones, 1U);
}

// --- Other programs in the place of GnuPG ------------------------------------------------------------------------

class OpeningWithStandIn : public ProtectedMail {
protected:
  void make_program(std::string const& commands) { _folder.write_program("gpg", commands); }
  std::string calls() const { return path::content(path::join(_folder.path(), "calls")); }

  temporary_folder_t _folder;
  leftovers_t _temporary;
  variable_guard_t _gpg{ "PW_GPG", _folder.path() + "/gpg" };
  variable_guard_t _log{ "CALLS", _folder.path() + "/calls" };
};

std::string const clear_block = "-----BEGIN PGP SIGNED MESSAGE-----\n\na\n-----BEGIN PGP SIGNATURE-----\n\nabcd\n-----END PGP SIGNATURE-----\n";
std::string const closed_block = "-----BEGIN PGP MESSAGE-----\n\nabcd\n-----END PGP MESSAGE-----\n";
std::string const log_call = "echo \"$7 $#\" >> \"$CALLS\"\n";

TEST_F(OpeningWithStandIn, AsksForWhatIsNeeded) {
  make_program(log_call + "cat >/dev/null; case \"$*\" in *--verify*) echo '[GNUPG:] BADSIG 1' >&2;; esac");
  struct { std::string entity; char const* calls; } const rows[] = {
    { with_pgp_signature(text, "x"), "--verify 9\n--verify 9\n" },  // once more over the CR LF form
    { part("text/plain", clear_block), "--verify 7\n" }, { with_ciphertext("x"), "--decrypt 7\n" },
  };
  for (auto const& row : rows) {
    _folder.write("calls", "");
    opened(message(row.entity));
    EXPECT_EQ(calls(), row.calls);
  }
}

TEST_F(OpeningWithStandIn, SurvivesWhatItDoes) {
  std::string const good = "echo '[GNUPG:] GOODSIG 1 a' >&2; echo '[GNUPG:] VALIDSIG " + repeated("A", 40) + " 1' >&2; echo '[GNUPG:] TRUST_FULLY' >&2";
  struct { char const* name; std::string commands; char const* word; char const* word_of_encrypted; } const rows[] = {
    { "silent", "exit 0", "unknown", "decryptFailed" },
    { "killed behind a good word", good + "; kill -9 $$", "unknown", "decryptFailed" },
    { "half a line", "printf '[GNUPG:] GOODSIG' >&2", "unknown", "decryptFailed" },
    { "half of decryption", "printf '[GNUPG:] DECRYPTION_OKA' >&2; echo b", "unknown", "decryptFailed" },
    { "failure behind success", "echo '[GNUPG:] DECRYPTION_OKAY' >&2; echo '[GNUPG:] DECRYPTION_FAILED' >&2; echo b", "decryptFailed", "decryptFailed" },
    { "words in other places", "echo 'GOODSIG [GNUPG:] GOODSIG' >&2; echo '[GNUPG:] GOODSIG'", "unknown", "decryptFailed" },
    { "no key details", "case \"$*\" in *--list-keys*) ;; *) " + good + ";; esac", "validSignature", "decryptFailed" },
    { "key of another", "case \"$*\" in *--list-keys*) echo 'pub:u:::::::::'; echo 'uid:u::::::::A <ann@x.org>:' ;; *) " + good + ";; esac", "validSignature", "decryptFailed" },
  };
  for (auto const& row : rows) {
    make_program("cat >/dev/null\n" + row.commands);
    EXPECT_EQ(word_of(*opened(message(with_pgp_signature(text, "x")))), row.word) << row.name;
    auto const encrypted = opened(message(with_ciphertext("x")));
    EXPECT_EQ(word_of(*encrypted), row.word_of_encrypted) << row.name;
    EXPECT_EQ(encrypted->subpart(1).num_subparts(), 0U) << row.name;
  }
  std::filesystem::remove(_folder.path() + "/gpg");
  std::filesystem::create_directory(_folder.path() + "/gpg");
  EXPECT_EQ(word_of(*opened(message(with_pgp_signature(text, "x")))), "unknown") << "not executable";
  EXPECT_EQ(word_of(*opened(message(with_ciphertext("x")))), "decryptFailed") << "not executable";
  std::filesystem::remove(_folder.path() + "/gpg");
  EXPECT_EQ(word_of(*opened(message(with_pgp_signature(text, "x")))), "missingCommand");
  EXPECT_EQ(word_of(*opened(message(with_ciphertext("x")))), "missingCommand");
}

TEST_F(OpeningWithStandIn, IsNotMadeToRunWithoutEnd) {
  make_program(log_call + "cat >/dev/null; echo '[GNUPG:] GOODSIG 1' >&2");
  std::string const one = part("text/plain", clear_block);
  auto const many = opened(message(multipart("mixed", std::vector<std::string>(70, one))));
  EXPECT_EQ(text::split(calls(), "\n").size() - 1, 64U);
  EXPECT_EQ(many->subpart(69).headers().find("##security-details")->second.substr(0, 10), "INCOMPLETE");
  EXPECT_EQ(word_of(many->subpart(69)), "unknown");

  std::string const russian_doll = with_ciphertext(closed_block);
  make_program("cat >/dev/null; echo '[GNUPG:] DECRYPTION_OKAY' >&2; cat \"$DOLL\"");
  variable_guard_t const doll("DOLL", _folder.write("doll", russian_doll));
  auto const root = opened(message(russian_doll));
  std::size_t layers = 0;
  for (body_part_t* at = root.get(); at->subpart(1).num_subparts() > 0; at = &at->subpart(1).subpart(0))
    ++layers;
  EXPECT_EQ(layers, 16U);
  EXPECT_EQ(word_of(*root), "complicated");
}

// What decryption yields counts as decoded bytes of the whole message.
TEST_F(OpeningWithStandIn, DoesNotBurst) {
  make_program("cat >/dev/null; echo '[GNUPG:] DECRYPTION_OKAY' >&2; head -c 30000000 /dev/zero");
  auto const root = opened(message(multipart("mixed", std::vector<std::string>(5, with_ciphertext(closed_block)))));
  std::string words;
  for (body_part_t& child : root->subparts())
    words += word_of(child) + " ";
  EXPECT_EQ(words, "decrypted decrypted decryptFailed decryptFailed decryptFailed ");
  EXPECT_LT(root->space_usage(), std::size_t(70) << 20);
}

TEST_F(OpeningWithStandIn, LeavesDraftsAndHeadersAlone) {
  make_program(log_call);
  body_part_t draft;
  draft.set_header("from", "ann@x.org");
  draft.set_text_body("a\n", unset_string, unset_string, /*is_signed*/ true);
  draft.set_security_level("sign", "OpenPGP");
  decrypt_and_verify_signatures(draft);
  std::string const head = "From: ann@x.org\n" + std::string("Content-Type: multipart/signed; boundary=b\n\n");
  std::vector<char> bytes(head.begin(), head.end());
  auto const headers = create_body_part_from_headers(bytes);
  decrypt_and_verify_signatures(*headers);
  EXPECT_FALSE(draft.has_security_status() || headers->has_security_status());
  EXPECT_FALSE(path::exists(_folder.path() + "/calls"));
}

}  // namespace
}  // namespace kel
