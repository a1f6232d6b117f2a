#include <gtest/gtest.h>

#include <kelmime/body.h>
#include <helpers/describe.h>

namespace kel {
namespace {

std::string leaf(std::string const& type) {
  return "Content-Type: " + type + "\n\nx";
}

std::string multipart(std::string const& subtype, std::string const& first, std::string const& second) {
  std::string const boundary(1 + first.size() + second.size(), 'b');
  return "Content-Type: multipart/" + subtype + "; boundary=" + boundary + "\n\n\n--" + boundary + "\n" + first + "\n--" + boundary +
         "\n" + second + "\n--" + boundary + "--\n";
}

TEST(BodySecurity, ReadsTheStructure) {
  std::string const text = leaf("text/plain");
  std::string const pgp_signed = multipart("signed", text, leaf("application/PGP-Signature"));
  std::string const pgp_encrypted = multipart("encrypted; protocol=\"application/PGP-encrypted\"", leaf("application/pgp-encrypted"), text);
  struct {
    char const* name;
    std::string message;
    char const* level;
    char const* protocol;
  } const rows[] = {
    { "text", text, "none", "Unknown" },
    { "mixed", multipart("mixed", text, text), "none", "Unknown" },
    { "no parts", leaf("multipart/mixed"), "none", "Unknown" },
    { "signed", pgp_signed, "sign", "OpenPGP" },
    { "signed, S/MIME", multipart("signed", text, leaf("application/pkcs7-signature")), "sign", "S/MIME" },
    { "signed, S/MIME of old", multipart("signed", text, leaf("application/x-pkcs7-signature")), "sign", "S/MIME" },
    { "signed by something else", multipart("signed", text, text), "sign", "Unknown" },
    { "signed without parts", leaf("multipart/signed"), "sign", "Unknown" },
    { "encrypted", pgp_encrypted, "encrypt", "OpenPGP" },
    { "encrypted by something else", multipart("encrypted", text, text), "encrypt", "Unknown" },
    { "encrypted around S/MIME", multipart("encrypted", leaf("application/pkcs7-mime"), text), "encrypt", "S/MIME" },
    { "S/MIME", leaf("Application/PKCS7-MIME; name=smime.p7m"), "encrypt", "S/MIME" },
    { "S/MIME of old", leaf("application/x-pkcs7-mime"), "encrypt", "S/MIME" },
    { "a footer beside a signed part", multipart("mixed", pgp_signed, text), "sign", "OpenPGP" },
    { "the first one decides", multipart("mixed", text, multipart("mixed", leaf("application/pkcs7-mime"), pgp_signed)), "encrypt", "S/MIME" },
    { "not inside a message", multipart("mixed", text, "Content-Type: message/rfc822\n\n" + pgp_signed), "none", "Unknown" },
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
