#include <kelmime/mailto.h>

#include <gtest/gtest.h>

#include <helpers/exact_copy.h>
#include <helpers/repeated.h>
#include <helpers/short_strings.h>

namespace kel {

namespace {

// "to=a@b; subject=x | body", or "none" for a text that is no such URL.
std::string filled(std::string_view url) {
  mailto_t draft;
  bool const is_read = test::on_exact_copy(url, [&](char const* first, char const* last) { return parse_mailto({ first, last }, draft); });
  if (!is_read)
    return "none";
  std::string text;
  for (auto const& [name, value] : draft.headers)
    text += (text.empty() ? "" : "; ") + name + "=" + value;
  return draft.body.empty() ? text : text + " | " + draft.body;
}

TEST(Mailto, FillsADraft) {
  struct { char const* name; std::string url; std::string expected; } const rows[] = {
    { "address", "mailto:ann@example.org", "to=ann@example.org" }, { "nothing", "mailto:", "" },
    { "scheme in capitals, framed", " <MailTo:a@b>\n", "to=a@b" }, { "another scheme", "http://a@b", "none" },
    { "no scheme", "a@b?subject=x", "none" },                      { "scheme cut off", "mailto", "none" },
    { "headers in order", "mailto:a@b?SUBJECT=x&cc=c@d&In-Reply-To=%3Ci@d%3E&keywords=k", "to=a@b; subject=x; cc=c@d; in-reply-to=<i@d>; keywords=k" },
    { "recipients from everywhere", "mailto:a@b,c@d?to=e@f&To=g@h", "to=a@b, c@d, e@f, g@h" },
    { "recipients behind the subject", "mailto:?subject=s&to=a@b", "subject=s; to=a@b" },
    { "no recipient", "mailto:?to=&subject=s", "subject=s" }, { "empty pieces", "mailto:,%20,a@b,?&&=x&subject&cc=", "to=a@b" },
    { "lists are joined", "mailto:?cc=a@b&keywords=x&cc=c@d&keywords=y", "cc=a@b, c@d; keywords=x, y" },
    { "the first subject counts", "mailto:?subject=&subject=a&subject=b", "subject=a" },
    { "plus is a plus", "mailto:a+b@c?subject=1+1%3D2", "to=a+b@c; subject=1+1=2" }, { "escaped name", "mailto:?%73ubject=x", "subject=x" },
    { "equal sign and question mark in a value", "mailto:?subject=a=b?c", "subject=a=b?c" },
    { "escapes of the address", "mailto:gorby%25kremvax@x,unlikely%3Faddress@y", "to=gorby%kremvax@x, unlikely?address@y" },
    { "quoted local part", "mailto:%22not%40me%2C%22@x", "to=\"not@me,\"@x" },
    { "comma of a local part", "mailto:a%2Cb@x,c@d", "to=\"a,b\"@x, c@d" },
    { "comma between addresses", "mailto:a@x%2C%20b@y", "to=a@x, b@y" },
    { "comma of a name", "mailto:Doe%2C%20John%20%3Cj@x%3E", "to=Doe, John <j@x>" },
    { "bad escapes are text", "mailto:?subject=100%&body=%4&cc=%zz@x%", "subject=100%; cc=%zz@x% | %4" },
    { "an escape is decoded once", "mailto:?subject=%2541", "subject=%41" },
    { "UTF-8", "mailto:?subject=caf%C3%A9%20\u2615", "subject=caf\u00E9 \u2615" },
    { "no UTF-8", "mailto:?subject=caf%E9!%C3&body=%ED%A0%80", "subject=caf\uFFFD!\uFFFD | \uFFFD\uFFFD\uFFFD" },
    { "encoded word", "mailto:?subject=%3D%3Fiso-8859-1%3FQ%3Fcaf%3DE9%3D0D%3D0ABcc%3F%3D", "subject=caf\u00E9 Bcc" },
    { "fragment", "mailto:a@b?subject=x#y&cc=c@d", "to=a@b; subject=x" },
    { "lines of the body", "mailto:?body=a%0D%0Ab%0Ac%0Dd%0D%0A%0D%0A%09e", " | a\nb\nc\nd\n\n\te" },
    { "two bodies", "mailto:?body=a&body=b", " | a\nb" },
    { "line breaks of headers", "mailto:a@b%0D%0ABcc:x@y?subject=s%0D%0A%0D%0ABcc:%20x%0A%20y%0D", "to=a@b Bcc:x@y; subject=s  Bcc: x  y" },
    { "control bytes", "mailto:?subject=a%00b%1B[2J%7F%09c&body=%00%0C%C2%9B%C2%A0", "subject=a\uFFFDb\uFFFD[2J\uFFFD\tc | \uFFFD\uFFFD\uFFFD\u00A0" },
    { "raw zero byte", std::string("mailto:?subject=a\0b", 19), "subject=a\uFFFDb" },
    { "what a stranger may not set", "mailto:?from=a@b&bcc=c@d&attach=/etc/passwd&attachment=x&x-y=z&sender=s&reply-to=r&resent-to=t&content-type=c&%23date=d&subject%0Abcc=e", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(filled(row.url), row.expected) << row.name;

  mailto_t draft = { { { "to", "kept" } }, "kept" };
  EXPECT_FALSE(parse_mailto("news:a@b", draft));
  EXPECT_EQ(draft.body + draft.headers.at(0).second, "keptkept");
  EXPECT_TRUE(parse_mailto("mailto:", draft));
  EXPECT_TRUE(draft.body.empty() && draft.headers.empty());
}

TEST(Mailto, EveryShortStringStaysInItsLine) {
  test::for_all_short_strings("%0aA,@?&=\n\xC3", [](std::string const& text) {
    for (char const* prefix : { "mailto:", "mailto:?subject=%0", "mailto:?cc=a%" }) {
      mailto_t draft;
      EXPECT_TRUE(parse_mailto(prefix + text, draft));
      for (auto const& [name, value] : draft.headers)
        EXPECT_TRUE(value.find_first_of(std::string_view("\r\n\0", 3)) == value.npos && !value.empty()) << name << ": " << value;
    }
  });
}

TEST(Mailto, FloodsAreReadToTheirEnd) {
  for (char const* flood : { "%", "%2C", ",", "&", "=", "?", "to=a@b&", "&body=x", "\xC3", "%0D", "@", "=?", "<" }) {
    mailto_t draft;
    EXPECT_TRUE(parse_mailto("mailto:" + repeated(flood, 100'000) + "?body=" + repeated(flood, 100'000) + "&subject=end", draft)) << flood;
    EXPECT_FALSE(draft.headers.empty() && draft.body.empty()) << flood;
  }
}

}  // namespace

}  // namespace kel
