#include <gtest/gtest.h>

#include <kelmime/body.h>
#include <helpers/messages.h>

namespace kel {
namespace {

using test::multipart;

std::string part(std::string const& type) { return test::leaf(type, "x"); }

TEST(BodySecurity, ReadsTheStructure) {
  std::string const text = part("text/plain");
  std::string const pgp_signed = multipart("signed", { text, part("application/PGP-Signature") });
  std::string const pgp_encrypted = multipart("encrypted; protocol=\"application/PGP-encrypted\"", { part("application/pgp-encrypted"), text });
  struct { char const* name; std::string message; char const* level; char const* protocol; } const rows[] = {
    { "text", text, "none", "Unknown" }, { "mixed", multipart("mixed", { text, text }), "none", "Unknown" },
    { "no parts", part("multipart/mixed"), "none", "Unknown" }, { "signed", pgp_signed, "sign", "OpenPGP" },
    { "signed, S/MIME", multipart("signed", { text, part("application/pkcs7-signature") }), "sign", "S/MIME" },
    { "signed, S/MIME of old", multipart("signed", { text, part("application/x-pkcs7-signature") }), "sign", "S/MIME" },
    { "signed by something else", multipart("signed", { text, text }), "sign", "Unknown" },
    { "signed without parts", part("multipart/signed"), "sign", "Unknown" }, { "encrypted", pgp_encrypted, "encrypt", "OpenPGP" },
    { "encrypted by something else", multipart("encrypted", { text, text }), "encrypt", "Unknown" },
    { "encrypted around S/MIME", multipart("encrypted", { part("application/pkcs7-mime"), text }), "encrypt", "S/MIME" },
    { "S/MIME", part("Application/PKCS7-MIME; name=smime.p7m"), "encrypt", "S/MIME" },
    { "S/MIME of old", part("application/x-pkcs7-mime"), "encrypt", "S/MIME" },
    { "a footer beside a signed part", multipart("mixed", { pgp_signed, text }), "sign", "OpenPGP" },
    { "the first one decides", multipart("mixed", { text, multipart("mixed", { part("application/pkcs7-mime"), pgp_signed }) }), "encrypt", "S/MIME" },
    { "not inside a message", multipart("mixed", { text, "Content-Type: message/rfc822\n\n" + pgp_signed }), "none", "Unknown" },
  };
  for (auto const& row : rows) {
    auto const message = test::message_of(row.message);
    EXPECT_EQ(message->get_security_level(), row.level) << row.name;
    EXPECT_EQ(message->get_security_protocol(), row.protocol) << row.name;
  }
  auto const inlined = test::message_of(text);
  inlined->add_header("##security-details", "GOODSIG");
  EXPECT_EQ(inlined->get_security_protocol(), "OpenPGP (inlined)");
  EXPECT_EQ(inlined->get_security_level(), "none");
  auto const rogue = test::message_of(text);
  rogue->add_header("##security-details", "ROGUE_PART");
  EXPECT_EQ(rogue->get_security_protocol(), "Unknown");
}

}  // namespace
}  // namespace kel
