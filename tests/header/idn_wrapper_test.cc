#include <kelmime/idn_wrapper.h>

#include <gtest/gtest.h>

#include <header/reading.h>

namespace kel {

namespace {

using namespace test;

TEST(Idn, DomainsTurnIntoEachOther) {
  struct { char const* readable; char const* encoded; } const rows[] = {
    { "a@m\u00FCnchen.de", "a@xn--mnchen-3ya.de" },
    { "\"x@m\u00FC\" <a@sub.m\u00FCnchen.de>, b@c, d@\u4F8B\u3048.jp", "\"x@m\u00FC\" <a@sub.xn--mnchen-3ya.de>, b@c, d@xn--r8jz45g.jp" },
    { "a@stra\u00DFe.de (b@m\u00FC)", "a@xn--strae-oqa.de (b@m\u00FC)" }, { "<@m\u00FCnchen.de:a@b>", "<@xn--mnchen-3ya.de:a@b>" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(idn::header_domains_to_ascii(row.readable), row.encoded);
    EXPECT_EQ(idn::header_domains_to_utf8(row.encoded), row.readable);
    EXPECT_TRUE(idn::is_encoded(row.encoded)) << row.encoded;
    EXPECT_FALSE(idn::is_encoded(row.readable)) << row.readable;
  }
  EXPECT_TRUE(idn::is_encoded("a@b.XN--MNCHEN-3YA.de"));
  EXPECT_EQ(idn::header_domains_to_utf8("a@XN--MNCHEN-3YA.DE"), "a@m\u00FCnchen.DE");
}

TEST(Idn, EverythingElseIsKept) {
  std::string const values[] = {
    "", "xn--mnchen-3ya.de", "\"a@xn--mnchen-3ya.de\"", "(\\)a@xn--mnchen-3ya.de)", "a@", "a@xn--", "a@xn--99999999999",
    "a@xn--abc-", "a@[1.2.3.4]", "a@\xFF\xFE.de", "a@..\u200B", "a@" + repeated("m\u00FCnchen.", 30) + "de",
    "a@" + repeated("xn--mnchen-3ya.", 18) + "de",
    // Labels whose readable form would lie:
    "a@xn--foobar-kn68a.xn--xy-r13a",  // other dots
    "a@xn--ab-su3n",                   // a wide comma
    "a@xn--a-uo0i",                    // a wide angle bracket
    "a@xn--ab-g4t",                    // a change of the writing direction
    "a@xn--ab-g1t.xn--ab-6da",         // invisible characters
    "a@xn--wca",                       // a capital letter
  };
  for (std::string const& value : values) {
    exact_copy_t const bytes(value);
    EXPECT_EQ(idn::header_domains_to_utf8({ bytes.begin(), bytes.end() }), value);
    EXPECT_EQ(idn::header_domains_to_ascii({ bytes.begin(), bytes.end() }), value);
  }
}

TEST(Idn, LongListsAreConvertedToTheirEnd) {
  constexpr std::size_t n = 12'000;
  std::string const readable = repeated("a@m\u00FCnchen.de,", n), encoded = repeated("a@xn--mnchen-3ya.de,", n);
  EXPECT_TRUE(idn::header_domains_to_ascii(readable) == encoded);
  EXPECT_TRUE(idn::header_domains_to_utf8(encoded) == readable);
  for (std::string_view const piece : { "@xn--99999999999.", "@", "(", "\"" }) {
    std::string const value = repeated(piece, n);
    EXPECT_TRUE(idn::header_domains_to_utf8(value) == value) << piece;
    EXPECT_TRUE(idn::header_domains_to_ascii(value) == value) << piece;
  }
}

}  // namespace

}  // namespace kel
