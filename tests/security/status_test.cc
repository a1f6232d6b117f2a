// The table of docs/security.md, row by row.
#include <security/inline_blocks.h>
#include <security/protected_mail.h>
#include <security/sender_addresses.h>

#include <kel/text.h>
#include <kelmime/unset.h>
#include <helpers/repeated.h>

namespace kel {
namespace {

std::string const text = part("text/plain", "The secret.\n");
std::string const other = part("text/plain", "PS\n");
std::string const stranger = "From: stranger@x.org\n";

struct row_t {
  char const* name;
  std::string source;
  char const* word;
};

std::string changed(std::string source, std::string const& from, std::string const& to) { return source.replace(source.find(from), from.size(), to); }

class Status : public ProtectedMail {
protected:
  // Whatever the answer is, the message is written as it came, and nothing with it that was decrypted.
  static void check(std::vector<row_t> const& rows) {
    for (row_t const& row : rows) {
      auto const root = opened(row.source);
      EXPECT_EQ(word_of(*root), row.word) << row.name << "\n" << root->get_security_details();
      EXPECT_EQ(written(*root), row.source) << row.name;
      root->set_header("subject", "y");
      EXPECT_EQ(word_of(*root), row.word) << row.name << ", under another subject";
      bool const has_secret = row.source.find("secret") != row.source.npos;
      EXPECT_EQ(root->can_be_written() && written(*root).find("secret") != std::string::npos, has_secret && root->can_be_written()) << row.name;
    }
  }
};

TEST_F(Status, OfOneProtectedPart) {
  std::string const signed_text = pgp_signed(text);
  std::string const signed_in_smime = smime_signed(text);
  std::string const changed_text = changed(signed_text, "secret", "public");
  check({
    { "nothing protected", message(text), "-" }, { "signed", message(signed_text), "trustedSignature" },
    { "signed as text", message(with_pgp_signature(text, pgp_signature(text, "--textmode"))), "trustedSignature" },
    { "signed, a long line", message(pgp_signed(part("text/plain", repeated("x", 20000) + "\n"))), "trustedSignature" },
    { "signed by a key that nobody vouches for", message(with_pgp_signature(text, pgp("--detach-sign --local-user stranger@x.org", text)), stranger), "validSignature" },
    { "signed by two", message(pgp_signed(text, "--local-user stranger@x.org")), "validSignature" },
    { "signed by somebody else", message(signed_text, stranger), "senderMismatch" }, { "changed", message(changed_text), "badSignature" },
    { "encrypted", message(pgp_encrypted(text)), "decrypted" },
    { "encrypted, a comment in the armour", message(with_ciphertext(pgp_ciphertext(text, "--comment x"))), "decrypted" },
    { "encrypted, without armour", message(multipart(encrypted_by_pgp, { part("application/pgp-encrypted"), leaf_in_base64("application/octet-stream", pgp_ciphertext(text, "--no-armor")) })), "decrypted" },
    { "encrypted, the ciphertext as text", message(multipart(encrypted_by_pgp, { part("application/pgp-encrypted"), part("text/plain", pgp_ciphertext(text)) })), "decrypted" },
    { "signed and encrypted in one", message(pgp_encrypted(text, "--sign --local-user ann@x.org")), "trustedSignature" },
    { "signed and encrypted in one by somebody else", message(pgp_encrypted(text, "--sign --local-user stranger@x.org")), "senderMismatch" },
    { "signed, then encrypted", message(pgp_encrypted(signed_text)), "trustedSignature" },
    { "changed, then encrypted", message(pgp_encrypted(changed_text)), "badSignature" },
    { "cannot be decrypted", message(with_ciphertext("no message\n")), "decryptFailed" },
    { "signed by S/MIME", message(signed_in_smime), "trustedSignature" },
    { "signed by somebody else, S/MIME", message(signed_in_smime, stranger), "validSignature" },
    { "signed with its content", message(envelope(opaque(with_crlf(text)))), "trustedSignature" },
    { "encrypted by S/MIME", message(envelope(smime(false, true, text))), "decrypted" },
    { "signed and encrypted by S/MIME", message(envelope(smime(true, true, text))), "trustedSignature" },
    { "no S/MIME", message(envelope("no message")), "decryptFailed" },
    { "certificates alone", message(leaf_in_base64("application/pkcs7-mime; smime-type=certs-only", "x")), "-" },
    { "clear-signed", message(part("text/plain", clear_signed("The secret.\n"))), "trustedSignature" },
    { "clear-signed, white space around", message(part("text/plain", "\n \t\n" + clear_signed("x\n- y\n") + "\n\n")), "trustedSignature" },
    { "clear-signed, in a charset around ASCII", message(part("text/plain; charset=ISO-8859-15", clear_signed("x\n"))), "trustedSignature" },
    { "clear-signed, by somebody else", message(part("text/plain", clear_signed("x\n")), stranger), "senderMismatch" },
    { "an encrypted block", message(part("text/plain", pgp_ciphertext("The secret.\n"))), "decrypted" },
    { "a signed and encrypted block", message(part("text/plain", pgp_ciphertext("The secret.\n", "--sign"))), "trustedSignature" },
    { "a block that cannot be decrypted", message(part("text/plain", "-----BEGIN PGP MESSAGE-----\n\nabcd\n-----END PGP MESSAGE-----\n")), "decryptFailed" },
    { "clear-signed, encrypted", message(pgp_encrypted(part("text/plain", clear_signed("The secret.\n")))), "trustedSignature" },
    { "the only content of a group", message(multipart("mixed", { multipart("related", { signed_text }) })), "trustedSignature" },
    { "an unknown kind of signature", message(multipart("signed", { text, part("application/x-seal") })), "-" },
    { "an unknown kind of encryption", message(multipart("encrypted; protocol=\"application/x-seal\"", { other, part("application/octet-stream") })), "-" },
    { "no signature", message(multipart(signed_by_pgp, { text })), "unknown" },
    { "no ciphertext", message(multipart(encrypted_by_pgp, { part("application/pgp-encrypted") })), "decryptFailed" },
  });
}

// From whom a message is decides about "trustedSignature".
TEST_F(Status, OfSenders) {
  std::string const entity = pgp_signed(text), by_smime = smime_signed(text);
  struct { char const* name; std::string from; std::string word; } const rows[] = {
    { "usual", "From: \"Ann, x\" <Ann@X.org>\n", "trustedSignature" },
    { "an encoded name", "From: =?utf-8?q?=C3=84nn?= <ann@x.org>\n", "trustedSignature" },
    { "folded, other letter case", "FROM:\n ann@x.org\n", "trustedSignature" },
    { "nobody", "", "senderMismatch" },
    { "two fields", "From: ann@x.org\nfrom: ann@x.org\n", "senderMismatch" },
    { "two addresses", "From: ann@x.org, bob@x.org\n", "validSignature" },
    { "an encoded address", "From: =?utf-8?q?ann=40x=2Eorg?=\n", "senderMismatch" },
    { "an encoded address before the real one", "From: =?utf-8?q?ann=40x.org_=3Cann=40x.org=3E=2C?= <ann@x.org>\n", "senderMismatch" },
    { "one that decodes to another", "From: =?utf-8?q?bob=40x.org=2C?= ann@x.org\n", "senderMismatch" },
    { "another field of the obsolete form", "From \t: bob@x.org\nFrom: ann@x.org\n", "senderMismatch" },
    { "another field behind a CR", "X: y\rfrom: bob@x.org\nFrom: ann@x.org\n", "senderMismatch" },
    { "comments", "From: (a (b)) ann@x.org (Ann)\n", "trustedSignature" },
    { "a comment before the real one", "From: (ann@x.org) bob@x.org\n", "senderMismatch" },
    { "a comment behind a quoted quote", "From: \"\\\"\" (ann@x.org) bob@x.org\n", "senderMismatch" },
    { "a comment with a bracket that is none", "From: (\\) \" ann@x.org) bob@x.org\n", "senderMismatch" },
    { "in another field", "Sender: ann@x.org\nX-From: ann@x.org\n", "senderMismatch" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(word_of(*opened(message(entity, row.from))), row.word) << row.name;
    EXPECT_EQ(word_of(*opened(message(by_smime, row.from))), row.word == "trustedSignature" ? row.word : "validSignature") << row.name;
  }
  auto const root = opened(message(entity));
  root->set_header("from", "Bob <bob@x.org>");
  EXPECT_EQ(word_of(*root), "senderMismatch");
  using addresses_t = std::vector<std::string>;
  EXPECT_EQ(undecoded_sender_addresses("From: a@x\nFro: b@x\n\nFrom: c@x\n"), addresses_t{ "a@x" });
  EXPECT_EQ(undecoded_sender_addresses("From: a@x, b@x\n"), (addresses_t{ "a@x", "b@x" }));
  EXPECT_EQ(undecoded_sender_addresses("From: a@x\nFrom: b@x\n"), addresses_t());
}

// A good word is about all that the message shows.
TEST_F(Status, OfOtherShapes) {
  std::string const one = pgp_signed(text), bad = with_pgp_signature(text, pgp_signature("x")), closed = pgp_encrypted(text), closed_in_smime = envelope(smime(false, true, text));
  std::string const attached = "Content-Type: message/rfc822\n\n" + message(one);
  std::string const clear = clear_signed("x\n"), block = pgp_ciphertext("The secret.\n");
  std::string const ciphertext = part("application/octet-stream", pgp_ciphertext(with_crlf(text)));
  std::string const signature = part("application/pgp-signature", pgp_signature(text));
  std::string const control = part("application/pgp-encrypted", "Version: 1\n");
  std::string const blanks(20000, ' '), long_line = part("text/plain", repeated("x", 19500) + "\n");
  std::string const comment = "PGP SIGNATURE-----\nComment: PS\n";
  auto const encrypted = [&](std::string const& type, std::string const& data) { return message(multipart(encrypted_by_pgp, { control, part(type, data) })); };
  std::string inside = clear;
  inside.insert(inside.rfind('='), "и деньги\n");
  check({
    { "text beside a signed part", message(multipart("mixed", { one, other })), "complicated" },
    { "text before it", message(multipart("alternative", { other, one })), "complicated" },
    { "beside one of S/MIME", message(multipart("mixed", { smime_signed(text), other })), "complicated" },
    { "text beside an encrypted part", message(multipart("mixed", { closed, other })), "complicated" },
    { "text beside a bad signature", message(multipart("mixed", { bad, other })), "badSignature" },
    { "text beside what cannot be decrypted", message(multipart("mixed", { envelope("x"), other })), "decryptFailed" },
    { "two signed parts", message(multipart("mixed", { one, smime_signed(other) })), "complicated" },
    { "a bad and a good one", message(multipart("mixed", { bad, one })), "complicated" },
    { "encrypted, then signed", message(pgp_signed(closed)), "complicated" },
    { "encrypted, then signed by S/MIME", message(smime_signed(closed_in_smime)), "complicated" },
    { "signed twice", message(pgp_signed(one)), "complicated" },
    { "signed around a bad signature", message(pgp_signed(bad)), "complicated" },
    { "changed around a good signature", message(with_pgp_signature(one, pgp_signature("x"))), "badSignature" },
    { "encrypted twice", message(pgp_encrypted(closed)), "complicated" },
    { "encrypted around what cannot be decrypted", message(pgp_encrypted(envelope("x"))), "decryptFailed" },
    { "signed around what cannot be decrypted", message(pgp_signed(with_ciphertext("x"))), "complicated" },
    { "encrypted by both", message(pgp_encrypted(closed_in_smime)), "complicated" },
    { "signed, encrypted, signed", message(pgp_signed(pgp_encrypted(one))), "complicated" },
    { "a footer inside the encryption", message(pgp_encrypted(multipart("mixed", { one, other }))), "complicated" },
    { "a third part", message(multipart(signed_by_pgp, { text, signature, other })), "rogueParts" },
    { "a third part in what is encrypted", message(multipart(encrypted_by_pgp, { control, ciphertext, other })), "rogueParts" },
    { "a third part, the signature changed", message(multipart(signed_by_pgp, { other, signature, other })), "rogueParts" },
    { "a third part behind something else", message(multipart("signed", { text, other, other })), "rogueParts" },
    { "a third part further inside", message(multipart("mixed", { other, multipart(signed_by_pgp, { text, signature, one }) })), "rogueParts" },
    { "a third part inside encryption", message(pgp_encrypted(multipart(signed_by_pgp, { text, signature, other }))), "rogueParts" },
    { "signed in an attached message", message(multipart("mixed", { other, attached })), "-" },
    { "an attached message alone", message(attached), "-" },
    { "an attached message inside what is signed", message(pgp_signed(attached)), "trustedSignature" },
    { "an attached message inside what is encrypted", message(pgp_encrypted(attached)), "decrypted" },
    { "text before a clear-signed block", message(part("text/plain", "PS\n" + clear)), "complicated" },
    { "text behind it", message(part("text/plain", clear + "PS\n")), "complicated" },
    { "text before an encrypted block", message(part("text/plain", "PS\n" + block)), "complicated" },
    { "two blocks", message(part("text/plain", clear + clear)), "complicated" },
    { "two blocks of two kinds", message(part("text/plain", clear + block)), "complicated" },
    { "words behind the checksum", message(part("text/plain", changed(clear, "-----END", "and send him the money\n-----END"))), "complicated" },
    { "words in the armour", message(part("text/plain", inside)), "complicated" },
    { "a comment in the armour", message(part("text/plain", changed(clear, "PGP SIGNATURE-----\n", comment))), "complicated" },
    { "words behind a long line", message(part("text/plain", changed(clear, "x\n", "x" + blanks + "y\n"))), "complicated" },
    { "in a charset that makes other words", message(part("text/plain; charset=utf-7", clear_signed("+AHg-\n"))), "complicated" },
    { "in a charset that the header hints at", message(part("text/plain", clear), "From: =?iso-2022-jp?q?Ann?= <ann@x.org>\n"), "complicated" },
    { "signed, in a charset that the header hints at", message(pgp_signed(part("text/plain", "caf\xE9\n")), "From: =?windows-1251?q?Ann?= <ann@x.org>\n"), "complicated" },
    { "signed, in ASCII that is none", message(pgp_signed(part("text/plain; charset=us-ascii", "caf\xE9\n")), "From: =?windows-1251?q?Ann?= <ann@x.org>\n"), "complicated" },
    { "signed, in UTF-8, whatever the header hints at", message(smime_signed(part("text/plain", "caf\u00E9\n")), "From: =?windows-1251?q?Ann?= <ann@x.org>\n"), "trustedSignature" },
    { "words run together", message(part("text/plain; format=flowed; delsp=yes", changed(clear, "x\n", "x \n"))), "complicated" },
    { "a long line, signed as text", message(pgp_signed(long_line, "--textmode")), "complicated" },
    { "words around the ciphertext", encrypted("text/plain", "PS\n" + block), "complicated" },
    { "words around it that are not shown", encrypted("application/octet-stream", block + "PS\n"), "complicated" },
    { "words in its armour", encrypted("text/plain", changed(block, "-----\n", "-----\nComment: PS\n")), "complicated" },
    { "a block in a block", message(part("text/plain", "-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA256\n\nPS\n" + clear)), "complicated" },
    { "a block beside a part", message(multipart("mixed", { part("text/plain", clear), other })), "complicated" },
    { "the protocol says something else", message(multipart("signed; protocol=\"application/pkcs7-signature\"", { text, signature })), "complicated" },
    { "no protocol", message(multipart("signed", { text, signature })), "trustedSignature" },
    { "text in place of the control part", message(multipart(encrypted_by_pgp, { other, ciphertext })), "complicated" },
    { "a container in place of the ciphertext", message(multipart(encrypted_by_pgp, { control, multipart("mixed", { ciphertext }) })), "-" },
  });
}

TEST_F(Status, OfSpoofs) {
  std::string const nothing = unset_string;
  std::string const clear = clear_signed("x\n");
  check({
    { "opaque data for a signature", message(with_pgp_signature(text, pgp("--sign", text))), "unknown" },
    { "a clear-signed text for a signature", message(with_pgp_signature(text, clear)), "unknown" },
    { "opaque data for a signature, S/MIME", message(with_smime_signature(text, opaque(with_crlf(text)))), "unknown" },
    { "no value for a signature", message(with_pgp_signature(part("text/plain", clear), nothing)), "unknown" },
    { "no value for a content", message(with_smime_signature(nothing, opaque(with_crlf(text)))), "unknown" },
    { "signed only, in place of a ciphertext", message(with_ciphertext(pgp("--sign", text))), "decryptFailed" },
    { "signed only, in place of an encrypted block", message(part("text/plain", pgp("--sign", text))), "decryptFailed" },
    { "headers of the outcome", "##security-details: GOODSIG\nsecurity-generation-detail: x\n" + message(text), "-" },
    { "text of the outcome", message(part("text/plain", "[GNUPG:] GOODSIG 1 Ann <ann@x.org>\n[GNUPG:] TRUST_FULLY\n")), "-" },
  });
}

TEST_F(Status, OfOnePartAlone) {
  auto const root = opened(message(multipart("mixed", { pgp_signed(text), other, "Content-Type: message/rfc822\n\n" + message(smime_signed(text)) })));
  EXPECT_EQ(word_of(*root, false), "-");
  EXPECT_EQ(word_of(root->subpart(0), false), "trustedSignature");
  EXPECT_EQ(word_of(root->subpart(0)), "trustedSignature");
  EXPECT_EQ(word_of(root->subpart(1), false), "-");
  EXPECT_EQ(word_of(root->subpart(2)), "-");
  EXPECT_EQ(word_of(root->subpart(2).subpart(0)), "trustedSignature");
  auto const rogue = opened(message(multipart(signed_by_pgp, { text, other, other })));
  EXPECT_EQ(word_of(*rogue, false), "rogueParts");
  EXPECT_EQ(word_of(rogue->subpart(2), false), "rogueParts");
  EXPECT_EQ(rogue->get_security_details(), "ROGUE_PART");
  auto const unread = test::message_of(message(pgp_signed(text)));
  EXPECT_EQ(word_of(*unread), "-") << "before it is verified";
}

// The word is about what came, not about what was made of it.
TEST_F(Status, OfWhatWasChangedSince) {
  auto const root = opened(message(pgp_signed(multipart("mixed", { text, other }))));
  root->subpart(0).subpart(1).set_header("content-description", "mine");
  EXPECT_EQ(word_of(*root), "complicated");
  auto const block = opened(message(part("text/plain", clear_signed("x\n"))));
  block->set_header("content-type", "text/html");
  EXPECT_EQ(word_of(*block), "complicated");
  auto const encrypted = opened(message(pgp_encrypted(text)));
  encrypted->subpart(1).subpart(0).set_header("content-description", "mine");
  EXPECT_EQ(word_of(*encrypted), "complicated");
  root->add_header("security-generation-detail", "no key");
  EXPECT_EQ(word_of(*root), "generationFailed");
  EXPECT_EQ(word_of(*root, false), "generationFailed");
  auto const forwarded = opened(message("Content-Type: message/rfc822\n\n" + message(pgp_signed(text))));
  EXPECT_EQ(word_of(*forwarded), "-");
  forwarded->subpart(0).add_header("security-generation-detail", "no key");
  EXPECT_EQ(word_of(*forwarded), "generationFailed");
  body_part_t empty;
  EXPECT_EQ(word_of(empty), "-");
  decrypt_and_verify_signatures(empty);
}

TEST_F(Status, TellsTheDetailsOfTheTree) {
  auto const root = opened(message(multipart("mixed", { multipart("signed", {}), pgp_encrypted(pgp_signed(text)) })));
  std::vector<std::string> const pieces = text::split(root->get_security_details(), "\n------\n");
  ASSERT_EQ(pieces.size(), 3U);
  EXPECT_EQ(pieces[0], "NODATA");
  EXPECT_NE(pieces[1].find("\nDECRYPTION_OKAY\n"), std::string::npos) << pieces[1];
  EXPECT_NE(pieces[2].find("\nGOODSIG "), std::string::npos) << pieces[2];
  EXPECT_NE(pieces[2].find("\nuid:u:"), std::string::npos) << pieces[2];
}

TEST(InlineBlocks, AreFoundInTheirForm) {
  std::string const clear = "-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA256\n\na\n- -----\n-----BEGIN PGP SIGNATURE-----\nVersion: GnuPG v2.0.22 (GNU/Linux)\n\niQ+/\n=abcd\n-----END PGP SIGNATURE-----\n";
  std::string const closed = "-----BEGIN PGP MESSAGE-----\nVersion: GnuPG/MacGPG2 v2\n \nhQ==\n=abcd\n-----END PGP MESSAGE-----\n";
  std::vector<std::string> const itself = { "itself" };
  struct { char const* name; std::string text; std::vector<std::string> blocks; bool is_all; } const rows[] = {
    { "none", "a\n", {}, false }, { "empty", "", {}, false },
    { "clear-signed", clear, itself, true }, { "encrypted", " \n" + closed + "\t\n", { closed }, true },
    { "the last line is not ended", clear.substr(0, clear.size() - 1), itself, true }, { "text before", "a\n" + clear, { clear }, false },
    { "no checksum", changed(clear, "=abcd\n", ""), itself, true }, { "text behind", closed + "a", { closed }, false },
    { "no-break space behind", closed + "\xC2\xA0\n", { closed }, false }, { "two", clear + closed, { clear, closed }, false },
    { "not at the start of a line", "> " + clear, {}, false }, { "no end", changed(clear, "-----END", "-----"), {}, false },
    { "blank behind the first line", changed(clear, "MESSAGE-----", "MESSAGE----- "), {}, false },
    { "no end, and a good one", changed(closed, "-----END", "----") + clear, { clear }, false },
    { "a good one, and no end", clear + changed(closed, "-----END", "----"), { clear }, false },
    { "dashes in the text", changed(clear, "- -----", "-----"), itself, false },
    { "two signatures", changed(clear, "=abcd", "-----BEGIN PGP SIGNATURE-----"), itself, false },
    { "an unknown header", changed(clear, "Version:", "Pay:"), itself, false },
    { "a comment", changed(clear, "Version:", "Comment:"), itself, false },
    { "words for a version", changed(closed, "v2", "v2 pays"), itself, false },
    { "words among the digests", changed(clear, "SHA256", "SHA256, PAY"), itself, false },
    { "two digests", changed(clear, "SHA256", "SHA3-256, RIPEMD160"), itself, true },
    { "a long line", changed(clear, "\na\n", "\n" + repeated("a", 19000) + "\n"), itself, false },
    { "words behind the checksum", changed(clear, "=abcd", "=abcd\nabcd"), itself, false },
    { "words in the data", changed(closed, "hQ", "h Q"), itself, false },
  };
  for (auto const& row : rows) {
    inline_blocks_t const found = find_inline_blocks(row.text);
    std::vector<std::string> blocks;
    for (inline_block_t const& block : found.blocks)
      blocks.emplace_back(block.text);
    EXPECT_EQ(blocks, row.blocks == itself ? std::vector{ row.text } : row.blocks) << row.name;
    EXPECT_EQ(found.is_all, row.is_all) << row.name;
  }
}

}  // namespace
}  // namespace kel
