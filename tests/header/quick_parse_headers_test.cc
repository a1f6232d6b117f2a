#include <kelmime/quick_parse_headers.h>

#include <gtest/gtest.h>

#include <header/reading.h>

namespace kel {

namespace {

using namespace test;
using wanted_t = std::set<std::string, std::less<>>;

// "key=value; ..." and behind a "|" what the cursor points to.
std::string scanned(std::string_view text, wanted_t const& wanted) {
  exact_copy_t const bytes(text);
  char const* cursor = bytes.begin();
  std::string all;
  for (auto const& [key, value] : quick_parse_headers(cursor, bytes.end(), wanted))
    all += (all.empty() ? "" : "; ") + key + "=" + value;
  return all + "|" + std::string(cursor, bytes.end());
}

TEST(QuickParseHeaders, TakesWhatIsWanted) {
  std::string const text_plain = "#boundary=; #charset=us-ascii; #subtype=plain; #type=text";
  struct { char const* name; std::string text; wanted_t wanted; std::string expected; } const rows[] = {
    { "empty", "", { "a" }, "|" }, { "body only", "\nx", { "a" }, "|x" }, { "no end", "A: 1", { "a" }, "a=1|" },
    { "folded and decoded", "X: 0\nA:  =?utf-8?q?=C3?=\n =?utf-8?q?=BC?=\n b\n\nx", { "a" }, "a=\u00FC b|x" },
    { "the last one counts", "A: 1\na: 2\n\n", { "a" }, "a=2|" }, { "empty value", "A:\n\n", { "a" }, "a=|" },
    { "no colon", "a\n b\nB: 1\n\nx", { "a", "b" }, "a= b; b=1|x" },
    { "received", "Received: x\nReceived: y; 1 Jan 2024 10:00 +0100\nReceived: z; 2 Jan 2024\n\n", { "received" },
      "received=2024-01-01 09:00:00|" },
    { "received after date", "Date: 1\nReceived: y; 1 Jan 2024\n\n", { "received", "date" }, "date=1|" },
    { "received after unwanted date", "Date: 1\nReceived: y; 1 Jan 2024\n\n", { "received" }, "received=2024-01-01 00:00:00|" },
    { "no content-type", "\n", { "content-type" }, text_plain + "|" },
    { "unreadable content-type", "Content-Type: text\n\n", { "content-type" }, text_plain + "; content-type=text|" },
    { "multipart", "Content-Type:\n Multipart/Mixed; a=b;\n boundary=\"x;\\\"y\"\n\n", { "content-type" },
      "#boundary=x;\"y; #charset=us-ascii; #subtype=mixed; #type=multipart; content-type= Multipart/Mixed; a=b; "
      "boundary=\"x;\\\"y\"|" },
    { "multipart without a subtype", "Content-Type: multipart; boundary=x\n\n", { "content-type" },
      "#boundary=x; #charset=us-ascii; #subtype=plain; #type=multipart; content-type=multipart; boundary=x|" },
    { "comments", "Content-Type: (a/b) text/html (c;d) ; charset=utf-8\n"
      "Content-Transfer-Encoding: base64 (x)\nContent-Disposition: (;) attachment\n\n", { "content-type",
      "content-transfer-encoding", "content-disposition" },
      "#boundary=; #charset=utf-8; #disposition=attachment; #encoding=base64; #subtype=html; #type=text; "
      "content-disposition=(;) attachment; content-transfer-encoding=base64 (x); "
      "content-type=(a/b) text/html (c;d) ; charset=utf-8|" },
    { "charset", "Content-Type: text/html; CHARSET=UTF-8 \n\n", { "content-type" },
      "#boundary=; #charset=utf-8; #subtype=html; #type=text; content-type=text/html; CHARSET=UTF-8 |" },
    { "content is not decoded", "Content-X: =?utf-8?q?a?=\n\n", { "content-x" }, "content-x==?utf-8?q?a?=|" },
    { "encoding", "Content-Transfer-Encoding: Base64 \n\n", { "content-transfer-encoding" },
      "#encoding=base64; content-transfer-encoding=Base64 |" },
    { "no encoding", "Content-Transfer-Encoding:\n\n", { "content-transfer-encoding" }, "#encoding=7bit; content-transfer-encoding=|" },
    { "disposition", "Content-Disposition: Attachment ; filename=x\n\n", { "content-disposition" },
      "#disposition=attachment; content-disposition=Attachment ; filename=x|" },
    { "no disposition", "\n", { "content-disposition" }, "#disposition=inline|" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(scanned(row.text, row.wanted), row.expected) << row.name;
}

TEST(ParseParameter, FindsOneAmongMany) {
  std::pair<char const*, char const*> const rows[] = {  // null: none
    { ";a=1", "1" }, { "; b=2; A = 1 ; a=3", "1" }, { "; flag; a=1", "1" }, { "; b=\"; a=2\"; a=\"\"", "" },
    { ";a=\"x\\\"y\\\\\"", "x\"y\\" }, { ";a=a/b", "a/b" }, { ";a=", "" }, { ";a=\"x", nullptr }, { ";a=\"x\\", nullptr },
    { ";a", nullptr }, { "a=1", nullptr }, { ";", nullptr }, { "", nullptr },
  };
  for (auto const& [text, expected] : rows) {
    exact_copy_t const bytes(text);
    std::string value = "before";
    EXPECT_EQ(parse_parameter(bytes.begin(), bytes.end(), "a", value), expected != nullptr) << text;
    EXPECT_EQ(value, expected ? expected : "before") << text;
  }
  std::string const not_quoted = "x";
  std::string value;
  EXPECT_FALSE(parse_quoted_string(not_quoted.data(), not_quoted.data() + 1, value));
}

TEST(QuickParseHeaders, HostileBlocksAreRead) {
  constexpr std::size_t n = 90'000;
  EXPECT_EQ(scanned(repeated("A:\n", n) + "\nx", { "a" }), "a=|x");
  EXPECT_EQ(scanned(repeated("x", n), { "x" }), "|");
  EXPECT_EQ(scanned(repeated("a: =?utf-8?q?a?=\n", n), { "a" }), "a=a|");
  EXPECT_EQ(scanned(repeated("received: ;((\n", n), { "received" }), "|");
  for (std::string_view const piece : { ";", "; a", "; a=b", "; a=\"\"", "; boundary", "(", "; (", "=", "x ;" }) {
    std::string const found = scanned("content-type: multipart/x ;" + repeated(piece, n) + "; boundary=b\n", { "content-type" });
    EXPECT_TRUE(found.starts_with("#boundary=b; #charset=us-ascii; #subtype=x; #type=multipart; ")) << piece;
  }
}

}  // namespace

}  // namespace kel
