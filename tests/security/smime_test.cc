#include <kelmime/smime.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <functional>
#include <map>

#include <openssl/cms.h>

#include <codec/line_ends.h>
#include <helpers/certificates.h>
#include <helpers/exact_copy.h>
#include <helpers/messages.h>
#include <helpers/surroundings.h>
#include <helpers/threads.h>
#include <kel/format_string.h>
#include <kel/preferences.h>
#include <kel/regexp.h>
#include <kel/text.h>
#include <kelmime/openpgp.h>
#include <kelmime/unset.h>

namespace kel {

namespace {

using namespace test;

std::string const entity = "Content-Type: text/plain\n\nDear Bob,\n\nmeet at 8.\n";

// Made once; a test puts those into its folder that it is about.
struct people_t {
  credentials_t authority = issue({ .is_authority = true });
  credentials_t other_authority = issue({ .is_authority = true });
  credentials_t ann = issue({ { "Ann@Example.org", "ann@home.example" }, 0x00A1 }, &authority);
  credentials_t bob = issue({ { "bob@example.org" }, 0xB2 }, &authority);
  credentials_t carol = issue({ .addresses = { "carol@example.org" }, .serial = 0xC3, .is_rsa = true }, &authority);
  credentials_t strange_ann = issue({ { "ann@example.org" } }, &other_authority);
  credentials_t old_ann = issue({ { "ann@example.org" }, 0xA0, -60, -30 }, &authority);
  credentials_t young_ann = issue({ { "ann@example.org" }, 0xA2, 10, 30 }, &authority);
  credentials_t server_ann = issue({ .addresses = { "ann@example.org" }, .purpose = "serverAuth" }, &authority);
  credentials_t encrypting_ann = issue({ .addresses = { "ann@example.org" }, .serial = 0xAE, .usage = "keyAgreement" }, &authority);
};

people_t const& people() {
  static people_t const all;
  return all;
}

// A certificate folder that is in force while it lives, with the one authority.
class folder_t {
public:
  explicit folder_t(std::map<std::string, std::string> const& files) {
    for (auto const& [name, content] : files)
      _folder.write(name, content);
    _folder.write("authorities/one.pem", people().authority.pem());
    preferences::set("PwCertificateFolder", _folder.path());
  }
  ~folder_t() { preferences::reset(); }

  std::string const& path() const { return _folder.path(); }
  std::string write(std::string_view name, std::string_view content) const { return _folder.write(name, content); }
  std::string read(std::string_view name) const { return path::content(path::join(path(), name)); }

  // Runs the program in the folder.
  int run(std::string const& command) const {
    return std::system(("cd '" + path() + "' && openssl " + command + " >/dev/null 2>&1").c_str());
  }

private:
  temporary_folder_t _folder;
};

std::map<std::string, std::string> usual_files() {
  return { { "identities/ann.pem", people().ann.both() }, { "certificates/bob.pem", people().bob.pem() },
           { "certificates/carol.der", people().carol.der() } };
}

struct outcome_t {
  std::string word, output, status;
  trust_result_t trust;
};

outcome_t read(std::string const& message, std::string const& address, std::string const& detached = unset_string) {
  outcome_t outcome;
  outcome.trust = on_exact_copy(message, [&](char const* begin, char const* end) {
    return cms_decrypt(address, begin, static_cast<std::size_t>(end - begin), detached, outcome.output, outcome.status);
  });
  outcome.word = parse_security_status(lines_with_prefix(outcome.status, ""), address);
  return outcome;
}

// The status instead of a message that could not be made.
std::string made(std::string const& address, std::vector<std::string> const& recipients, bool sign, std::string const& content = entity) {
  std::string output, status;
  return cms_encrypt(address, recipients, sign, !recipients.empty(), content, output, status) ? output : "failed: " + status;
}

std::string signature_of_ann(std::string const& content = entity) { return made("ann@example.org", {}, true, content); }

// A message by OpenSSL's own means, for what the library would never write.
std::string written(CMS_ContentInfo* message) {
  std::string const der = credentials_t::written([&](BIO* out) { i2d_CMS_bio(out, message); });
  CMS_ContentInfo_free(message);
  return der;
}

CMS_ContentInfo* signed_by(std::vector<credentials_t> const& signers, std::string const& content, unsigned flags = 0,
                           unsigned signer_flags = 0, EVP_MD const* digest = EVP_sha256(), int type = NID_pkcs7_data) {
  std::shared_ptr<BIO> const in(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())), BIO_free);
  CMS_ContentInfo* const message = CMS_sign(nullptr, nullptr, nullptr, nullptr, flags | CMS_BINARY | CMS_PARTIAL);
  CMS_set1_eContentType(message, OBJ_nid2obj(type));
  for (credentials_t const& signer : signers)
    CMS_add1_signer(message, signer.certificate.get(), signer.key.get(), digest, signer_flags);
  ASN1_OCTET_STRING** const bytes = CMS_get0_content(message);
  if (CMS_final(message, in.get(), nullptr, flags | CMS_BINARY) != 1 && *bytes)
    ASN1_STRING_set(*bytes, content.data(), static_cast<int>(content.size()));  // it leaves them out without a signer
  return message;
}

// --- Signatures --------------------------------------------------------------------------------------------------

TEST(Smime, SignaturesAreWorthWhatTheirCertificatesAre) {
  folder_t const folder({});
  using enum trust_result_t;
  struct { char const* name; credentials_t const& signer; std::string address; trust_result_t trust; } const rows[] = {
    { "good", people().ann, "ann@example.org", unspecified }, { "letter case", people().ann, "ANN@example.ORG", unspecified },
    { "its second address", people().ann, "ann@home.example", unspecified }, { "RSA", people().carol, "carol@example.org", unspecified },
    { "another address", people().ann, "bob@example.org", recoverable_failure }, { "part of it", people().ann, "nn@example.org", recoverable_failure },
    { "no address", people().ann, unset_string, invalid }, { "empty address", people().ann, "", recoverable_failure },
    { "an address of two lines", people().ann, "ann@example.org\nTRUST_FULLY", recoverable_failure },
    { "unknown authority", people().strange_ann, "ann@example.org", recoverable_failure },
    { "expired", people().old_ann, "ann@example.org", recoverable_failure }, { "not yet valid", people().young_ann, "ann@example.org", recoverable_failure },
    { "made for servers", people().server_ann, "ann@example.org", recoverable_failure },
  };
  for (auto const& row : rows) {
    std::string const signature = written(signed_by({ row.signer }, with_crlf(entity), CMS_DETACHED));
    outcome_t const outcome = read(signature, row.address, entity);
    EXPECT_EQ(outcome.word, row.trust == unspecified ? "trustedSignature" : "validSignature") << row.name << "\n" << outcome.status;
    EXPECT_EQ(outcome.trust, row.trust) << row.name;
    EXPECT_EQ(outcome.output, "") << row.name;
    EXPECT_EQ(read(signature, row.address, entity + "PS\n").word, "badSignature") << row.name;
  }
}

TEST(Smime, WhatIsSignedMayHaveEitherLineEnd) {
  folder_t const folder(usual_files());
  std::string const in_crlf = with_crlf(entity);
  struct { char const* name; std::string signature; std::string content; char const* word; } const rows[] = {
    { "ours", signature_of_ann(), entity, "trustedSignature" }, { "made of CR LF", signature_of_ann(in_crlf), entity, "trustedSignature" },
    { "ours, read with CR LF", signature_of_ann(), in_crlf, "trustedSignature" }, { "nothing", signature_of_ann(), "", "badSignature" },
    { "a CR of its own", signature_of_ann("a\r\r\nb\rc\n"), "a\r\r\nb\rc\n", "trustedSignature" },
    { "over LF", written(signed_by({ people().ann }, entity, CMS_DETACHED)), entity, "trustedSignature" },
    { "a changed letter", signature_of_ann(), text::join(text::split(entity, "8"), "9"), "badSignature" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(read(row.signature, "ann@example.org", row.content).word, row.word) << row.name;
  EXPECT_EQ(cms_digest_name(signature_of_ann()), "sha-256");
  EXPECT_EQ(cms_digest_name(entity), "");
  std::string signer = "untouched";
  EXPECT_FALSE(cms_get_signer(entity, signer));
  EXPECT_EQ(signer, "untouched");
  EXPECT_TRUE(cms_get_signer(signature_of_ann(), signer));
  EXPECT_EQ(signer, "Ann@Example.org");
}

TEST(Smime, SpoofsAreNoSignatures) {
  folder_t const folder(usual_files());
  std::string const in_crlf = with_crlf(entity);
  credentials_t const split_ann = issue({ { "x@y\nTRUST_FULLY", "ann@example.org" } }, &people().authority);
  credentials_t const zero_ann = issue({ { std::string("ann@example.org\0.evil", 21) } }, &people().authority);
  std::vector<credentials_t> const crowd(17, people().ann);
  auto const with_addresses = [](std::size_t count) {
    std::vector<std::string> addresses = { "ann@example.org" };
    while (addresses.size() < count)
      addresses.push_back(std::to_string(addresses.size()) + "@example.org");
    return issue({ addresses }, &people().authority);
  };
  std::string const attributes = "1\x1A" "0\x18\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x09\x04 and so on";
  struct { char const* name; std::string message; std::string detached; char const* word; } const rows[] = {
    { "opaque data for a signature", written(signed_by({ people().ann }, in_crlf)), entity, "unknown" },
    { "opaque data, other content", written(signed_by({ people().ann }, in_crlf)), "Hi\n", "unknown" },
    { "a signature without signer", written(signed_by({}, in_crlf, CMS_DETACHED)), entity, "unknown" },
    { "content without signer", written(signed_by({}, in_crlf)), unset_string, "unknown" }, { "no CMS", entity, entity, "unknown" },
    { "a signature without content", signature_of_ann(), unset_string, "unknown" }, { "nothing", "", entity, "unknown" },
    { "an envelope for a signature", made("ann@example.org", { "ann@example.org" }, false), entity, "unknown" },
    { "two lines in an address", written(signed_by({ split_ann }, in_crlf, CMS_DETACHED)), entity, "unknown" },
    { "NUL in an address", written(signed_by({ zero_ann }, in_crlf, CMS_DETACHED)), entity, "unknown" },
    { "the same, changed", written(signed_by({ split_ann }, in_crlf, CMS_DETACHED)), "Hi\n", "badSignature" },
    { "too many signers", written(signed_by(crowd, in_crlf, CMS_DETACHED, CMS_NOCERTS)), entity, "unknown" },
    { "many addresses", written(signed_by({ with_addresses(256) }, in_crlf, CMS_DETACHED)), entity, "trustedSignature" },
    { "too many addresses", written(signed_by({ with_addresses(257) }, in_crlf, CMS_DETACHED)), entity, "unknown" },
    { "no certificate", written(signed_by({ people().strange_ann }, in_crlf, CMS_DETACHED | CMS_NOCERTS, CMS_NOCERTS)), entity, "noPublicKey" },
    { "MD5", written(signed_by({ people().carol }, in_crlf, CMS_DETACHED, 0, EVP_md5())), entity, "badSignature" },
    { "SHA-3, by another",             written(signed_by({ people().carol }, in_crlf, CMS_DETACHED, 0, EVP_sha3_256())), entity, "validSignature" },
    { "no attributes", written(signed_by({ people().ann }, in_crlf, CMS_DETACHED, CMS_NOATTR)), entity, "trustedSignature" },
    { "attributes for content", written(signed_by({ people().ann }, attributes, CMS_DETACHED, CMS_NOATTR)), attributes, "badSignature" },
    { "two good signers", written(signed_by({ people().ann, people().bob }, in_crlf, CMS_DETACHED)), entity, "trustedSignature" },
  };
  for (auto const& row : rows) {
    outcome_t const outcome = read(row.message, "ann@example.org", row.detached);
    EXPECT_EQ(outcome.word, row.word) << row.name << "\n" << outcome.status;
    EXPECT_EQ(outcome.output, row.name == std::string("content without signer") ? entity : "") << row.name;
  }
}

// The signer vouches for the type of the content too: what a time stamp authority signs is no mail.
TEST(Smime, TheTypeOfTheContentIsSigned) {
  folder_t const folder(usual_files());
  std::string stamp = written(signed_by({ people().ann }, with_crlf(entity), 0, 0, EVP_sha256(), NID_id_smime_ct_TSTInfo));
  EXPECT_EQ(read(stamp, "ann@example.org").word, "trustedSignature");
  std::string const type("\x06\x0B\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x01\x04", 13);
  std::size_t const at = stamp.find(type);
  ASSERT_NE(at, stamp.npos);
  stamp[at + 12] = '\x05';
  EXPECT_EQ(read(stamp, "ann@example.org").word, "badSignature");
  std::string const bare = written(signed_by({ people().ann }, with_crlf(entity), 0, CMS_NOATTR, EVP_sha256(), NID_id_smime_ct_TSTInfo));
  EXPECT_EQ(read(bare, "ann@example.org").word, "badSignature");
}

TEST(Smime, OneBadSignerIsEnough) {
  folder_t const folder(usual_files());
  CMS_ContentInfo* const message = signed_by({ people().ann, people().bob }, with_crlf(entity), CMS_DETACHED);
  ASN1_OCTET_STRING* const bytes = CMS_SignerInfo_get0_signature(sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(message), 1));
  std::string changed(reinterpret_cast<char const*>(ASN1_STRING_get0_data(bytes)), static_cast<std::size_t>(ASN1_STRING_length(bytes)));
  changed.back() ^= 1;
  ASN1_STRING_set(bytes, changed.data(), static_cast<int>(changed.size()));
  outcome_t const outcome = read(written(message), "ann@example.org", entity);
  EXPECT_EQ(outcome.word, "badSignature");
  EXPECT_EQ(outcome.status.find("GOODSIG"), outcome.status.npos) << outcome.status;
}

TEST(Smime, ACertificateAmongTheAuthoritiesVouchesForItself) {
  credentials_t const lonely = issue({ { "lonely@example.org" } });
  folder_t const folder({ { "identities/lonely.pem", lonely.both() } });
  std::string const signature = made("lonely@example.org", {}, true);
  EXPECT_EQ(read(signature, "lonely@example.org", entity).word, "validSignature");
  folder.write("authorities/lonely.pem", lonely.pem());
  outcome_t const outcome = read(signature, "lonely@example.org", entity);
  EXPECT_EQ(outcome.word, "trustedSignature");
  EXPECT_EQ(outcome.trust, trust_result_t::proceed);
}

TEST(Smime, AuthoritiesInBetweenTravelWithTheSignature) {
  credentials_t const between = issue({ .is_authority = true }, &people().authority);
  credentials_t const dora = issue({ { "dora@example.org" } }, &between);
  std::string signature;
  {
    folder_t const hers({ { "identities/dora.pem", dora.both() + between.pem() } });
    signature = made("dora@example.org", {}, true);
  }
  folder_t const others({});
  EXPECT_EQ(read(signature, "dora@example.org", entity).word, "trustedSignature");
}

// --- Envelopes ---------------------------------------------------------------------------------------------------

TEST(Smime, EnvelopesOpenForEveryRecipient) {
  std::vector<std::string> const everybody = { "bob@example.org", "Carol@Example.ORG", "ann@example.org" };
  std::string encrypted, both;
  {
    folder_t const hers(usual_files());
    encrypted = made("ann@example.org", everybody, false);
    both = made("ann@example.org", everybody, true);
  }
  for (credentials_t const& reader : { people().ann, people().bob, people().carol, people().old_ann }) {
    folder_t const folder({ { reader.key == people().ann.key ? "preferred/own.pem" : "identities/own.pem", reader.both() } });
    bool const is_recipient = reader.key != people().old_ann.key;  // who has a certificate of the same address
    outcome_t const outcome = read(encrypted, "ann@example.org"), outcome_of_both = read(both, "ann@example.org");
    EXPECT_EQ(outcome.word, is_recipient ? "decrypted" : "decryptFailed") << outcome.status;
    EXPECT_EQ(outcome_of_both.word, is_recipient ? "trustedSignature" : "decryptFailed") << outcome_of_both.status;
    EXPECT_EQ(outcome.output, is_recipient ? entity : "");
    EXPECT_EQ(outcome_of_both.output, outcome.output);
  }
  folder_t const nobodys({});
  EXPECT_EQ(read(encrypted, "ann@example.org").word, "decryptFailed");
}

TEST(Smime, NothingIsEncryptedThatTheSenderCannotRead) {
  std::map<std::string, std::string> files = usual_files();
  files["identities/work.pem"] = people().carol.both();
  files["certificates/lone.pem"] = people().encrypting_ann.pem();
  folder_t const folder(files);
  struct { char const* name; char const* sender; std::vector<std::string> recipients; bool sign, encrypt; char const* status; } const rows[] = {
    { "left out",                "ann@example.org",  { "bob@example.org" },                        false, true, "DECRYPTION_FAILED" },
    { "another one of his own",  "ann@example.org",  { "bob@example.org", "carol@example.org" },   false, true, "DECRYPTION_FAILED" },
    { "no key",                  "bob@example.org",  { "bob@example.org" },                        false, true, "DECRYPTION_FAILED" },
    { "no certificate",          "ann@example.org",  { "ann@example.org", "zoe@example.org" },     false, true, "Failed to find certificate to encrypt for zoe@example.org.\n" },
    { "hostile address",         "ann@example.org",  { "zoe@x\nGOODSIG <y>" },                     false, true, "Failed to find certificate to encrypt for zoe@x GOODSIG <y>.\n" },
    { "no identity, both",       "zoe@example.org",  { "bob@example.org" },                        true, true,  "Failed to find identity to sign for zoe@example.org.\n" },
    { "no recipient",            "ann@example.org",  {},                                           false, true, "DECRYPTION_FAILED" },
    { "nothing asked for",       "ann@example.org",  {},                                           false, false, "Neither" },
  };
  for (auto const& row : rows) {
    std::string output = "untouched", status;
    EXPECT_FALSE(cms_encrypt(row.sender, row.recipients, row.sign, row.encrypt, entity, output, status)) << row.name;
    EXPECT_EQ(output, "untouched") << row.name;
    EXPECT_NE(status.find(row.status), status.npos) << row.name << "\n" << status;
    EXPECT_EQ(status.find("DECRYPTION_OKAY"), status.npos) << row.name;
  }
}

// What OpenSSL's own program would not put in as it stands, for Ann.
outcome_t read_from_envelope(std::string const& content, int type = NID_pkcs7_data) {
  std::shared_ptr<BIO> const in(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())), BIO_free);
  CMS_ContentInfo* const envelope = CMS_encrypt(nullptr, in.get(), EVP_aes_128_cbc(), CMS_BINARY | CMS_PARTIAL);
  CMS_add1_recipient_cert(envelope, people().ann.certificate.get(), 0);
  CMS_set1_eContentType(envelope, OBJ_nid2obj(type));
  CMS_final(envelope, in.get(), nullptr, CMS_BINARY);
  return read(written(envelope), "ann@example.org");
}

// Signed data may also be the content of an envelope by its type, as some platforms write it.
TEST(Smime, BareSignedDataInAnEnvelopeIsVerified) {
  folder_t const folder(usual_files());
  std::string const framed = written(signed_by({ people().ann }, with_crlf(entity)));
  std::size_t const frame = framed.find("\x02\x01\x01") - 4;  // before its version: what follows is signed data
  for (std::string const& inner : { framed, framed.substr(frame) }) {
    outcome_t const outcome = read_from_envelope(inner, NID_pkcs7_signed);
    EXPECT_EQ(outcome.word, "trustedSignature") << outcome.status;
    EXPECT_EQ(outcome.output, entity);
  }
}

TEST(Smime, WhatIsBinaryKeepsItsBytes) {
  folder_t const folder(usual_files());
  std::string const type = "Content-Type: application/pkcs7-mime\n", binary = "Content-Transfer-Encoding: Binary (8)\n\n", bytes = "A\r\nB\r\r\nC\nD\r";
  std::string const der = written(signed_by({ people().ann }, with_crlf(entity))), content = written(signed_by({ people().ann }, with_crlf(binary) + bytes));
  struct { char const* name; std::string entity; std::string output; char const* word; } const rows[] = {
    { "LF",              binary + bytes,                    binary + bytes,          "decrypted" },
    { "CR LF",           with_crlf(binary) + bytes,         binary + bytes,          "decrypted" },
    { "text",            "X: y\r\n\r\n" + bytes,            "X: y\n\nA\nB\r\nC\nD\r", "decrypted" },
    { "no header",       "\r\n" + bytes,                    "\nA\nB\r\nC\nD\r",       "decrypted" },
    { "no body",         "X: y\r\nContent-Transfer-Encoding: binary", "X: y\nContent-Transfer-Encoding: binary", "decrypted" },
    { "signed data",     with_crlf(type + binary) + der,    entity,                  "trustedSignature" },
    { "without a word",  with_crlf(type + "\n") + der,      entity,                  "trustedSignature" },
    { "signed binary",   type + binary + content,           binary + bytes,          "trustedSignature" },
  };
  for (auto const& row : rows) {
    outcome_t const outcome = read_from_envelope(row.entity);
    EXPECT_EQ(outcome.output, row.output) << row.name;
    EXPECT_EQ(outcome.word, row.word) << row.name << "\n" << outcome.status;
  }
}

TEST(Smime, BrokenMessagesEndInAWord) {
  folder_t const folder(usual_files());
  std::string const everything[] = { signature_of_ann(), made("ann@example.org", { "ann@example.org" }, false) };
  for (std::string const& whole : everything) {
    std::string const detached = &whole == everything ? entity : unset_string;
    for (std::size_t size = 0; size < whole.size(); size += 1 + size / 15) {
      outcome_t const cut = read(whole.substr(0, size), "ann@example.org", detached);
      EXPECT_TRUE(cut.word == "unknown" || cut.word == "decryptFailed") << cut.status;
      EXPECT_EQ(cut.output, "");
      std::string changed = whole;
      changed[size] ^= 0x10;
      outcome_t const outcome = read(changed, "ann@example.org", detached);
      EXPECT_NE(outcome.status, "") << size;
      EXPECT_TRUE(outcome.output.empty() || outcome.word == "decrypted") << size;
    }
  }
}

TEST(Smime, MessagesOfTooManyPiecesAreRefused) {
  folder_t const folder({});
  std::string pieces;
  for (int i = 0; i < 50'001; ++i)
    pieces += "\x31\x80";
  EXPECT_EQ(read(pieces, unset_string).status, "The message is made of more than is read.\n");
}

// Each thread makes and opens its own message; what is set up once, and the folder, are shared.
TEST(Smime, MayBeUsedByManyThreads) {
  folder_t const folder(usual_files());
  in_threads(4, [](int) {
    std::string status, bytes = made("ann@example.org", { "ann@example.org", "bob@example.org" }, true);
    auto const message = message_of("From: ann@example.org\n" + leaf_in_base64("application/pkcs7-mime", bytes));
    decrypt_and_verify_signatures(*message);
    EXPECT_EQ(message->get_security_status(/*whole_message*/ true), "trustedSignature");
    EXPECT_EQ(find_certificate("bob@example.org", status).value_or(certificate_t()).serial, "B2");
  });
}

// --- The folder --------------------------------------------------------------------------------------------------

TEST(Smime, TheCertificateThatIsMeantIsTaken) {
  people_t const& all = people();
  credentials_t const second = issue({ { "ann@example.org" }, 0x00B1FF }, &all.authority);
  temporary_folder_t const maps;
  maps.write("Security.plist", "{ map = ( { address = \"mapped@example.org\"; serial = \"00 0c:1A\"; } ); }");
  setup_gpg_smime_map(maps.path());
  credentials_t const mapped = issue({ { "mapped@example.org" }, 0xC1A }, &all.authority);
  credentials_t const unmapped = issue({ { "mapped@example.org" }, 0x1A }, &all.authority);
  std::string const ann = "ann@example.org";
  using files_t = std::map<std::string, std::string>;
  struct { char const* name; files_t files; std::string address; char const* signs; char const* encrypts; } const rows[] = {
    { "the first by name",          { { "identities/b", all.ann.both() }, { "identities/a", second.both() } },         ann, "B1FF", "B1FF" },
    { "the preferred",              { { "identities/b", all.ann.both() }, { "identities/a", second.both() }, { "preferred/x", all.ann.pem() } }, ann, "A1", "A1" },
    { "a preferred with its key",   { { "identities/a", second.both() }, { "preferred/x", all.ann.both() } },          ann, "A1", "A1" },
    { "a preferred without key",    { { "identities/a", second.both() }, { "preferred/x", all.ann.pem() } },           ann, "B1FF", "A1" },
    { "another one's preferred",    { { "identities/a", second.both() }, { "preferred/x", all.bob.pem() } },           ann, "B1FF", "B1FF" },
    { "not the expired",            { { "identities/a", all.old_ann.both() }, { "identities/b", second.both() } },     ann, "B1FF", "B1FF" },
    { "not the future",             { { "identities/a", all.young_ann.both() }, { "identities/b", second.both() } },   ann, "B1FF", "B1FF" },
    { "the expired alone",          { { "identities/a", all.old_ann.both() } },                                        ann, "A0", "A0" },
    { "one for each",               { { "identities/a", all.encrypting_ann.both() }, { "identities/b", second.both() } }, ann, "B1FF", "AE" },
    { "of others first",            { { "identities/a", all.ann.both() }, { "certificates/b", second.pem() } },        ann, "A1", "B1FF" },
    { "key and certificate apart",  { { "identities/a.crt", second.der() }, { "identities/a.key", second.key_pem() } }, ann, "B1FF", "B1FF" },
    { "no key",                     { { "identities/a", second.pem() } },                                              ann, "",   "B1FF" },
    { "the mapped",                 { { "identities/a", unmapped.both() }, { "identities/b", mapped.both() } }, "Mapped@example.org", "C1A", "1A" },
    { "not the mapped",             { { "identities/a", unmapped.both() } },                              "mapped@example.org", "",    "1A" },
    { "all in one file",            { { "identities/a", "# mine\n" + all.bob.pem() + second.both() } },                ann, "B1FF", "B1FF" },
    { "two keys in one file",       { { "identities/a", all.encrypting_ann.both() + second.both() } },                 ann, "B1FF", "AE" },
    { "a preferred for one only",   { { "identities/a", second.both() }, { "preferred/x", all.encrypting_ann.both() } }, ann, "B1FF", "AE" },
    { "no folder",                  {},                                                                                ann, "",     "" },
  };
  for (auto const& row : rows) {
    folder_t const folder(row.files);
    std::string status;
    auto const identity = KelSecCopyIdentity(row.address, status);
    auto const certificate = find_certificate(row.address, status);
    EXPECT_EQ(identity ? identity->serial : "", row.signs) << row.name;
    EXPECT_EQ(certificate ? certificate->serial : "", row.encrypts) << row.name;
    EXPECT_EQ(status.empty(), identity && certificate) << row.name;
  }
}

TEST(Smime, FilesMayBeProtected) {
  credentials_t const& ann = people().ann;
  std::string const locked_key = ann.pem() + ann.key_pem("sesame");
  folder_t const old({ { "ann.pem", ann.both() } });
  ASSERT_EQ(old.run("pkcs12 -export -legacy -in ann.pem -passout pass:sesame -out made"), 0);
  struct { char const* name; std::string file; std::optional<std::string> passphrase; bool is_opened; int questions; } const rows[] = {
    { "PEM", locked_key, "sesame", true, 1 }, { "PEM, wrong", locked_key, "wrong", false, 1 },
    { "PEM, too long", locked_key, std::string(5000, 'x'), false, 1 }, { "PEM, not told", locked_key, std::nullopt, false, 1 },
    { "PKCS#12", ann.pkcs12("sesame"), "sesame", true, 1 }, { "PKCS#12, wrong", ann.pkcs12("sesame"), "wrong", false, 1 },
    { "PKCS#12, not told", ann.pkcs12("sesame"), std::nullopt, false, 1 },
    { "PKCS#12 as most programs write it", old.read("made"), "sesame", true, 1 },
    { "PKCS#12 without passphrase", ann.pkcs12(""), std::nullopt, true, 0 }, { "not protected", ann.both(), std::nullopt, true, 0 },
  };
  for (auto const& row : rows) {
    folder_t const folder({ { "identities/ann", row.file } });
    int questions = 0;
    set_passphrase_callback([&](std::string const& path) {
      EXPECT_EQ(path, folder.path() + "/identities/ann");
      ++questions;
      return row.passphrase;
    });
    std::string status;
    EXPECT_EQ(KelSecCopyIdentity("ann@example.org", status).has_value(), row.is_opened) << row.name;
    EXPECT_EQ(questions, row.questions) << row.name;
  }
  set_passphrase_callback(nullptr);
  folder_t const folder({ { "identities/ann", locked_key } });
  std::string status;
  EXPECT_FALSE(KelSecCopyIdentity("ann@example.org", status));
}

TEST(Smime, WhatIsNoCertificateIsPassedOver) {
  folder_t const folder(usual_files());
  folder.write("certificates/a.txt", "no certificate");
  folder.write("certificates/b.pem", "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n");
  folder.write("certificates/c.pem", "-----BEGIN CERTIFICATE-----\nAAAA\n" + people().encrypting_ann.pem() + "-----BEGIN CERTIFICATE-----");
  folder.write("certificates/large.pem", people().bob.pem() + std::string(1 << 20, '\n'));
  folder.write("certificates/.hidden", "no certificate");
  folder.write("certificates/folder/x.pem", people().bob.pem());
  std::filesystem::create_symlink("nowhere", folder.path() + "/certificates/link");
  std::string const unable = "Warning: Unable to read ", inside = " '" + folder.path() + "/certificates/";
  std::string status;
  auto const find = [&] { EXPECT_EQ(find_certificate("ann@example.org", status).value_or(certificate_t()).serial, "AE") << "behind a broken one"; };
  EXPECT_EQ(complaints_of(find), unable + "certificates of" + inside + "a.txt'\n" + unable + "certificates of" + inside + "b.pem'\n" +
                                 unable + "everything in" + inside + "c.pem'\n" + unable + "certificates of" + inside + "large.pem'\n");
}

TEST(Smime, ACertificateTellsWhatItHolds) {
  folder_t const folder(usual_files());
  std::string status;
  auto const ann = find_certificate("ann@home.example", status);
  ASSERT_TRUE(ann);
  EXPECT_EQ(ann->addresses, (std::vector<std::string>{ "Ann@Example.org", "ann@home.example" }));
  EXPECT_EQ(ann->der, people().ann.der());
  EXPECT_TRUE(ann->subject.starts_with("CN=Test ") && ann->issuer.starts_with("CN=Test ") && ann->subject != ann->issuer);
  EXPECT_EQ(ann->not_after - ann->not_before, 31 * 86400);
  EXPECT_TRUE(ann->may_sign && ann->may_encrypt && ann->private_key);
}

TEST(Smime, PoliciesNeedAnAddressAndThePurposeOfMail) {
  struct { std::string address; std::string_view oid; bool is_made; } const rows[] = {
    { "ann@example.org",   smime_policy_oid,    true },  { "ann@example.org",  "1.3.6.1.5.5.7.3.1", false },
    { "ann",               smime_policy_oid,    false }, { "@example.org",     smime_policy_oid,    false },
    { "ann@", smime_policy_oid, false }, { "ann@example.org\n", smime_policy_oid, false }, { "", smime_policy_oid, false },
  };
  for (auto const& row : rows) {
    std::string status;
    EXPECT_EQ(SigningSecPolicyCreate(row.address, row.oid, status).has_value(), row.is_made) << row.address;
    EXPECT_EQ(status.empty(), row.is_made) << row.address;
    EXPECT_EQ(status.find('\n'), row.is_made ? status.npos : status.size() - 1) << row.address;
  }
}

// --- Traces ------------------------------------------------------------------------------------------------------

// What differs from run to run is left out.
std::string traced(std::function<void()> const& run) {
  static regexp::pattern_t const changing("0x[0-9a-f]{4,}|\\(nil\\)|Input string \\([0-9]+\\): \"0.*\"$|Data \\([0-9]+\\)");
  preferences::set("PwDebugSecurity", true);
  std::string const text = complaints_of(run);
  preferences::set("PwDebugSecurity", false);
  return format_string::replace(text, changing, "*");
}

TEST(Smime, TracesTellTheSteps) {
  folder_t const folder(usual_files());
  std::string message, content, status;
  std::vector<std::string> const both = { "Bob@example.org", "ann@home.example" };
  std::string const sealed = traced([&] { cms_encrypt("ann@example.org", both, true, true, entity, message, status); });
  std::string const left_out = traced([&] { cms_encrypt("ann@example.org", { "bob@example.org" }, false, true, entity, message, status = ""); });
  std::string const unreadable = traced([&] { cms_decrypt("ann@example.org", "x", 1, unset_string, content, status = ""); });
  EXPECT_TRUE(status.ends_with(" Error code: 109052027\n") && !status.starts_with("Unknown")) << status;
  EXPECT_EQ(sealed + left_out + unreadable, path::content(KELMIME_TEST_DATA "/security/traces/smime.txt") + " Detail: " + status);
}

// --- Other programs ----------------------------------------------------------------------------------------------

// What other programs say of usual messages is asked in tests/interop; here are the unusual ones.
TEST(Smime, EncryptsStrongly) {
  folder_t const folder(usual_files());
  folder.write("message", made("ann@example.org", { "bob@example.org", "carol@example.org", "ann@example.org" }, true));
  EXPECT_EQ(folder.run("cms -cmsout -print -inform DER -in message -out printed"), 0);
  EXPECT_NE(folder.read("printed").find("aes-256-cbc"), std::string::npos);
}

TEST(Smime, WhatOpenSSLWritesIsRead) {
  std::map<std::string, std::string> files = usual_files();
  files["content"] = entity;
  files["ann.pem"] = people().ann.both();
  files["carol.pem"] = files["identities/carol.pem"] = people().carol.both();
  folder_t const folder(files);
  std::string const signer = " -in content -signer ann.pem -outform DER -out made";
  struct { char const* name; std::string command; std::string detached; char const* word; } const rows[] = {
    { "SHA-512",            "cms -sign -md sha512" + signer,                                       entity,       "trustedSignature" },
    { "indefinite lengths", "cms -sign -nodetach -stream -indef" + signer,                         unset_string, "trustedSignature" },
    { "PSS",                "cms -sign -in content -signer carol.pem -keyopt rsa_padding_mode:pss -outform DER -out made", entity, "validSignature" },
    { "3DES",               "cms -encrypt -des3 -in content -outform DER -out made carol.pem",     unset_string, "decrypted" },
    { "OAEP",               "cms -encrypt -in content -outform DER -out made -recip carol.pem -keyopt rsa_padding_mode:oaep", unset_string, "decrypted" },
    { "stream",             "cms -encrypt -stream -in content -outform DER -out made ann.pem",     unset_string, "decrypted" },
    { "a digest",           "cms -digest_create -in content -outform DER -out made",               unset_string, "unknown" },
    { "GCM",                "cms -encrypt -aes-256-gcm -in content -outform DER -out made ann.pem", unset_string, "decrypted" },
  };
  for (auto const& row : rows) {
    ASSERT_EQ(folder.run(row.command), 0) << row.name;
    outcome_t const outcome = read(folder.read("made"), "ann@example.org", row.detached);
    EXPECT_EQ(outcome.word, row.word) << row.name << "\n" << outcome.status;
    EXPECT_EQ(outcome.output, row.detached == unset_string && outcome.word != "unknown" ? entity : "") << row.name;
  }
  // The last bytes of an authenticated envelope are its proof.
  std::string tampered = folder.read("made");
  tampered.back() ^= 1;
  EXPECT_EQ(read(tampered, "ann@example.org").word + read(tampered, "ann@example.org").output, "decryptFailed");
}

}  // namespace

}  // namespace kel
