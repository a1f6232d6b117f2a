// Drafts: the shape of their level, and what they are written as.
#include <security/protected_mail.h>

#include <map>
#include <optional>

#include <kel/text.h>
#include <kelmime/openpgp.h>
#include <kelmime/unset.h>
#include <security/leftovers.h>

namespace kel {
namespace {

std::string const secret = "From here on \t\nthe secret.\n-- \n- and Gr\u00FC\u00DFe from somebody";

class Sealing : public ProtectedMail {
protected:
  ~Sealing() override { preferences::set("PwCertificateFolder", folder->path()); }

  // With a text, an attachment, and the numbers of a composer.
  struct draft_t : body_part_t {
    draft_t(std::string const& level, std::string const& protocol, std::string const& headers = "from: Ann <ann@x.org>\nto: ann@x.org\n") {
      for (std::string const& line : text::split(headers, "\n")) {
        if (auto const colon = line.find(": "); colon != line.npos)
          set_header(line.substr(0, colon), line.substr(colon + 2));
      }
      set_text_body(secret, unset_string, unset_string, /*is_signed*/ true);
      add_attachment("%PDF \n\r", "a.pdf", "application/pdf");
      subpart(0).set_id(6);
      subpart(1).set_id(7);
      set_security_level(level, protocol);
    }
  };
  void make_program(std::string const& commands) {
    _gpg.emplace("PW_GPG", _programs.write_program("gpg", commands));
  }
  static std::string shape(body_part_t& part) {  // without sizes
    std::string text;
    for (std::string const& piece : text::split(test::describe(part), "("))
      text += text.empty() ? piece : piece.substr(piece.find(')') + 1);
    return text;
  }
  static std::vector<std::string> layered(std::string const& text) {
    std::string const entity = part("text/plain", text);
    return { pgp_encrypted(pgp_signed(entity)), envelope(smime(false, true, smime_signed(entity))), pgp_encrypted(smime_signed(entity)), pgp_signed(pgp_encrypted(entity)), smime_signed(envelope(smime(false, true, entity))), pgp_encrypted(pgp_encrypted(entity)), envelope(opaque(entity)), pgp_encrypted(entity) };
  }
  static body_part_t& text_of(body_part_t& part) {
    std::vector<body_part_t*> texts;
    part.filter_body_parts(texts, [](body_part_t& one) { return one.mime_type() == "text/plain"; });
    return *texts.front();
  }
  static std::string micalg(body_part_t& part) { return part.get_header("content-type.parameter.split.micalg", "-"); }

  temporary_folder_t _programs;
  leftovers_t _temporary;
  std::optional<variable_guard_t> _gpg;
};

TEST_F(Sealing, MovesFromEachLevelToEachOther) {
  std::string const content = "multipart/mixed[text/plain application/pdf]";
  struct { char const* level; std::string protocol; std::string tree; char const* word; } const levels[] = {
    { "none", "Unknown", content, "-" },
    { "sign", "OpenPGP", "multipart/signed[" + content + " application/pgp-signature]", "trustedSignature" },
    { "encrypt", "OpenPGP", "multipart/encrypted[application/pgp-encrypted application/octet-stream[" + content + "]]", "decrypted" },
    { "signAndEncrypt", "OpenPGP", "multipart/encrypted[application/pgp-encrypted application/octet-stream[" + content + "]]", "trustedSignature" },
    { "sign", "S/MIME", "multipart/signed[" + content + " application/pkcs7-signature]", "trustedSignature" },
    { "encrypt", "S/MIME", "application/pkcs7-mime[" + content + "]", "decrypted" },
    { "signAndEncrypt", "S/MIME", "application/pkcs7-mime[" + content + "]", "trustedSignature" },
  };
  for (auto const& from : levels) {
    for (auto const& to : levels) {
      std::string const name = from.level + (" " + from.protocol) + " -> " + to.level + " " + to.protocol;
      draft_t draft(from.level, from.protocol);
      if (from.protocol == "S/MIME" && from.level != std::string("none"))
        written(draft);  // stored on the way
      draft.set_security_level(to.level, to.level == std::string("none") ? unset_string : to.protocol);
      EXPECT_EQ(shape(draft), to.tree) << name;
      EXPECT_EQ(draft.get_security_level(), to.level) << name;
      EXPECT_EQ(draft.get_security_protocol(), to.protocol) << name;
      EXPECT_EQ(draft.attachments_body_part()->subpart(0).get_id(), 6) << name;
      EXPECT_EQ(draft.get_attachment_id(0), 7) << name;
      std::string const message = written(draft);
      EXPECT_EQ(word_of(draft), "-") << name << draft.get_header("security-generation-detail", "");
      EXPECT_EQ(message.find("the secret") == message.npos, std::string_view(to.level).starts_with("enc") || to.level == std::string("signAndEncrypt")) << name;
      auto const root = opened(message);
      EXPECT_EQ(word_of(*root), to.word) << name << "\n" << root->get_security_details();
      EXPECT_EQ(shape(*root), to.tree) << name;
      body_part_t& holder = *root->attachments_body_part();
      EXPECT_EQ(holder.subpart(0).decoded_body(), secret) << name;
      EXPECT_EQ(holder.subpart(1).decoded_body(), "%PDF \n\r") << name;
      EXPECT_EQ(holder.subpart(1).get_header("content-type.parameter.split.name", ""), "a.pdf") << name;
      EXPECT_EQ(test::all_records(*root), "") << name;
    }
  }
}

TEST_F(Sealing, TellsTheDigestOfTheSignature) {
  std::map<std::string, std::string> const names = { { "8", "sha256" }, { "9", "sha384" }, { "10", "sha512" }, { "11", "sha224" } };
  struct { std::optional<std::string> preference; char const* announced; char const* made; } const rows[] = {
    { std::nullopt, "pgp-sha256", "pgp-sha256" }, { "sha512", "pgp-sha512", "pgp-sha512" }, { "sha384", "pgp-sha384", "pgp-sha384" },
    { "$(id) x", nullptr, "pgp-sha256" }, { "md4", "pgp-md4", nullptr }, { "", "pgp-", "pgp-" },
  };
  for (auto const& row : rows) {
    if (row.preference)
      preferences::set("PwOpenPGPHashFunction", *row.preference);
    draft_t draft("sign", "OpenPGP");
    if (row.announced) {
      EXPECT_EQ(micalg(draft), row.announced);
    }
    auto const root = opened(written(draft));
    preferences::reset();
    preferences::set("PwCertificateFolder", folder->path());
    if (!row.made) {
      EXPECT_EQ(word_of(draft), "generationFailed") << row.announced;
      continue;
    }
    auto const lines = lines_with_prefix(root->get_security_details(), "VALIDSIG ");
    ASSERT_EQ(lines.size(), 1U) << root->get_security_details();
    EXPECT_EQ(micalg(*root), "pgp-" + names.at(text::split(lines[0], " ").at(7)));
    EXPECT_TRUE(micalg(*root).starts_with(row.made)) << micalg(*root);
  }
  draft_t draft("sign", "S/MIME");
  EXPECT_EQ(micalg(draft), "sha1");
  EXPECT_EQ(micalg(*opened(written(draft))), "sha-256");
}

// Whoever receives a copy unseen: OpenPGP can hide it, S/MIME cannot.
TEST_F(Sealing, HidesBlindRecipients) {
  std::string const headers = "from: ann@x.org\nto: ann@x.org\nbcc: stranger@x.org\n";
  temporary_folder_t const hers;
  auto const stranger = test::issue({ .addresses = { "stranger@x.org" }, .serial = 5 });
  hers.write("identities/a", stranger.both());
  folder->write("certificates/stranger", stranger.pem());
  for (bool const is_allowed : { false, true }) {
    preferences::set("PwBccEncryptionCheckDisabled", is_allowed);
    draft_t draft("encrypt", "S/MIME", headers);
    std::string message;
    EXPECT_EQ(complaints_of([&] { message = written(draft); }), is_allowed ? "Warning: Bcc recipients are not supported for S/MIME encrypted messages\n" : "");
    EXPECT_EQ(draft.get_header("security-generation-detail", "-"), is_allowed ? "-" : "Bcc recipients are not currently supported for S/MIME encrypted messages.");
    EXPECT_EQ(word_of(draft), is_allowed ? "-" : "generationFailed");
    for (std::string const& reader : { folder->path(), hers.path() }) {
      preferences::set("PwCertificateFolder", reader);
      EXPECT_EQ(word_of(*opened(message)), is_allowed ? "decrypted" : "decryptFailed") << reader;
    }
    preferences::set("PwCertificateFolder", folder->path());
  }
  preferences::set("PwBccEncryptionCheckDisabled", false);
  draft_t draft("encrypt", "OpenPGP", headers);
  std::string const packets = pgp("--list-only --list-packets", std::string(opened(written(draft))->subpart(1).decoded_body()));
  std::vector<std::string> const keys = lines_with_prefix(packets, ":pubkey enc packet");
  EXPECT_EQ(keys.size(), 2U) << packets;
  EXPECT_EQ(std::ranges::count_if(keys, [](std::string const& key) { return key.ends_with(" keyid 0000000000000000"); }), 1) << packets;
}

// What is not sealed says so, is never written in the clear, and can be sealed later.
TEST_F(Sealing, SaysWhyItFailed) {
  std::string const to_ann = "from: ann@x.org\nto: ann@x.org\n", from_nobody = "from: nobody@x.org\nto: ann@x.org\n", to_nobody = "from: ann@x.org\nto: nobody@x.org\n";
  std::string const unknown = "Signing or encryption failed for unknown reasons.";
  struct { char const* name; std::string level, protocol, headers; std::string detail; std::string program = {}; } const rows[] = {
    { "no secret key", "sign", "OpenPGP", from_nobody, "INV_SGNR 9 <nobody@x.org>" },
    { "no key of a recipient", "encrypt", "OpenPGP", to_nobody, "INV_RECP 1 <nobody@x.org>" },
    { "no key of the sender to read it", "encrypt", "OpenPGP", from_nobody, "INV_RECP 1 nobody@x.org" },
    { "no secret key for both", "signAndEncrypt", "OpenPGP", from_nobody, "[GNUPG:] " },
    { "no identity", "sign", "S/MIME", from_nobody, "Failed to find identity to sign for nobody@x.org.\n" },
    { "no certificate", "encrypt", "S/MIME", to_nobody, "Failed to find certificate to encrypt for nobody@x.org.\n" },
    { "nobody who could read it", "encrypt", "S/MIME", "to: ann@x.org\n", "DECRYPTION_FAILED" },
    { "a missing program", "sign", "OpenPGP", to_ann, "[GNUPG:] MISSING_COMMAND (/no/such)\n", "/no/such" },
    { "a folder for a program", "encrypt", "OpenPGP", to_ann, "", "/tmp" },
    { "one that answers only", "encrypt", "OpenPGP", to_ann, unknown, "cat" },
    { "one that signs only", "signAndEncrypt", "OpenPGP", to_ann, "SIG_CREATED", "cat; echo '[GNUPG:] SIG_CREATED D 22 8 00' >&2" },
    { "one that encrypts only", "signAndEncrypt", "OpenPGP", to_ann, "END_ENCRYPTION", "cat; echo '[GNUPG:] END_ENCRYPTION' >&2" },
    { "half a line", "sign", "OpenPGP", to_ann, "SIG_CRE", "cat; printf '[GNUPG:] SIG_CRE' >&2" },
    { "killed behind its words", "sign", "OpenPGP", to_ann, "INCOMPLETE (killed by signal 9)", "cat; echo '[GNUPG:] SIG_CREATED D 22 8 00' >&2; kill -9 $$" },
    { "failed behind its words", "encrypt", "OpenPGP", to_ann, "FAILURE", "cat; echo '[GNUPG:] END_ENCRYPTION' >&2; echo '[GNUPG:] FAILURE encrypt 9' >&2" },
    { "a key of another address for the sender's", "encrypt", "OpenPGP", "from: nn@x.org\nto: stranger@x.org\n", "no key of the sender nn@x.org" },
  };
  for (auto const& row : rows) {
    if (row.program.starts_with('/'))
      _gpg.emplace("PW_GPG", row.program);
    else if (!row.program.empty())
      make_program(row.program);
    draft_t draft(row.level, row.protocol, row.headers);
    std::string const message = written(draft);
    std::string const detail = draft.get_header("security-generation-detail", "-");
    EXPECT_NE(detail.find(row.detail), detail.npos) << row.name << ": " << detail;
    draft.generate_rfc822();
    EXPECT_EQ(word_of(draft), "generationFailed") << row.name;
    EXPECT_EQ(message.find("the secret") != message.npos, row.level == "sign") << row.name;
    _gpg.reset();
    EXPECT_EQ(word_of(*opened(message)), row.level != "sign" ? "decryptFailed" : "unknown") << row.name << message;
    draft.set_header("from", "ann@x.org");
    draft.set_header("to", "ann@x.org");
    EXPECT_EQ(word_of(*opened(written(draft))), row.level == "encrypt" ? "decrypted" : "trustedSignature") << row.name;
    EXPECT_EQ(word_of(draft), "-") << row.name;
  }
}

// GnuPG ends badly, too, when something beside the work went wrong.
TEST_F(Sealing, BelievesStatusLinesAndNoExitStatus) {
  make_program("gpg \"$@\"; status=$?; echo '[GNUPG:] FAILURE gpg-exit 33554433' >&2; exit $((status + 2))");
  draft_t draft("signAndEncrypt", "OpenPGP");
  std::string const message = written(draft);
  _gpg.reset();
  EXPECT_EQ(word_of(*opened(message)), "trustedSignature") << draft.get_header("security-generation-detail", "");
}

// Shell text of headers and of Security.plist; that stays for the life of the process.
TEST_F(Sealing, HandsAddressesOnAsTheyAre) {
  temporary_folder_t const maps;
  maps.write("Security.plist", "{ map = ( { address = \"shell@mapped.org\"; userID = \"--yes $(id) `id` \\\"'\\\\ x\"; } ); }");
  setup_gpg_smime_map(maps.path());
  make_program("printf '%s\\n' \"$@\" >\"${0%/*}/arguments\"");
  draft_t draft("encrypt", "OpenPGP", "from: \"$(id)\" <`id`$(id)@x.org>\nto: \"-x\" <-r@x.org>, !!*@x.org, shell@mapped.org\n");
  written(draft);
  std::string const said = path::content(_programs.path() + "/arguments");
  EXPECT_EQ(said.substr(said.find("--textmode")), "--textmode\n--armor\n--digest-algo\nSHA256\n--recipient\n<-r@x.org>\n--recipient\n<!!*@x.org>\n--recipient\n--yes $(id) `id` \"'\\ x\n"
                                                  "--recipient\n`id`$(id)@x.org\n--trust-model\nalways\n--encrypt\n");
}

// As the same edit would do it without protection, but inside: when the draft is new, and when it was stored and opened again.
TEST_F(Sealing, SealsWhatIsEdited) {
  using edit_t = void (*)(body_part_t&);
  edit_t const edits[] = {
    [](body_part_t& d) { d.set_text_body("newsecret \n", unset_string, unset_string, true); },
    [](body_part_t& d) { d.set_html_body("<b>newsecret</b>"); },
    [](body_part_t& d) { d.add_attachment("newsecret", "n.txt", "text/plain"); },
    [](body_part_t& d) { d.set_html_body("<p>"); d.add_related_part("n.txt", "newsecret"); },
    [](body_part_t& d) {
      d.add_attachment("gone", "a.bin", "");
      body_part_t& all = *d.attachments_body_part();
      for (std::size_t i = 0; i < all.num_subparts(); ++i)
        all.subpart(i).set_id(static_cast<int>(i));
      d.delete_attachment_with_id(static_cast<int>(all.num_subparts()) - 1);
      d.set_text_body("newsecret", unset_string, "<i>newsecret", false);
      d.add_related_part("n.txt", "newsecret");
      d.add_attachment("newsecret", "n.txt", "text/plain");
    },
  };
  for (auto const& [level, protocol] : { std::pair("sign", "OpenPGP"), { "encrypt", "OpenPGP" }, { "signAndEncrypt", "OpenPGP" }, { "sign", "S/MIME" }, { "encrypt", "S/MIME" }, { "signAndEncrypt", "S/MIME" } }) {
    for (std::size_t i = 0; i < std::size(edits); ++i) {
      bool const is_encrypted = level != std::string("sign"), is_openpgp = protocol == std::string("OpenPGP");
      std::string const name = level + (" " + std::string(protocol)) + " " + std::to_string(i);
      auto const inside = [&](body_part_t& part) -> body_part_t& { return (is_openpgp && is_encrypted ? part.subpart(1) : part).subpart(0); };
      auto const expect_inside = [&](body_part_t& part, body_part_t& plain) {
        EXPECT_EQ(part.get_security_level(), level) << name;
        EXPECT_EQ(test::describe(inside(part)), test::describe(plain)) << name;
        EXPECT_EQ(part.text_body(false), plain.text_body(false)) << name;
      };
      body_part_t draft, plain;
      for (body_part_t* const one : { &draft, &plain }) {
        one->set_header("from", "ann@x.org");
        one->set_text_body("first", unset_string, unset_string, true);
      }
      draft.set_security_level(level, protocol);
      edits[i](draft);
      edits[i](plain);
      expect_inside(draft, plain);
      inside(draft).set_id(5);
      _gpg.emplace("PW_GPG", "/no/such");
      std::string message = written(draft);
      EXPECT_EQ(message.find("newsecret") == message.npos, is_encrypted) << name << message;
      EXPECT_EQ(word_of(draft), is_openpgp ? "generationFailed" : "-") << name;
      EXPECT_EQ(inside(draft).get_id(), 5) << name;
      _gpg.reset();
      auto const stored = opened(written(draft)), plain_stored = test::message_of(written(plain));
      std::string const word = level == std::string("encrypt") ? "decrypted" : "trustedSignature";
      EXPECT_EQ(word_of(*stored), word) << name;
      stored->set_security_level(is_encrypted ? "signAndEncrypt" : "sign", protocol);
      edits[i](*stored);
      edits[i](*plain_stored);
      message = written(*stored);
      EXPECT_EQ(message.find("newsecret") == message.npos, is_encrypted) << name << message;
      auto const reread = opened(message);
      EXPECT_EQ(word_of(*reread), "trustedSignature") << name << reread->get_security_details();
      reread->set_security_level(level, protocol);
      expect_inside(*reread, *test::message_of(written(*plain_stored)));
    }
  }
}

// Lines that GnuPG does not take, and a group instead of recipients.
TEST_F(Sealing, SealsUnusualMail) {
  for (std::string const protocol : { "OpenPGP", "S/MIME" }) {
    for (std::string const level : { "sign", "encrypt" }) {
      draft_t draft(level, protocol, "from: ann@x.org\nto: undisclosed-recipients:;\nbcc: Nobody: ;\n");
      draft.add_attachment("Subject: x\n\n" + std::string(20000, 'x'), "", "message/rfc822");
      draft.generate_rfc822();
      decrypt_and_verify_signatures(draft);
      EXPECT_EQ(word_of(draft), level == "sign" ? "trustedSignature" : "decrypted") << protocol << level << draft.get_header("security-generation-detail", "");
      EXPECT_EQ(draft.attachments_body_part()->subpart(2).subpart(0).decoded_body(), std::string(20000, 'x')) << protocol << level;
    }
  }
}

// What was found out was about what the message was. A clear-signed text is what it was.
TEST_F(Sealing, ForgetsTheOutcomeWithTheProtection) {
  std::string const text = part("text/plain"), block = part("text/plain", clear_signed("text\n")), around = part("text/plain", "above\n" + clear_signed("text\n"));
  struct { char const* name; std::string entity; char const* level; char const* word; } const rows[] = {
    { "signed", pgp_signed(text), "none", "-" }, { "encrypted", pgp_encrypted(text), "none", "-" },
    { "S/MIME", envelope(smime(true, true, text)), "none", "-" }, { "signed anew", smime_signed(text), "sign", "-" },
    { "clear-signed in signed", pgp_signed(block), "none", "trustedSignature" },
    { "clear-signed in encrypted, with more text", pgp_encrypted(around), "none", "complicated" },
    { "a block in signed", pgp_signed(part("text/plain", pgp_ciphertext("text\n"))), "none", "-" },
    { "signed in encrypted", envelope(smime(false, true, pgp_signed(text))), "none", "-" },
    { "clear-signed, to be signed", block, "sign", "-" }, { "clear-signed, to be encrypted", block, "encrypt", "-" },
    { "more text, to be encrypted", around, "encrypt", "-" },
  };
  for (auto const& row : rows) {
    auto const root = opened(message(row.entity));
    EXPECT_NE(word_of(*root), "-") << row.name;
    root->set_security_level(row.level, "OpenPGP");
    EXPECT_EQ(word_of(*root), row.word) << row.name;
  }
  draft_t failed("sign", "OpenPGP", "from: nobody@x.org\n");
  written(failed);
  EXPECT_EQ(word_of(failed), "generationFailed");
  failed.set_body("text", "plain", unset_string, nullptr, nullptr, false);
  EXPECT_EQ(word_of(failed), "-") << "other content";
  auto const unsigned_text = opened(message(pgp_signed(text)));
  unsigned_text->delete_subpart_with_index(1);
  EXPECT_EQ(word_of(*unsigned_text), "-") << "the signature was deleted";
}

TEST_F(Sealing, SealsWhatWasEditedInReceivedMail) {
  std::string const entity = part("text/plain", "The secret.\n");
  std::string const envelopes[] = { "", leaf_in_base64("application/x-pkcs7-mime", smime(false, true, entity)), leaf_in_base64("application/pkcs7-mime; smime-type=signed-data", opaque(entity)) };
  for (std::string const& smime_entity : envelopes) {
    bool const is_smime = !smime_entity.empty();
    std::string const source = message(is_smime ? smime_entity : pgp_encrypted(entity), "From: ann@x.org\nTo: ann@x.org\n");
    auto const root = opened(source);
    body_part_t& holder = is_smime ? *root : root->subpart(1);
    holder.subpart(0).set_body("text", "plain", unset_string, secret.data(), secret.data() + secret.size(), false);
    for (bool was_sealed = false; bool const has_key : { false, true, false, true }) {
      was_sealed = was_sealed || has_key;
      root->set_header("from", has_key ? "ann@x.org" : "nobody@x.org");
      std::string const message = written(*root);
      EXPECT_EQ(message.find("secret"), message.npos);
      auto const again = opened(message);
      EXPECT_EQ((is_smime ? *again : again->subpart(1)).subpart(0).decoded_body(), was_sealed ? secret : "The secret.\n") << "what was sealed last is kept";
      EXPECT_EQ(again->get_header("content-type.parameter.split.smime-type", "-") == "enveloped-data", is_smime && was_sealed);
      EXPECT_EQ(root->exists_header("security-generation-detail"), !has_key) << root->get_header("security-generation-detail", "");
    }
  }
}

// What is open stays where it is, through failures too.
TEST_F(Sealing, SealsEachEditLayerByLayer) {
  std::vector<std::string> all = layered("The secret.\n");
  for (std::string const& layers : { all[1], all[2] })
    all.push_back(multipart("mixed", { layers, part("text/plain", "the list\n") }));
  all.push_back(pgp_signed(all.back()));
  for (std::string const& layers : all) {
    auto const root = opened(message(layers, "From: ann@x.org\nTo: ann@x.org\n"));
    EXPECT_EQ(root->text_body(false), "The secret.\n");
    body_part_t& text = text_of(*root);
    std::string edited = secret;
    for (bool const has_key : { false, true, true }) {
      root->set_text_body(edited += "\nmore", unset_string, unset_string, /*is_signed*/ true);
      if (!has_key)
        _gpg.emplace("PW_GPG", "/no/such");
      std::string const message = written(*root);
      _gpg.reset();
      EXPECT_EQ(&text_of(*root), &text);
      EXPECT_EQ(root->text_body(false), edited);
      EXPECT_EQ(message.find("the secret"), message.npos);
      bool const is_made = word_of(*root) != "generationFailed";
      EXPECT_TRUE(is_made || !has_key) << root->get_security_details();
      EXPECT_FALSE(is_made && word_of(*root) == "trustedSignature") << "that was of another text";
      if (is_made) {
        EXPECT_EQ(opened(message)->text_body(false), edited);
        EXPECT_EQ(test::describe(*opened(message)), test::describe(*root));
      }
    }
  }
}

TEST_F(Sealing, RemovesLayerByLayer) {
  auto const all = layered("The secret.\n");
  for (std::string const& layers : all) {
    for (auto const& [level, protocol] : { std::pair("none", "Unknown"), { "sign", "S/MIME" }, { "encrypt", "S/MIME" }, { "signAndEncrypt", "OpenPGP" }, { "encrypt", "OpenPGP" } }) {
      for (bool const is_edited : { false, true }) {
        auto const root = opened(message(layers, "From: ann@x.org\nTo: ann@x.org\n"));
        if (is_edited)
          root->set_text_body(secret, unset_string, unset_string, /*is_signed*/ true);
        root->set_security_level(level, protocol);
        EXPECT_EQ(root->get_security_level(), level) << protocol;
        EXPECT_EQ(root->get_security_protocol(), protocol) << level;
        std::string const message = written(*root);
        EXPECT_TRUE(std::string_view(level).find("ncrypt") == std::string_view::npos || message.find("secret") == message.npos) << level << protocol << message;
        auto const again = opened(message);
        EXPECT_EQ(again->text_body(false), is_edited ? secret : "The secret.\n") << level << protocol;
        for (char const* const word : { "generationFailed", "badSignature", "decryptFailed" })
          EXPECT_NE(word_of(*again), word) << level << protocol;
        EXPECT_TRUE(level != std::string("signAndEncrypt") || word_of(*again) == "trustedSignature" || &layers != &all.back()) << word_of(*again);
        EXPECT_TRUE(protocol != std::string("S/MIME") || again->get_header("content-type.parameter.split.smime-type", "enveloped-data") == "enveloped-data");
      }
    }
  }
  // What cannot be removed keeps what is around it; what only says that it is encrypted is no wanted layer.
  for (std::string const& inner : { multipart(signed_by_pgp, { part("text/plain", "The secret.\n") }), part("application/pkcs7-mime", "The secret.\n") }) {
    std::string const broken = message(pgp_encrypted(inner));
    auto const root = opened(broken);
    root->set_security_level("encrypt", "S/MIME");
    EXPECT_EQ(written(*root), broken);
  }
}

TEST_F(Sealing, MovesOpenLayersAsTheyAre) {
  for (std::string const protocol : { "OpenPGP", "S/MIME" }) {
    draft_t draft("none", "");
    draft.subpart(0).set_security_level("encrypt", protocol);
    draft.delete_attachment_with_id(7);
    EXPECT_EQ(opened(written(draft))->text_body(false), secret) << protocol;
    auto const root = opened(message(multipart("mixed", { pgp_encrypted(part("text/plain")), part("text/plain", "footer\n") }), "From: ann@x.org\nTo: ann@x.org\n"));
    root->set_text_body("before\n", unset_string, unset_string, /*is_signed*/ true);
    root->delete_subpart_with_index(1);
    EXPECT_EQ(root->text_body(false), "before\n");
    root->set_text_body(secret, unset_string, unset_string, /*is_signed*/ true);
    EXPECT_EQ(written(*root).find("the secret"), std::string::npos);
    EXPECT_EQ(opened(written(*root))->text_body(false), secret);
  }
}

// However it is protected, it is read as before.
TEST_F(Sealing, KeepsUnusualContent) {
  std::string const cells = multipart("mixed", { part("text/plain", "price =41\n"), part("text/html", "x\n") }, "Content-Transfer-Encoding: quoted-printable\n");
  struct { char const* name; std::string headers, entity; } const rows[] = {
    { "a container in quoted-printable", "", cells }, { "an enclosed message in base64", "", "Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\n" + message(part("text/plain", "abcd\n")) },
    { "bytes", "", part("image/png", std::string("PNG\r\n\x1A\n\0\n", 9)) }, { "binary", "", "Content-Transfer-Encoding: binary\n" + part("image/png", "P\nG\n") },
    { "a hint at a charset", "Subject: =?koi8-r?q?a?=\n", multipart("mixed", { part("text/plain", "\xF0\xD2\xC9\n"), part("text/html", "x\n") }) },
    { "several types", "", "Content-Type: text/plain\n" + multipart(encrypted_by_pgp, { part("text/plain", "x\n") }) }, { "a description", "", "Content-Description: it\n" + part("text/html", "x\n") },
  };
  for (auto const& row : rows) {
    for (auto const& [level, protocol] : { std::pair("sign", "OpenPGP"), { "encrypt", "OpenPGP" }, { "encrypt", "S/MIME" } }) {
      auto const plain = test::message_of("From: ann@x.org\nTo: ann@x.org\n" + row.headers + row.entity), root = test::message_of("From: ann@x.org\nTo: ann@x.org\n" + row.headers + row.entity);
      root->set_security_level(level, protocol);
      auto const stored = opened(written(*root));
      EXPECT_EQ(word_of(*stored), level == std::string("sign") ? "trustedSignature" : "decrypted") << row.name;
      stored->set_security_level("none", unset_string);
      for (auto const& part : { stored, test::message_of(written(*stored)) }) {
        EXPECT_EQ(test::describe(*part), test::describe(*plain)) << row.name << protocol;
        EXPECT_EQ(part->text_body(false), plain->text_body(false)) << row.name << protocol;
        EXPECT_EQ(part->get_header("content-description", "-"), plain->get_header("content-description", "-")) << row.name;
      }
    }
  }
  // What a second type in decrypted content says is no protection.
  auto const root = opened(message(pgp_encrypted("Content-Type: text/plain\n" + multipart(encrypted_by_pgp, { part("text/plain", "x\n") })), "From: ann@x.org\nTo: ann@x.org\n"));
  root->set_security_level("encrypt", "S/MIME");
  root->set_text_body(secret, unset_string, unset_string, true);
  EXPECT_EQ(written(*root).find("the secret"), std::string::npos);
  EXPECT_EQ(opened(written(*root))->text_body(false), secret);
}

TEST_F(Sealing, KeepsLayersBesideNewText) {
  draft_t draft("none", "");
  draft.set_text_body("first\n", unset_string, "<p>first", false);
  draft.subpart(0).subpart(1).set_security_level("encrypt", "OpenPGP");
  draft.set_text_body("second\n", unset_string, unset_string, false);
  auto const root = opened(written(draft));
  EXPECT_EQ(shape(*root), "multipart/mixed[multipart/mixed[text/plain multipart/encrypted[application/pgp-encrypted application/octet-stream[text/html]]] application/pdf]");
  EXPECT_EQ(draft.get_security_level(), "encrypt");
}

// Only a leaf holds ciphertext.
TEST_F(Sealing, TakesNoContainerForCiphertext) {
  for (std::string const& data : { multipart("mixed", { part("text/plain", "x\n") }), "Content-Type: message/rfc822\n\n" + message(part("text/plain", "x\n")) }) {
    auto const root = opened(message(multipart(encrypted_by_pgp, { part("application/pgp-encrypted", "Version: 1\n"), data }), "From: ann@x.org\nTo: ann@x.org\n"));
    root->set_text_body(secret, unset_string, unset_string, /*is_signed*/ true);
    root->set_security_level("signAndEncrypt", "OpenPGP");
    EXPECT_EQ(written(*root).find("the secret"), std::string::npos);
    EXPECT_EQ(opened(written(*root))->text_body(false), secret);
  }
}

TEST_F(Sealing, KeepsWhatALayerInsideDoesNotSeal) {
  for (bool const signs_last : { false, true }) {
    draft_t draft(signs_last ? "encrypt" : "sign", "OpenPGP", "from: nobody@x.org\nto: nobody@x.org\n");
    signs_last ? draft.sign("OpenPGP") : draft.encrypt("OpenPGP", false);
    EXPECT_EQ(written(draft).find("the secret"), std::string::npos);
    EXPECT_EQ(word_of(draft), "generationFailed");
    EXPECT_EQ(draft.text_body(false), secret);
    draft.set_header("from", "ann@x.org");
    draft.set_header("to", "ann@x.org");
    EXPECT_EQ(opened(written(draft))->text_body(false), secret);
    EXPECT_EQ(draft.get_attachment_id(0), 7);
  }
  body_part_t holder;
  holder.set_body("multipart", "mixed", unset_string, nullptr, nullptr, false);
  body_part_t& inner = holder.insert_subpart(0, "text", "plain", unset_string, secret.data(), secret.data() + secret.size(), false);
  inner.set_security_level("encrypt", "OpenPGP");
  holder.generate_rfc822();
  EXPECT_EQ(word_of(holder), "generationFailed");
  EXPECT_EQ(holder.subpart(0).subpart(1).subpart(0).decoded_body(), secret);
}

TEST_F(Sealing, LeavesBrokenShapesAlone) {
  std::string const one = part("text/plain"), control = part("application/pgp-encrypted"), signature = part("application/pgp-signature");
  for (std::string const& entity : { multipart(signed_by_pgp, { one }), multipart(signed_by_pgp, { one, signature, one }), multipart(encrypted_by_pgp, { control }),
                                     multipart(encrypted_by_pgp, { control, one }), multipart(encrypted_by_pgp, { control, one, one }), envelope("x") }) {
    auto const root = test::message_of(message(entity));
    std::string const tree = test::describe(*root), before = root->get_security_level();
    root->remove_signing();
    root->remove_encryption();
    for (auto const& [level, protocol] : { std::pair("none", "OpenPGP"), { "sign", "S/MIME" }, { "encrypt", "S/MIME" }, { "signAndEncrypt", "OpenPGP" } })
      root->set_security_level(level, protocol);
    EXPECT_EQ(test::describe(*root), tree);
    EXPECT_EQ(root->get_security_level(), before);
    EXPECT_EQ(written(*root), message(entity));
  }
}

TEST_F(Sealing, MakesContentSafeToSign) {
  std::string const pdf = "Content-Disposition: attachment\n" + part("application/pdf", "a \nb\n"), safe = part("text/plain", "a\n b"), closed = multipart("signed", { part("text/plain", "a \n"), safe });
  auto const root = test::message_of(message(multipart("mixed", { part("text/plain", "a\t\nb "), pdf, safe, closed, "Content-Type: message/rfc822\n\n" + message(part("text/html", "a \n")) })));
  root->mark_to_be_signed(true);
  std::string const text = written(*root);
  for (std::string const piece : { "Content-Type: text/plain\nContent-Transfer-Encoding: quoted-printable\n\na\t=\n\nb", "Content-Transfer-Encoding: base64\n\nYSAKYgo=", "Content-Type: text/html\nContent-Transfer-Encoding: quoted-printable\n\na =\n\n" })
    EXPECT_NE(text.find(piece), text.npos) << piece << "\n" << text;
  EXPECT_NE(text.find(closed), text.npos) << "what is protected stays";
  EXPECT_NE(text.find(safe), text.npos);
  auto const untouched = test::message_of(message(safe));
  untouched->mark_to_be_signed(true);
  EXPECT_FALSE(untouched->has_changed());
}

TEST(SealingDeathTest, IsNotDoneTwice) {
  auto const death = [](char const* level, char const* protocol, auto const& misuse, std::string const& text) {
    body_part_t draft;
    draft.set_text_body("a\n", unset_string, unset_string, true);
    draft.set_security_level(level, protocol);
    EXPECT_DEATH(misuse(draft), "^Fatal: " + text + "\n") << text;
  };
  death("none", "", [](body_part_t& draft) { draft.set_security_level("sign", unset_string); }, "Missing security protocol");
  death("encrypt", "OpenPGP", [](body_part_t& draft) { draft.set_security_level("Encrypt", "OpenPGP"); }, "Unknown security level 'Encrypt'");
  death("none", "", [](body_part_t& draft) { draft.set_security_level("sign", "smime"); }, "Unknown security protocol 'smime'");
  death("none", "", [](body_part_t& draft) { draft.encrypt("", false); }, "Unknown security protocol ''");
  death("sign", "S/MIME", [](body_part_t& draft) { draft.sign("OpenPGP"); }, "Trying to sign an already signed message");
  death("encrypt", "OpenPGP", [](body_part_t& draft) { draft.encrypt("OpenPGP", false); }, "Trying to encrypt an already encrypted message \\(multipart/encrypted\\)");
  death("encrypt", "S/MIME", [](body_part_t& draft) { draft.encrypt("S/MIME", true); }, "Trying to encrypt an already encrypted message \\(application/pkcs7-mime\\)");
}

}  // namespace
}  // namespace kel
