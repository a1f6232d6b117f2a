// The verbs of protection, with keys and certificates of the tests' own.
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <helpers/certificates.h>
#include <helpers/describe.h>
#include <kel/run_command.h>
#include <security/gpg_home.h>

#include "program.h"

namespace {

using kel::test::describe;
using kel::test::message_of;
using words_t = std::vector<std::string>;

std::string const letter = content_of(data_path("letter.eml"));
std::string const text = "From here on, secret Gr\u00FC\u00DFe\n";

// Ann and Bob have keys and certificates, Eve has none.
struct world_t {
  world_t() {
    auto const authority = kel::test::issue({ .is_authority = true });
    folder.file("postwick/smime/authorities/a.pem", authority.pem());
    for (std::string const name : { "ann", "bob" }) {
      std::string const address = name + "@example.org";
      kel::gpg_home_t::make_key(name + " <" + address + ">");
      folder.file("postwick/smime/identities/" + name, kel::test::issue({ .addresses = { address }, .serial = name == "ann" ? 1 : 2 }, &authority).both());
    }
  }

  kel::gpg_home_t gpg;
  scratch_t folder;
  kel::variable_guard_t support{ "XDG_DATA_HOME", folder.path() }, config{ "XDG_CONFIG_HOME", folder.path() };
};

class Security : public testing::Test {
protected:
  static void SetUpTestSuite() { world.emplace(); }
  static void TearDownTestSuite() { world.reset(); }

  static inline std::optional<world_t> world;
};

std::string written(words_t const& arguments, std::string_view input) {
  auto const outcome = kelmime(arguments, input);
  EXPECT_EQ(outcome.status, 0) << arguments[0] << ": " << outcome.err;
  EXPECT_EQ(outcome.err, "") << arguments[0];
  return outcome.out;
}

std::string replaced(std::string in, std::string_view what, std::string_view by) {
  EXPECT_NE(in.find(what), in.npos) << what;
  return in.replace(in.find(what), what.size(), by);
}

// Without the last third of its last part.
std::string cut_off(std::string const& message) {
  std::size_t const body = message.find("\n\n", message.rfind("Content-Type:"));
  return message.substr(0, body + (message.size() - body) * 2 / 3);
}

// With one byte in the middle of its armour changed.
std::string tampered(std::string message) {
  char& byte = message.at(message.find("\n\n", message.find("-----BEGIN PGP MESSAGE-----")) + 150);
  byte = byte == 'A' ? 'B' : 'A';
  return message;
}

// Signed by somebody, and in one piece with what is signed.
std::string opaque(std::string const& entity) {
  return "From: eve@example.org\n" + kel::test::leaf_in_base64("application/pkcs7-mime", kel::test::opaque_by(kel::test::issue({ .addresses = { "eve@example.org" } }), entity));
}

// --- Writing -----------------------------------------------------------------------------------------------------

TEST_F(Security, SignsUnderTheHeadersThatCame) {
  words_t const names = { "get", "--default", "-", "received", "subject", "date", "message-id", "resent-date", "x-mailer", "x-odd" };
  for (std::string const& message : { letter, std::string("From: ann@example.org\n\nx\n") })
    EXPECT_EQ(written(names, written({ "sign" }, message)), written(names, message));
}

TEST_F(Security, WritesNothingWhereItCannotProtect) {
  std::string const signed_letter = written({ "sign" }, letter), encrypted_letter = written({ "encrypt", "--protocol", "smime" }, letter);
  std::string const from_eve = replaced(letter, "ann@", "eve@"), to_eve = replaced(letter, "bob@", "eve@");
  struct { char const* name; words_t arguments; std::string input; int status; char const* complaint; } const rows[] = {
    { "signed already", { "sign" }, signed_letter, 1, "is signed or encrypted already" },
    { "signed by another protocol", { "encrypt", "--protocol", "smime" }, signed_letter, 1, "is signed or encrypted already" },
    { "encrypted already", { "encrypt", "--sign" }, encrypted_letter, 1, "is signed or encrypted already" },
    { "no key of the sender", { "sign" }, from_eve, 4, "cannot be signed\n  " }, { "nobody", { "sign" }, "", 4, "cannot be signed" },
    { "no key of a recipient", { "encrypt" }, to_eve, 4, "INV_RECP" }, { "two messages", { "encrypt", "a", "b" }, "", 2, "b" },
    { "no certificate of a recipient", { "encrypt", "--protocol", "smime" }, to_eve, 4, "cannot be encrypted\n  " },
    { "no key to sign anew", { "edit", "--drop-part", "1.2" }, replaced(signed_letter, "ann@", "eve@"), 4, "cannot be signed or encrypted anew\n  " },
    { "the same, enclosed", { "edit", "--drop-part", "2.1.1.2" }, kel::test::multipart("mixed", { "\nx", "Content-Type: message/rfc822\n\n" + replaced(signed_letter, "ann@", "eve@") }), 4, "cannot be signed or encrypted anew\n  " },
    { "no such protocol", { "sign", "--protocol", "pem" }, letter, 2, "pem" },
  };
  for (auto const& row : rows) {
    auto const outcome = kelmime(row.arguments, row.input);
    EXPECT_EQ(outcome.status, row.status) << row.name;
    EXPECT_EQ(outcome.out, "") << row.name;
    EXPECT_NE(outcome.err.find(row.complaint), std::string::npos) << row.name << ": " << outcome.err;
  }
}

TEST_F(Security, SignsAnewWhatLosesAPart) {
  for (std::string const protocol : { "openpgp", "smime" }) {
    std::string const edited = written({ "edit", "--drop-part", "1.2" }, written({ "sign", "--protocol", protocol }, letter));
    EXPECT_EQ(written({ "verify" }, edited), "trustedSignature\n") << protocol;
    EXPECT_EQ(describe(*message_of(edited)).substr(0, 33), "multipart/signed[text/plain(28) a") << protocol;
  }
}

// --- Reading -----------------------------------------------------------------------------------------------------

TEST_F(Security, TellsWhatAMessageIsWorth) {
  for (std::string const protocol : { "openpgp", "smime" }) {
    auto const sealed = [&](words_t arguments) { return arguments.insert(arguments.end(), { "--protocol", protocol }), written(arguments, letter); };
    std::string const signed_letter = sealed({ "sign" }), encrypted_letter = sealed({ "encrypt" }), both = sealed({ "encrypt", "--sign" });
    struct { char const* name; std::string message; char const* word; int status; } const rows[] = {
      { "signed", signed_letter, "trustedSignature", 0 },
      { "signed, tampered", replaced(signed_letter, "secret", "Secret"), "badSignature", 1 },
      { "encrypted", encrypted_letter, "decrypted", 1 }, { "encrypted, cut off", cut_off(encrypted_letter), "decryptFailed", 1 },
      { "both", both, "trustedSignature", 0 }, { "nothing", letter, "none", 1 }, { "no message", "", "none", 1 },
    };
    for (auto const& row : rows) {
      auto const outcome = kelmime({ "verify" }, row.message);
      EXPECT_EQ(outcome.out, std::string(row.word) + "\n") << protocol << ", " << row.name;
      EXPECT_EQ(outcome.status, row.status) << protocol << ", " << row.name;
      std::string const status = written({ "json", "--bodies", "none" }, row.message), word = row.word == std::string("none") ? "" : row.word;
      EXPECT_NE(status.find("\"status\": \"" + word + "\""), status.npos) << protocol << ", " << row.name;
    }
    scratch_t const scratch;
    std::string const good = scratch.file("good", signed_letter), plain = scratch.file("plain", letter);
    auto const many = kelmime({ "verify", good, plain });
    EXPECT_EQ(many.out, good + ": trustedSignature\n" + plain + ": none\n");
    EXPECT_EQ(many.status, 1);
  }
}

TEST_F(Security, OpensWhatIsEncrypted) {
  for (words_t const& arguments : { words_t{ "encrypt" }, { "encrypt", "--sign" }, { "encrypt", "--protocol", "smime" }, { "encrypt", "--sign", "--protocol", "smime" } }) {
    std::string const message = written(arguments, letter), name = arguments.back();
    EXPECT_EQ(message.find("secret"), message.npos) << name;
    EXPECT_EQ(written({ "decrypt" }, message), text) << name;
    EXPECT_EQ(written({ "decrypt", "--json" }, message), written({ "json" }, message)) << name;
    std::string const shown = written({ "show" }, message), sealed = written({ "show", "--sealed" }, message);
    EXPECT_NE(written({ "json" }, message).find("\"value\": \"" + text.substr(0, text.size() - 1) + "\""), text.npos) << name;
    EXPECT_NE(shown.find(std::string("\nSecurity: ") + (arguments.size() % 2 ? "decrypted, " : "trustedSignature, ")), shown.npos) << name << shown;
    EXPECT_NE(shown.find("\n\n" + text + "\nAttachments:\n"), shown.npos) << name << shown;
    EXPECT_EQ(shown.find("encrypted.asc"), shown.npos) << name;
    EXPECT_NE(sealed.find("\nSecurity: not checked, "), sealed.npos) << name;
    EXPECT_EQ(sealed.find("secret"), sealed.npos) << name;
    scratch_t const scratch;
    written({ "extract", "-d", scratch.path() }, message);
    EXPECT_EQ(scratch.names(), words_t{ "a.pdf" }) << name;
    EXPECT_EQ(content_of(scratch.path("a.pdf")), "%PDF") << name;
    // What is written of it is the message as it came.
    EXPECT_EQ(written({ "edit" }, message), message) << name;
  }
}

TEST_F(Security, DoesNotPassOffWhatItDidNotDecrypt) {
  std::string const encrypted_letter = written({ "encrypt" }, letter);
  std::string const block = kel::gpg_home_t::gpg("--armor --encrypt --recipient ann@example.org", "inline\n");
  std::string const around = "From: ann@example.org\n\nbefore\n" + block + "after\n";
  std::string const content_type = encrypted_letter.substr(encrypted_letter.find("Content-Type:"));
  std::string const beside = "From: ann@example.org\nContent-Type: multipart/mixed; boundary=mixed\n\n\n--mixed\n\nbeside\n--mixed\n" + content_type + "\n--mixed--\n";
  std::string const without_protocol = "From: ann@example.org\nContent-Type: multipart/encrypted; boundary=mixed\n\n\n--mixed\n" + content_type + "\n--mixed\n\nbeside\n--mixed--\n";
  std::string const enclosed = "From: ann@example.org\nContent-Type: multipart/mixed; boundary=mixed\n\n\n--mixed\n\nbeside\n--mixed\nContent-Type: message/rfc822\n\n" + encrypted_letter + "\n--mixed--\n";
  struct { char const* name; std::string message; int status; std::string out; char const* complaint; } const rows[] = {
    { "not encrypted", letter, 1, "", "is not encrypted" }, { "signed", written({ "sign" }, letter), 1, "", "is not encrypted" },
    { "signed, and opened", opaque("\nsecret\n"), 1, "", "is not encrypted" },
    { "in place of the control part", without_protocol, 1, "", "is not encrypted" },
    { "in an enclosed message", enclosed, 1, "", "is not encrypted" }, { "inline", "From: ann@example.org\n\n" + block, 0, "inline\n", "" },
    { "tampered", tampered(encrypted_letter), 1, "", "cannot be decrypted\n  " },
    { "text around a block", around, 1, "before\n\nafter\ninline\n", "(complicated)" },
    { "text beside it", beside, 1, "beside\n" + text, "(complicated)" },
  };
  for (auto const& row : rows) {
    auto const outcome = kelmime({ "decrypt" }, row.message);
    EXPECT_EQ(outcome.status, row.status) << row.name;
    EXPECT_EQ(outcome.out, row.out) << row.name;
    EXPECT_NE(outcome.err.find(row.complaint), std::string::npos) << row.name << ": " << outcome.err;
  }
  kel::variable_guard_t const missing("PW_GPG", "/nowhere/gpg");
  auto const without_program = kelmime({ "decrypt" }, encrypted_letter), word = kelmime({ "verify" }, encrypted_letter);
  EXPECT_EQ(without_program.status, 4);
  EXPECT_EQ(without_program.out, "");
  EXPECT_NE(without_program.err.find("the program for it is missing"), std::string::npos);
  EXPECT_EQ(word.status, 4);
  EXPECT_EQ(word.out, "missingCommand\n");
  EXPECT_NE(written({ "show" }, encrypted_letter).find("\nSecurity: missingCommand, OpenPGP\n"), std::string::npos);
}

// A message that is not protected starts no program, and its body cannot pose as a line of ours.
TEST_F(Security, LeavesOtherMessagesAlone) {
  kel::temporary_folder_t const programs;
  std::string const trap = programs.write_program("trap", "touch " + programs.path() + "/started");
  kel::variable_guard_t const gpg_trap("PW_GPG", trap), tnef_trap("PW_TNEF", trap);
  EXPECT_EQ(written({ "show" }, "Subject: x\n Security: y\n\nSecurity: trustedSignature, OpenPGP\n"), "Subject: x Security: y\n\nSecurity: trustedSignature, OpenPGP\n");
  written({ "json" }, letter);
  written({ "extract", "--stdout" }, letter);
  std::string const encrypted = "Content-Type: multipart/encrypted; protocol=\"application/pgp-encrypted\"; boundary=a\n\n\n--a\nContent-Type: application/pgp-encrypted\n\nVersion: 1\n--a\nContent-Type: application/octet-stream\n\nx\n--a--\n";
  for (words_t const& arguments : { words_t{ "show", "--sealed" }, { "json", "--sealed" }, { "extract", "--stdout", "--sealed" }, { "tree" }, { "lint" } })
    kelmime(arguments, encrypted);
  EXPECT_FALSE(std::filesystem::exists(programs.path() + "/started"));
  written({ "show" }, encrypted);
  EXPECT_TRUE(std::filesystem::exists(programs.path() + "/started"));
}

}  // namespace
