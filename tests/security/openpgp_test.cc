// One run of the program, and what is read from its words. The words of real runs are in gnupg_test.cc.
#include <kelmime/openpgp.h>

#include <unistd.h>

#include <gtest/gtest.h>

#include <kel/preferences.h>
#include <kel/text.h>
#include <kelmime/unset.h>
#include <helpers/surroundings.h>
#include <security/gpg.h>
#include <security/gpg_arguments.h>
#include <security/leftovers.h>
#include <security/signature_verdict.h>

namespace kel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using lines_t = std::vector<std::string>;

// A program in the place of GnuPG.
class StandIn : public testing::Test {
protected:
  ~StandIn() override { preferences::reset(); }

  void make_program(std::string const& commands, fs::perms permissions = fs::perms::owner_all) {
    fs::permissions(_folder.write_program("gp\"g", commands), permissions);
  }
  bool run(std::string const& args, std::string_view input = "", std::string const& signature = unset_string,
           command_limits_t const& limits = { 20s, 10'000 }) {
    return run_gpg(args, input, signature, output, status, limits);
  }
  // The arguments that the program gets, behind the fixed ones.
  lines_t arguments_of(std::string const& args, std::string const& signature = unset_string) {
    make_program("printf '%s\\n' \"$@\"");
    EXPECT_TRUE(run(args, "", signature)) << status;
    lines_t arguments = text::split(output, "\n");
    EXPECT_EQ(text::join(std::span(arguments).first(6), " "), "--no-verbose --batch --no-tty --openpgp --status-fd 2");
    return lines_t(arguments.begin() + 6, arguments.end() - 1);
  }

  std::string output, status;
  temporary_folder_t _folder;
  leftovers_t _temporary;
  variable_guard_t _gpg{ "PW_GPG", _folder.path() + "/gp\"g" };
};

TEST_F(StandIn, GetsEachValueAsOneArgument) {
  std::string const names[] = { "bob@x.org", "$(touch pwned)", "`id`", "a\"; id; \"b", "back\\slash\\", "-dash", "--list-keys", " a  b ", "*", "~", "!!", "${PW_PID}", "$'x'", "ü\x1B\x80" };
  lines_t expected = { "--textmode", "--armor", "--digest-algo", "SHA256" };
  gpg_people_t people = { .sender = "me\"$(id)@x.org", .to = { std::begin(names), std::end(names) }, .cc = {}, .bcc = { "`b`" } };
  for (std::string const& name : names)
    expected.insert(expected.end(), { "--recipient", "<" + name + ">" });
  expected.insert(expected.end(), { "--hidden-recipient", "<`b`>", "--recipient", people.sender, "--local-user", "<" + people.sender + ">", "--trust-model", "always", "--encrypt", "--sign" });
  auto const args = gpg_arguments("signAndEncrypt", people, "pgp-$(id)");
  ASSERT_TRUE(args);
  EXPECT_EQ(arguments_of(*args), expected);
  for (std::string const& bad : { std::string("a\nb"), std::string("a\rb"), std::string("a\0b", 3) }) {
    people.cc = { bad };
    EXPECT_EQ(gpg_arguments("encrypt", people, ""), std::nullopt);
  }
}

TEST_F(StandIn, ReadsTheSignatureFromAPrivateFile) {
  std::string const odd = _temporary.path() + "/$(id) \"`";
  fs::create_directory(odd);
  {
    variable_guard_t const tmpdir("TMPDIR", odd);
    lines_t const arguments = arguments_of("--verify", "signature");
    ASSERT_EQ(arguments.size(), 3U);
    EXPECT_TRUE(arguments[1].starts_with(odd + "/file_") && arguments[1].ends_with("/file.sig")) << arguments[1];
    EXPECT_EQ(arguments[2], "-");
    make_program("stat -c %a \"${@: -2:1}\" \"$(dirname \"${@: -2:1}\")\"; cat \"${@: -2:1}\"; exit 2");
    EXPECT_FALSE(run("--verify", "", std::string("sig\0", 4)));
    EXPECT_EQ(output, std::string("600\n700\nsig\0", 12));
  }
  {
    variable_guard_t const tmpdir("TMPDIR", _folder.write("a file", ""));
    make_program("echo x");
    EXPECT_TRUE(run("--verify", "", "")) << "an empty signature is one";
  }
  fs::remove(odd);
}

TEST_F(StandIn, EndsInAKnownWordWhateverItDoes) {
  std::string const good = "printf '[GNUPG:] GOODSIG 1 <a@x>\\n[GNUPG:] VALIDSIG " + std::string(40, 'A') + " x\\n[GNUPG:] TRUST_FULLY\\n' >&2;";
  struct { char const* name; std::string commands; char const* verdict; char const* status_end; } const rows[] = {
    { "signs", good, "validSignature", "TRUST_FULLY\n" },
    { "fails, which decides nothing", good + "exit 2", "validSignature", "TRUST_FULLY\n" },
    { "is killed", good + "kill -9 $$", "unknown", "[GNUPG:] INCOMPLETE (killed by signal 9)\n" },
    { "is silent", good + "exec sleep 60", "unknown", "[GNUPG:] INCOMPLETE (stopped after 300 ms)\n" },
    { "floods its output", good + "yes", "unknown", "[GNUPG:] INCOMPLETE (stopped after 10000 bytes of output)\n" },
    { "floods its status", good + "yes >&2", "unknown", "\n[GNUPG:] INCOMPLETE (stopped after 10000 bytes of output)\n" },
    { "says half a line", "printf '[GNUPG:] GOODSIG 1' >&2", "unknown", "GOODSIG 1" },
    { "is cut in the fingerprint", "printf '[GNUPG:] GOODSIG 1\\n[GNUPG:] VALIDSIG 0123' >&2", "unknown", "0123" },
    { "dies in a line", "printf '[GNUPG:] DECRYPTION_OKAY' >&2; kill -9 $$", "unknown", "OKAY\n[GNUPG:] INCOMPLETE (killed by signal 9)\n" },
    { "says nothing", "exit 0", "unknown", "" },
    { "speaks without prefix", "echo GOODSIG >&2", "unknown", "GOODSIG\n" },
  };
  std::string const input(1 << 20, 'x');
  for (auto const& row : rows) {
    make_program(row.commands);
    bool const is_endless = std::string_view(row.status_end).ends_with("ms)\n");
    run("--verify", input, "signature", { is_endless ? 300ms : 20s, 10'000 });
    EXPECT_EQ(signature_verdict(lines_with_prefix(status, "[GNUPG:] "), { "a@x" }, signature_engine_t::openpgp), row.verdict) << row.name << status;
    EXPECT_TRUE(status.ends_with(row.status_end)) << row.name << ": " << status.substr(status.size() - std::min<std::size_t>(status.size(), 100));
  }
  make_program("", fs::perms::owner_read);
  EXPECT_FALSE(run("--verify"));
  EXPECT_EQ(status.find("[GNUPG:]"), status.npos) << "not executable";
  variable_guard_t const missing("PW_GPG", "/no/such gpg");
  EXPECT_FALSE(run("--verify"));
  EXPECT_EQ(status, "[GNUPG:] MISSING_COMMAND (/no/such gpg)\n");
  EXPECT_EQ(parse_security_status(lines_with_prefix(status, "[GNUPG:] "), ""), "missingCommand");
}

TEST_F(StandIn, ListsAFewKeysOnce) {
  make_program("printf 'run\\n' >&2; printf '%s\\n' \"${@: -1}\" ''");
  auto const line = [](int key) { return "VALIDSIG " + text::format("%040d", key) + " 2024"; };
  lines_t lines = { line(1), "GOODSIG 1", line(1), "VALIDSIG $(id) x", "VALIDSIG " + std::string(39, 'A') + " x", "VALIDSIG " + std::string(40, 'A'), "NOTVALIDSIG " + line(3), line(2) };
  std::size_t const before = lines.size();
  add_key_to_details(lines);
  EXPECT_EQ(lines_t(lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end()), (lines_t{ text::format("%040d", 1), text::format("%040d", 2) }));
  for (int key = 0; key < 30; ++key)
    lines.push_back(line(key));
  EXPECT_EQ(add_key_to_details(lines, 5), 5U);
}

std::string trace_of(std::function<void()> const& run) {
  preferences::set("PwDebugSecurity", true);
  std::string const trace = complaints_of(run);
  preferences::reset();
  return trace;
}

TEST_F(StandIn, IsTraced) {
  make_program("cat; printf 'a\\n\\n[GNUPG:] \\033[1mb\\n' >&2");
  std::string const long_input = std::string(199, 'x') + "\n" + std::string(50, 'y');
  EXPECT_EQ(trace_of([&] { run("--verify", long_input); }),
            "OpenPGP\n gpg2 --no-verbose --batch --no-tty --openpgp --status-fd 2 --verify\n"
            " Input string (250): \"" + std::string(199, 'x') + "\\n...\"\n Result: Success\n"
            " Output string (250): \"" + std::string(199, 'x') + "\\n...\"\n Detail: a\n Detail: [GNUPG:] {1B}[1mb\n");
  make_program("exit 1");
  EXPECT_EQ(trace_of([&] { run("--decrypt", "a\tb\r\n\x1B\\ü"); }),
            "OpenPGP\n gpg2 --no-verbose --batch --no-tty --openpgp --status-fd 2 --decrypt\n"
            " Input string (9): \"a\tb\\r\\n{1B}\\ü\"\n Result: Failure\n Output string (0): \"\"\n");
}

TEST(EnvironmentVariables, AddsWhatIsPreferredAndReplacesNothing) {
  variable_guard_t const own("PW_PID", "1"), given("GIVEN", "process"), gpg("PW_GPG", std::nullopt), path("PATH", "/no/programs");
  EXPECT_EQ(environment_variables().at("PW_GPG"), "/usr/local/MacGPG2/bin/gpg2");
  plist::parsed_t const preferred = plist::parse(
      "( { name = NEW; value = x; enabled = YES; }, { name = NEW; value = y; enabled = YES; }, { name = GIVEN; value = z; enabled = 1; }, word,"
      "  { name = OFF; value = x; enabled = NO; }, { name = HALF; enabled = YES; }, { name = KIND; value = (); enabled = YES; }, { name = UNSAID; value = x; },"
      "  { name = PW_GPG; value = mine; enabled = YES; }, () )");
  preferences::set("environmentVariables", preferred.value);
  std::map<std::string, std::string> variables;
  EXPECT_EQ(complaints_of([&] { variables = environment_variables(); }), "Warning: Non-dictionary element in environmentVariables\nWarning: Non-dictionary element in environmentVariables\n");
  EXPECT_EQ(variables.at("PW_PID"), std::to_string(getpid()));
  EXPECT_EQ(variables.at("NEW") + variables.at("GIVEN") + variables.at("PW_GPG"), "xprocessmine");
  for (char const* const name : { "OFF", "HALF", "KIND", "UNSAID" })
    EXPECT_FALSE(variables.contains(name)) << name;
  preferences::set("environmentVariables", "text");
  EXPECT_EQ(complaints_of(environment_variables), "Warning: environmentVariables is not an array\n");
  preferences::reset();
}

// The names stay for the life of the process: no other test may use these addresses.
TEST(KeyNames, ComeFromTheSecurityList) {
  temporary_folder_t const folder;
  setup_gpg_smime_map(folder.path());
  EXPECT_EQ(map_address_to_gpg_name("Ann@mapped.org"), "<Ann@mapped.org>");
  folder.write("Security.plist", "{ map = ( { address = \"Ann@mapped.org\"; userID = \"0x1\\\"23\"; serial = \"0A: 1b:2C\"; }, word, { address = \"bob@mapped.org\"; userID = \"\"; serial = 7; } ); }");
  EXPECT_EQ(trace_of([&] { setup_gpg_smime_map(folder.path()); }), "Setup mapping of GPG address “Ann@mapped.org” to user ID: “0x1\"23”\n");
  EXPECT_EQ(trace_of([&] { EXPECT_EQ(map_address_to_gpg_name("ann@mapped.org"), "0x1\"23"); }), "Mapping GPG address “ann@mapped.org” to user ID: “0x1\"23”\n");
  EXPECT_EQ(trace_of([&] { EXPECT_EQ(map_address_to_smime_serial("Ann@mapped.org"), "0A1b2C"); }), "Mapping address “Ann@mapped.org” to user certificate serial: “0A1b2C”\n");
  EXPECT_EQ(map_address_to_gpg_name("bob@mapped.org") + map_address_to_smime_serial("bob@mapped.org") + map_address_to_smime_serial("eve@mapped.org"), "<bob@mapped.org>7");
  for (char const* const broken : { "{ map = (", "(a)" }) {
    folder.write("Security.plist", broken);
    EXPECT_TRUE(complaints_of([&] { setup_gpg_smime_map(folder.path()); }).starts_with("Warning: ")) << broken;
  }
  EXPECT_EQ(map_address_to_gpg_name("Ann@mapped.org"), "0x1\"23") << "adds, never forgets";
}

TEST(GpgArguments, FollowTheLevel) {
  gpg_people_t const people = { "me@x.org", { "to@x.org" }, { "cc@x.org" }, { "bcc@x.org" } };
  std::string const recipients = " --recipient \"<to@x.org>\" --recipient \"<cc@x.org>\" --hidden-recipient \"<bcc@x.org>\" --recipient \"me@x.org\"";
  struct { char const* level; char const* micalg; std::string expected; } const rows[] = {
    { "sign", "pgp-sha512", "--textmode --armor --digest-algo SHA512 --local-user \"<me@x.org>\" --detach-sign" },
    { "sign", "pgp-SHA256 --yes", "--textmode --armor --digest-algo SHA256 --local-user \"<me@x.org>\" --detach-sign" },
    { "sign", "pgp-aaaaaaaaaaaaaaaaaaaaa", "--textmode --armor --digest-algo SHA256 --local-user \"<me@x.org>\" --detach-sign" },
    { "encrypt", "x", "--textmode --armor --digest-algo SHA256" + recipients + " --trust-model always --encrypt" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(gpg_arguments(row.level, people, row.micalg), row.expected);
  preferences::set("PwOpenPGPHashFunction", "");
  EXPECT_EQ(gpg_arguments("sign", people, "pgp-sha512"), "--textmode --armor --local-user \"<me@x.org>\" --detach-sign");
  preferences::reset();
}

TEST(GpgHashName, ReadsTheCreatedSignature) {
  struct { char const* status; char const* expected; char const* warning; } const rows[] = {
    { "gpg: x\n[GNUPG:] SIG_CREATED D 22 10 01 1700000000 ABC\n", "sha512", "" }, { "[GNUPG:] SIG_CREATED d 1 2 00 1 A\n", "sha1", "" },
    { "SIG_CREATED D 22 10 01\n", "sha256", "" }, { "[GNUPG:] SIG_CREATED D 22\n", "sha256", "" },
    { "[GNUPG:] SIG_CREATED D 22 4 01\n", "sha256", "Warning: Unknown hash algorithm (4)\n" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(complaints_of([&] { EXPECT_EQ(gpg_hash_name(row.status), row.expected) << row.status; }), row.warning) << row.status;
  for (auto const& [number, name] : { std::pair(1, "md5"), { 2, "sha1" }, { 3, "rmd160" }, { 8, "sha256" }, { 9, "sha384" }, { 10, "sha512" }, { 11, "sha224" } })
    EXPECT_EQ(gpg_hash_name(text::format("[GNUPG:] SIG_CREATED D 1 %d 00", number)), name);
}

TEST(LinesWithPrefix, CutsAndDropsEmptyLines) {
  EXPECT_EQ(lines_with_prefix("[G] a\nb\n[G] \n[G] c\n x[G] d", "[G] "), (lines_t{ "a", "c" }));
  EXPECT_EQ(lines_with_prefix("a\n\nb\n", ""), (lines_t{ "a", "b" }));
}

TEST(ParseSecurityStatus, ReadsLineByLine) {
  struct { char const* name; lines_t lines; char const* expected; } const rows[] = {
    { "nothing", {}, "unknown" }, { "the first line decides", { "BADSIG", "GOODSIG", "TRUST_FULLY" }, "badSignature" },
    { "not within a line", { " GOODSIG", "x GOODSIG", "goodsig" }, "unknown" },
    { "a signature before decryption", { "DECRYPTION_OKAY", "EXPSIG" }, "expiredSignature" },
    { "expired key", { "EXPKEYSIG" }, "expiredSignatureKey" }, { "revoked key", { "REVKEYSIG", "GOODSIG" }, "revokedSignatureKey" },
    { "marginal trust", { "GOODSIG", "TRUST_MARGINAL" }, "validSignature" },
    { "trust after doubt", { "GOODSIG", "TRUST_UNDEFINED", "TRUST_FULLY" }, "trustedSignature" },
    { "ultimate trust", { "TRUST_ULTIMATE", "GOODSIG" }, "trustedSignature" },
    { "trust without signature", { "TRUST_ULTIMATE", "DECRYPTION_OKAY" }, "decrypted" },
    { "capitals in the key", { "GOODSIG", "uid:u:Ann <ANN@x.org>:" }, "validSignature" },
    { "mismatch beats trust", { "GOODSIG", "TRUST_FULLY", "uid:u:Eve <eve@x.org>:" }, "senderMismatch" },
    { "one of many", { "GOODSIG", "uid::<eve@x.org>", "uid::<ann@x.org>" }, "validSignature" },
    { "greedy", { "GOODSIG", "uid::<ann@x.org> <eve@x.org>" }, "senderMismatch" },
    { "no addresses", { "GOODSIG", "uid::Ann", "uid::>ann<" }, "validSignature" },
    { "the first outcome", { "NO_PUBKEY", "DECRYPTION_OKAY" }, "noPublicKey" },
    { "decryption failed", { "DECRYPTION_FAILED", "DECRYPTION_OKAY" }, "decryptFailed" },
    { "untrusted recipient", { "INV_RECP 1 x", "INV_RECP 10 x" }, "untrustedRecipientKey" },
    { "missing command", { "MISSING_COMMAND (x)" }, "missingCommand" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(parse_security_status(row.lines, "ann@x.org"), row.expected) << row.name;
}

lines_t joined(std::initializer_list<lines_t> pieces) {
  lines_t lines;
  for (lines_t const& piece : pieces)
    lines.insert(lines.end(), piece.begin(), piece.end());
  return lines;
}

TEST(SignatureVerdict, IsNotTalkedIntoTrust) {
  std::string const A(40, 'A'), B(40, 'B');
  lines_t const new_a = { "NEWSIG", "GOODSIG 1 Ann", "VALIDSIG " + A + " x" }, new_b = { "NEWSIG", "GOODSIG 2 Eve", "VALIDSIG " + B + " x" };
  lines_t const bad = { "NEWSIG", "BADSIG 3 x" }, unchecked = { "NEWSIG", "ERRSIG 4 x", "NO_PUBKEY 4" }, trust = { "TRUST_FULLY 0 pgp" };
  auto const key = [](std::string const& fingerprint, lines_t const& ids) {
    lines_t records = { "tru::1:", "pub:u:255:22:1:1:::u:::scESC:", "fpr:::::::::" + fingerprint + ":" };
    for (std::string const& id : ids)
      records.push_back("uid:" + id.substr(0, 1) + "::::1::H::Name " + id.substr(1) + "::::::::::0:");
    records.push_back("sub:u:255:18:2:1::::::e:");
    records.push_back("fpr:::::::::" + std::string(40, 'C') + ":");
    return records;
  };
  lines_t const ann = key(A, { "u<ann@x.org>" }), eve = key(B, { "u<eve@x.org>" });
  struct { char const* name; lines_t lines; char const* expected; lines_t senders = { "Ann@x.org" }; } const rows[] = {
    { "trusted", joined({ new_a, trust, ann }), "trustedSignature" },
    { "a subkey signed", joined({ { "GOODSIG", "VALIDSIG " + std::string(40, 'C') + " x" }, trust, ann }), "trustedSignature" },
    { "not trusted", joined({ new_a, ann }), "validSignature" },
    { "no sender", joined({ new_a, trust, ann }), "senderMismatch", {} },
    { "two senders", joined({ new_a, trust, ann }), "validSignature", { "eve@x.org", "ann@x.org" } },
    { "two other senders", joined({ new_a, trust, ann }), "senderMismatch", { "eve@x.org", "joe@x.org" } },
    { "two signatures", joined({ new_a, trust, new_a, trust, ann }), "validSignature" },
    { "the trust of another signature", joined({ new_a, new_b, trust, ann, eve }), "validSignature" },
    { "the user IDs of another key", joined({ new_b, trust, ann, eve }), "senderMismatch" },
    { "the user IDs of two keys", joined({ new_b, trust, new_a, ann, eve }), "senderMismatch" },
    { "the first result decides", joined({ bad, new_a, trust, ann }), "badSignature" },
    { "a bad one behind", joined({ new_a, trust, bad, ann }), "validSignature" },
    { "one that cannot be checked in front", joined({ unchecked, new_a, trust, ann }), "validSignature" },
    { "only one that cannot be checked", joined({ unchecked, trust }), "noPublicKey" },
    { "results without openings", joined({ { "GOODSIG 2" }, { "GOODSIG 1", "VALIDSIG " + A + " x" }, trust, ann }), "unknown" },
    { "no key listing", joined({ new_a, trust }), "validSignature" },
    { "a key without addresses", joined({ new_a, trust, key(A, { "uAnn" }) }), "validSignature" },
    { "half an address", joined({ new_a, trust, key(A, { "u<ann@x.org" }) }), "validSignature" },
    { "an uncertified user ID beside a certified one", joined({ new_a, trust, key(A, { "f<eve@x.org>", "-<ann@x.org>" }) }), "senderMismatch" },
    { "the same, not valid", joined({ new_a, trust, key(A, { "u<eve@x.org>", "n<ann@x.org>" }) }), "senderMismatch" },
    { "uncertified user IDs alone", joined({ new_a, key(A, { "-<eve@x.org>", "q<ann@x.org>" }) }), "validSignature" },
    { "a revoked user ID", joined({ new_a, trust, key(A, { "r<ann@x.org>", "-<eve@x.org>" }) }), "senderMismatch" },
    { "an expired user ID", joined({ new_a, trust, key(A, { "e<ann@x.org>", "u<eve@x.org>" }) }), "senderMismatch" },
    { "nothing but an invalid user ID", joined({ new_a, trust, key(A, { "i<ann@x.org>" }) }), "validSignature" },
    { "no VALIDSIG", joined({ { "NEWSIG", "GOODSIG 1" }, trust, ann }), "unknown" },
    { "a short fingerprint", joined({ { "GOODSIG 1", "VALIDSIG " + A.substr(1) + " x" }, trust, ann }), "unknown" },
    { "expired", joined({ { "EXPSIG 1", "VALIDSIG " + A + " x" }, trust, ann }), "expiredSignature" },
    { "decrypted", { "BEGIN_DECRYPTION", "DECRYPTION_OKAY", "GOODMDC" }, "decrypted" },
    { "decrypted and signed", joined({ { "BEGIN_DECRYPTION" }, new_a, trust, { "DECRYPTION_OKAY" }, ann }), "trustedSignature" },
    { "tampered and signed", joined({ { "BEGIN_DECRYPTION" }, new_a, trust, { "DECRYPTION_FAILED" }, ann }), "decryptFailed" },
    { "denied afterwards", { "BEGIN_DECRYPTION", "DECRYPTION_OKAY", "BADMDC" }, "decryptFailed" },
    { "decryption without a word about its end", joined({ { "BEGIN_DECRYPTION" }, new_a, trust, ann }), "decryptFailed" },
    { "stopped", joined({ new_a, trust, ann, { "INCOMPLETE (x)" } }), "unknown" },
    { "a verdict in the form of a key record", joined({ { "NEWSIG", "GOODSIG:u 1 x", "VALIDSIG " + A + " x" }, trust }), "unknown" },
    { "stopped after a bad one", joined({ bad, { "INCOMPLETE (x)" } }), "badSignature" },
    { "stopped after decryption", { "DECRYPTION_OKAY", "INCOMPLETE (x)" }, "unknown" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(signature_verdict(row.lines, row.senders, signature_engine_t::openpgp), row.expected) << row.name;

  lines_t const certificate = { "DECRYPTION_OKAY", "GOODSIG <ann@x.org>", "TRUST_FULLY ..." };
  EXPECT_EQ(signature_verdict(certificate, { "ann@x.org" }, signature_engine_t::smime), "trustedSignature");
  EXPECT_EQ(signature_verdict(certificate, {}, signature_engine_t::smime), "validSignature");
  EXPECT_EQ(signature_verdict(joined({ certificate, certificate }), { "ann@x.org" }, signature_engine_t::smime), "validSignature");
  EXPECT_EQ(signature_verdict(certificate, { "ann@x.org" }, signature_engine_t::openpgp), "unknown");
}

TEST(NotAnError, TellsOfTheSystemsCodes) {
  struct { int code; char const* message; } const rows[] = {
    { 0, "as before" }, { 2, "No such file or directory Error code: 2\n" }, { -25299, "Unknown error. Error code: -25299\n" },
  };
  for (auto const& row : rows) {
    std::string message = "as before";
    EXPECT_EQ(not_an_error(row.code, message), row.code == 0);
    EXPECT_EQ(message, row.message);
  }
}

TEST(PgpStrippedCopy, LeavesTheTextAlone) {
  struct { char const* name; char const* text; char const* expected; } const rows[] = {
    { "plain", "a\n\nb\n", "a\n\nb\n" }, { "last line without line feed", "a\nb", "a\nb\n" },
    { "empty", "", "" }, { "headers without end", "a\n-----BEGIN PGP SIGNED MESSAGE-----\nHash: x\nb\n", "a\n" },
    { "block", "before\n-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA256\nX: y\n\n- -- \ntext\n-----BEGIN PGP SIGNATURE-----\n\nabc\n-----END PGP SIGNATURE-----\nafter\n", "before\n- -- \ntext\nafter\n" },
    { "signature without end", "a\n-----BEGIN PGP SIGNATURE-----\nb\n", "a\n" },
    { "only whole lines", " -----BEGIN PGP SIGNATURE-----\n> -----BEGIN PGP SIGNED MESSAGE-----\n-----END PGP SIGNATURE----- \n", " -----BEGIN PGP SIGNATURE-----\n> -----BEGIN PGP SIGNED MESSAGE-----\n-----END PGP SIGNATURE----- \n" },
    { "two blocks", "-----BEGIN PGP SIGNED MESSAGE-----\n\na\n-----BEGIN PGP SIGNATURE-----\nx\n-----END PGP SIGNATURE-----\n-----BEGIN PGP SIGNED MESSAGE-----\n\nb\n", "a\nb\n" },
  };
  for (auto const& row : rows) {
    std::string out = "<";
    pgp_stripped_copy(row.text, row.text + std::string_view(row.text).size(), out);
    EXPECT_EQ(out, "<" + std::string(row.expected)) << row.name;
  }
}

}  // namespace
}  // namespace kel
