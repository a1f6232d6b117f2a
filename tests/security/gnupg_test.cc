// What the real program says, row by row.
#include <optional>

#include <gtest/gtest.h>

#include <kel/preferences.h>
#include <kelmime/unset.h>
#include <security/gpg_home.h>
#include <security/signature_verdict.h>

namespace kel {
namespace {

using lines_t = std::vector<std::string>;

class GnuPG : public testing::Test {
protected:
  static void SetUpTestSuite() {
    home.emplace();
    home->make_key("Ann <Ann@x.org>");
    home->make_key("Bob <bob@x.org>");
    home->gpg("--quick-sign-key --local-user ann@x.org " + home->fingerprint("bob@x.org"));
    home->set_owner_trust(home->fingerprint("bob@x.org"), 2);
    home->set_owner_trust(home->make_key("Stranger <stranger@x.org>"), 2);
  }
  static void TearDownTestSuite() { home.reset(); }

  // The keyword of the last run, read line by line and closely.
  static std::string keywords(std::string const& sender) {
    lines_t lines = lines_with_prefix(status, "[GNUPG:] ");
    add_key_to_details(lines);
    return parse_security_status(lines, sender) + " " + signature_verdict(lines, { sender }, signature_engine_t::openpgp);
  }
  static std::string verified(std::string_view text, std::string const& signature, std::string const& sender) {
    run_gpg("--verify", text, signature, output, status);
    return keywords(sender);
  }
  static std::string decrypted(std::string const& ciphertext, std::string const& sender) {
    run_gpg("--decrypt", ciphertext, unset_string, output, status);
    return keywords(sender);
  }
  static std::string signature_of(std::string const& signer, std::string const& options = "--detach-sign") {
    return gpg_home_t::gpg("--armor " + options + " --local-user \"<" + signer + ">\"", "text\n");
  }
  struct forms_t { std::string detached, clear, encrypted; };
  static forms_t forms_by(std::string const& signer, std::string const& options = "") {
    return { signature_of(signer, "--detach-sign " + options), signature_of(signer, "--clear-sign " + options),
             signature_of(signer, "--sign --encrypt --recipient \"<ann@x.org>\" --trust-model always " + options) };
  }

  static inline std::optional<gpg_home_t> home;
  static inline std::string output, status;
};

TEST_F(GnuPG, VerifiesSignatures) {
  std::string const in_past = "--faked-system-time 20200110T000000 --ignore-time-conflict --ignore-valid-from";
  home->make_key("Old <old@x.org>", "--faked-system-time 20200101T000000", "2020-02-01");
  home->make_key("Early <early@x.org>", "--faked-system-time 20200101T000000");
  home->make_key("Revoked <revoked@x.org>");
  home->make_key("Gone <gone@x.org>");
  forms_t const by_revoked = forms_by("revoked@x.org"), by_gone = forms_by("gone@x.org");
  home->revoke(home->fingerprint("revoked@x.org"));
  home->gpg("--yes --delete-secret-and-public-key " + home->fingerprint("gone@x.org"));
  struct { char const* name; forms_t forms; char const* sender; char const* expected; char const* expected_of_encrypted = nullptr; } const rows[] = {
    { "our own key", forms_by("ann@x.org"), "ann@x.org", "trustedSignature trustedSignature" },
    { "a key that we signed", forms_by("bob@x.org"), "bob@x.org", "trustedSignature trustedSignature" },
    { "an unknown key", forms_by("stranger@x.org"), "stranger@x.org", "validSignature validSignature" },
    { "another sender", forms_by("ann@x.org"), "bob@x.org", "senderMismatch senderMismatch" },
    { "expired", forms_by("early@x.org", in_past + " --default-sig-expire 1d"), "early@x.org", "expiredSignature expiredSignature",
      "expiredSignature decryptFailed" },  // there GnuPG stops in batch mode, before it says that decryption went well
    { "expired key", forms_by("old@x.org", in_past), "old@x.org", "expiredSignatureKey expiredSignatureKey" },
    { "no key", by_gone, "gone@x.org", "noPublicKey noPublicKey" },
    { "revoked key", by_revoked, "revoked@x.org", "revokedSignatureKey revokedSignatureKey" },
    { "two signatures, of whom GnuPG names the last one first", forms_by("ann@x.org", "--local-user bob@x.org"), "bob@x.org", "trustedSignature validSignature" },
    { "two signatures, the sender's behind", forms_by("ann@x.org", "--local-user bob@x.org"), "ann@x.org", "trustedSignature senderMismatch" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(verified("text\n", row.forms.detached, row.sender), row.expected) << row.name << "\n" << status;
    EXPECT_EQ(verified(row.forms.clear, unset_string, row.sender), row.expected) << row.name << ", clear-signed\n" << status;
    EXPECT_EQ(decrypted(row.forms.encrypted, row.sender), row.expected_of_encrypted ? row.expected_of_encrypted : row.expected) << row.name << ", encrypted\n" << status;
    EXPECT_EQ(output, "text\n") << row.name;
  }
  std::string const changed = text::join(text::split(forms_by("ann@x.org").clear, "text"), "test");
  EXPECT_EQ(verified(changed, unset_string, "ann@x.org"), "badSignature badSignature");
  EXPECT_EQ(verified("test\n", signature_of("ann@x.org"), "ann@x.org"), "badSignature badSignature");
  for (std::string const& no_signature : { std::string(), home->gpg("--armor --sign --local-user ann@x.org", "text\n"), forms_by("ann@x.org").clear })
    EXPECT_EQ(verified("text\n", no_signature, "ann@x.org"), "unknown unknown") << no_signature;
}

// One user ID of a key vouches for that address alone, another's key for no address of ours.
TEST_F(GnuPG, DoesNotLendTrust) {
  std::string const key = home->make_key("Mallory <mallory@x.org>");
  home->set_owner_trust(key, 2);
  home->gpg("--quick-sign-key --local-user ann@x.org " + key);
  home->gpg("--quick-add-uid " + key + " \"Victim <victim@x.org>\"");
  std::string const signature = signature_of("mallory@x.org");
  EXPECT_EQ(verified("text\n", signature, "mallory@x.org"), "trustedSignature trustedSignature");
  EXPECT_EQ(verified("text\n", signature, "victim@x.org"), "trustedSignature senderMismatch");
  home->gpg("--quick-revoke-uid " + key + " \"Mallory <mallory@x.org>\"");
  EXPECT_TRUE(verified("text\n", signature, "mallory@x.org").ends_with(" senderMismatch"));
}

TEST_F(GnuPG, TellsWhatItCannotDo) {
  EXPECT_FALSE(run_gpg("--textmode --armor --recipient \"<stranger@x.org>\" --encrypt", "text\n", unset_string, output, status));
  EXPECT_EQ(keywords(""), "untrustedRecipientKey untrustedRecipientKey");
  EXPECT_FALSE(run_gpg("--textmode --armor --recipient \"<nobody@x.org>\" --encrypt", "text\n", unset_string, output, status));
  EXPECT_EQ(keywords(""), "unknown unknown");

  std::string tampered = home->gpg("--compress-algo none --sign --encrypt --local-user ann@x.org --recipient ann@x.org", "text\n");
  tampered.back() ^= 1;
  EXPECT_EQ(decrypted(tampered, "ann@x.org"), "trustedSignature decryptFailed");
  EXPECT_EQ(output, "text\n") << "the text comes before the failure";

  home->make_key("Lost <lost@x.org>");
  std::string const for_lost = home->gpg("--encrypt --recipient lost@x.org", "text\n");
  home->gpg("--yes --delete-secret-key " + home->fingerprint("lost@x.org"));
  EXPECT_EQ(decrypted(for_lost, ""), "decryptFailed decryptFailed");
  EXPECT_EQ(decrypted("no message", ""), "unknown unknown");
}

TEST_F(GnuPG, IsNotSpokenForByTheMessage) {
  std::string const name = "'\n[GNUPG:] GOODSIG 1 Ann <ann@x.org>\n[GNUPG:] TRUST_FULLY\n'";
  std::string const encrypted = home->gpg("--encrypt --recipient ann@x.org --set-filename " + name, "[GNUPG:] GOODSIG 1 Ann <ann@x.org>\n");
  EXPECT_EQ(decrypted(encrypted, "ann@x.org"), "decrypted decrypted") << status;
}

}  // namespace
}  // namespace kel
