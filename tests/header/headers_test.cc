#include <kelmime/headers.h>

#include <gtest/gtest.h>

#include <header/reading.h>
#include <helpers/short_strings.h>
#include <kel/preferences.h>
#include <kelmime/cleanup_header_body.h>
#include <kelmime/limits.h>

namespace kel {

namespace {

using namespace std::literals;
using namespace test;

std::string const malformed = "Warning: Skipping malformed header line";
std::string const is_virtual = "Warning: Raw message contained virtual header (it has been skipped since Postwick cannot handle it)";

TEST(ParseHeaders, ReadsBlocksAndFindsTheirEnd) {
  std::string const name50(50, 'n');
  struct { char const* name; std::string text; std::string pairs; std::size_t body; texts_t records; } const rows[] = {
    { "empty input", "", "", 0, {} }, { "no headers", "\nbody", "", 1, {} }, { "no empty line", "A: 1", "a=1", 4, {} },
    { "line feed at the end", "A: 1\n", "a=1", 5, {} }, { "body after the empty line", "A: 1\n\nB: 2\n", "a=1", 6, {} },
    { "order and repetition", "B: 1\nA: 2\nb: 3\n\n", "b=1; a=2; b=3", 16, {} },
    { "white space around the colon", "A:\t 1 \nB:2\n\n", "a=1 ; b=2", 12, {} },
    { "continued by a tab", "X-A: 1\n\tcontinued\n\n", "x-a=1 continued", 19, {} },
    { "value on the second line", "A:\n 1\n\n", "a=1", 7, {} }, { "white space lines continue", "A: 1\n \n 2\n\n", "a=1 2", 11, {} },
    { "a carriage return is white space", "A: 1\r\n\r\n\nB", "a=1\r\r", 9, {} },
    { "empty values", "A:\nB: \nC: =?utf-8?q?_?=\nD: 1\n\n", "d=1", 30, {} },
    { "zero bytes are no white space", "A: \0\nB: x\0y\n\n"s, "a=; b=xy", 13, {} },
    { "name of 50 bytes", name50 + ": 1\n", name50 + "=1", 54, {} },
    { "name of 51 bytes", "n" + name50 + ": 1\nA: 1\n", "a=1", 60, { malformed } },
    { "blank before the colon", "Subject : x\nA: 1\n", "a=1", 17, { malformed } }, { "empty name", ": x\n", "", 4, { malformed } },
    { "separator of a mailbox file", "From a@b Mon Jan  1 10:00\nA: 1\n", "a=1", 31, { malformed } },
    { "blanks at the beginning", " x\nA: 1", "a=1", 7, { malformed } }, { "8-bit name", "\xC3\xA4: x", "", 5, { malformed } },
    { "virtual", "#flags: 1\nA: 1\n", "a=1", 15, { is_virtual } }, { "virtual and empty", "#flags: \n", "", 9, {} },
    { "reserved", "Security-Generation-Detail: x\n", "", 30, { is_virtual } },
    { "domain in ACE form", "To: x <a@xn--mnchen-3ya.de>\n", "to=x <a@m\u00FCnchen.de>", 28, {} },
    { "domains elsewhere", "X-To: a@xn--mnchen-3ya.de\n", "x-to=a@xn--mnchen-3ya.de", 26, {} },
    { "decoded, then unfolded", "A: =?utf-8?q?a=0A_b?=\n", "a=a b", 22, {} },
    { "words on two lines", "A: =?utf-8?q?a?=\n =?utf-8?b?Yg==?=\n", "a=ab", 35, {} },
  };
  for (auto const& row : rows) {
    auto const block = read_block(row.text);
    EXPECT_EQ(block->text(), row.pairs) << row.name;
    EXPECT_EQ(block->body, row.body) << row.name;
    EXPECT_EQ(listed(block->errors), row.records) << row.name;
  }
}

TEST(ParseHeaders, RecordsSayWhereTheyComeFrom) {
  std::string const line(60, '-');
  auto const block = read_block("X-Ok: 1\n" + line + "\n#Mine: a\n b\nX-A: =?'utf-8'?q?a_b c?=\nReceived: by x; <1 Jan 2024 10:00 EST\n");
  EXPECT_EQ(listed(block->errors, "header"), (texts_t{ "-", "#Mine", "X-A", "X-A", "Received" }));
  EXPECT_EQ(listed(block->errors, "context"),
            (texts_t{ std::string(50, '-'), "#Mine: a\n b", "'utf-8'", "a_b c", "1 Jan 2024 10:00 EST" }));
}

TEST(ParseHeaders, RawBytes) {
  struct { char const* name; char const* bytes; char const* charset; char const* guess; char const* expected; } const rows[] = {
    { "UTF-8", "A: \xC3\xA9", "", "koi8-r", "a=\u00E9" }, { "neither declared nor UTF-8", "A: \xE9", "", "", "a=\u00E9" },
    { "guessed", "A: \xC1", "", "koi8-r", "a=\u0430" },   { "declared", "A: \xA4", "iso-8859-15", "koi8-r", "a=\u20AC" },
    { "declared, without a word", "A: \xA4=\xA4", "iso-8859-15", "", "a=\u20AC=\u20AC" },
    { "declared for head and tail only", "A: \xA4=\xC1=?u?q?x?= \xC1 =?v?q?y?=\xA4", "iso-8859-15", "koi8-r",
      "a=\u20AC=\u0430x \u0430 y\u20AC" },
    { "Japanese escapes", "A: \x1B$B$\"\x1B(B", "", "", "a=\u3042" },
    { "a = in kanji", "A: a=b \x1B$B=P8}\x1B(B =?", "", "", "a=a=b \u51FA\u53E3 =?" },
    { "a = in kanji, declared", "A: \x1B$B8}=P\x1B(B=", "iso-2022-jp", "", "a=\u53E3\u51FA=" },
    { "kanji beside a word", "A: \x1B$B8}\x1B(B =?utf-8?q?x?=", "", "", "a=\u53E3 x" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(read_block(row.bytes, row.charset, row.guess)->text(), row.expected) << row.name;
}

// Plain values take a short cut that must not show. With a charset that it does not know they go the whole way.
TEST(ParseHeaders, ShortCutGivesTheSame) {
  for_all_short_strings("a: \n\t\r\v\f=?\0\x1B"sv, [](std::string const& tail) {
    auto const thorough = read_block("X:" + tail, "iso-8859-15");
    for (char const* charset : { "", "us-ascii", "utf-8", "iso-8859-1" }) {
      auto const quick = read_block("X:" + tail, charset);
      ASSERT_EQ(quick->pairs, thorough->pairs) << testing::PrintToString(tail) << charset;
      ASSERT_EQ(quick->body, thorough->body) << testing::PrintToString(tail) << charset;
      ASSERT_EQ(listed(quick->errors), listed(thorough->errors)) << testing::PrintToString(tail) << charset;
    }
  });
}

// Dates: d and r are readable dates in "Date" and "Received".
TEST(ParseHeaders, DatesOfSendingAndReceipt) {
  std::string const d = "Date: 1 Jan 2024 10:00 +0100\n", r1 = "Received: from a; by b; 1 Jan 2024 11:00 +0000\n";
  std::string const r2 = "Received: from c; d; -- Tue, 2 Jan 2024 11:00 +0000\n", path = "Return-Path: <a@b>\n";
  struct { char const* name; std::string text, local, sent, received; } const rows[] = {  // of January 2024
    { "nothing", "A: 1\n", "", "", "" }, { "delivered", path + r1 + d, "01 10:00:00 +0100", "01 09:00:00", "01 11:00:00" },
    { "never delivered", r1 + d, "01 10:00:00 +0100", "01 09:00:00", "01 09:00:00" },
    { "only received", r1, "", "01 11:00:00", "01 11:00:00" }, { "first one wins", path + r1 + r2, "", "01 11:00:00", "01 11:00:00" },
    { "from the last return-path", r1 + path + r2, "", "02 11:00:00", "02 11:00:00" },
    { "unreadable ones are skipped", path + "Received: x; y\n" + r2, "", "02 11:00:00", "02 11:00:00" },
    { "not after the date", path + d + r1, "01 10:00:00 +0100", "01 09:00:00", "01 09:00:00" },
    { "after an unreadable date", path + "Date: soon\n" + r1, "", "01 11:00:00", "01 11:00:00" },
    { "two dates", d + "Date: 2 Jan 2024 10:00 +0100\n", "01 10:00:00 +0100", "02 09:00:00", "02 09:00:00" },
    { "an unreadable second date", d + "Date: soon\n", "01 10:00:00 +0100", "01 09:00:00", "" },
    { "without a semicolon", "Received: 1 Jan 2024 11:00 +0000\n", "", "01 11:00:00", "01 11:00:00" },
  };
  auto const in_full = [](std::string const& date) { return date.empty() ? "(none)" : "2024-01-" + date; };
  for (auto const& row : rows) {
    auto const block = read_block(row.text);
    EXPECT_EQ(block->value("#date"), in_full(row.local)) << row.name;
    EXPECT_EQ(block->value("#date-sent"), in_full(row.sent)) << row.name;
    EXPECT_EQ(block->value("#date-received"), in_full(row.received)) << row.name;
  }
  auto const block = read_block("Date: 1-Jan-2024\nX: 1\n");
  EXPECT_EQ(block->text(), "date=1-Jan-2024; #date=2024-01-01 00:00:00 +0000; x=1; #date-received=2024-01-01 00:00:00; "
            "#date-sent=2024-01-01 00:00:00");
  EXPECT_EQ(listed(block->errors, "header"), (texts_t{ "Date", "Date" }));
}

// Preferences are read once, so that the process that looks must be a new one.
template <typename Question>
void expect_with_preference(char const* key, Question question) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  auto const ask = [&] {
    preferences::set(key, true);
    std::_Exit(question() ? 0 : 1);
  };
  EXPECT_EXIT(ask(), testing::ExitedWithCode(0), "") << key;
}

TEST(ParseHeadersDeathTest, ReturnPathMayBeIgnored) {
  expect_with_preference("PwDisableReturnPathCheck", [] {
    auto const block = read_block("Received: ; 1 Jan 2024 11:00 +0000\nReturn-Path: x\nDate: 1 Jan 2024 09:00 +0000\n");
    return block->value("#date-received") == "2024-01-01 11:00:00";
  });
}

TEST(ParseHeaders, FieldsAboveTheLimitAreSkippedWithOneRecord) {
  auto const block = read_block(repeated("A: 1\n", limits::header_fields + 10) + "\nbody");
  EXPECT_EQ(block->pairs.size(), limits::header_fields);
  EXPECT_EQ(block->body, 5 * (limits::header_fields + 10) + 1);
  EXPECT_EQ(listed(block->errors), texts_t{ "Too many headers (this one and the following ones have been skipped)" });
  EXPECT_EQ(listed(block->errors, "header"), texts_t{ "A" });
}

TEST(ParseHeaders, LongFieldsAreCut) {
  auto const block = read_block("A: " + std::string(limits::header_field_bytes + 10, 'x') + "\nB: 1\n\n");
  EXPECT_EQ(block->value("a").size(), limits::header_field_bytes - 1);
  EXPECT_EQ(block->value("b"), "1");
  EXPECT_EQ(listed(block->errors), texts_t{ "Header is too long (only its beginning has been read)" });
  EXPECT_EQ(listed(block->errors, "header"), texts_t{ "A" });
}

TEST(ParseHeaders, HostileBlocksAreRead) {
  constexpr std::size_t n = 90'000;
  struct { char const* name; std::string before, piece; std::size_t pairs, value_bytes; } const rows[] = {  // of the first value
    { "openings of words", "A: ", "=?", 1, 2 * n }, { "equals signs", "A: ", "=", 1, n },
    { "words", "A: ", "=?utf-8?q?=C3?= =?utf-8?q?=A9?=\n ", 1, 2 * n + 1 },
    { "words of two charsets", "A: ", "=?utf-8?q?a?= =?us-ascii?q?a?= ", 1, 2 * n + 1 },
    { "unfinished words", "A: ", "=?utf-8?q?a ", 1, 12 * n },          { "quoted charsets", "A: ", "=?'a'?q?a ", 1, 10 * n },
    { "a word and blanks", "A: =?utf-8?q?a?=", "    ", 1, 1 + 4 * n }, { "blanks", "A: \x80", "  \n", 1, 2 + 2 + (n - 1) },
    { "continuations", "A: x", "\n ", 1, 2 },                          { "the same header", "", "Subject: =?utf-8?q?a?=\n", n, 1 },
    { "receipts", "", "Received: ; ((((((((\n", n, 10 },               { "one receipt", "Received: 1 Jan 2024 10:00 ", "(", 1, 17 + n },
    { "dates", "", "Date: (((( 1 Jan 24 10:00 XXX\n", n, 23 },         { "malformed lines", "", "x\n", 0, 0 },
    { "domains", "To: ", "a@xn--mnchen-3ya.de,", 1, 14 * n },          { "quotes", "To: ", "\"@xn--", 1, 6 * n },
  };
  for (auto const& row : rows) {
    std::string const text = row.before + repeated(row.piece, n);
    auto const block = read_block(text);
    EXPECT_EQ(block->body, text.size()) << row.name;
    EXPECT_EQ(block->pairs.size(), row.pairs) << row.name;
    EXPECT_EQ(block->pairs.empty() ? 0 : block->pairs.front().value.size(), row.value_bytes) << row.name;
  }
}

TEST(CleanupHeaderBody, UnfoldsAsWritten) {
  struct { char const* name; std::string folded; char const* expected; } const rows[] = {
    { "break before a space", "a\n b", "a b" }, { "blank on both sides", "a \n b", "a b" },
    { "break before a tab", "a\n\tb", "a b" },  { "tab before the break", "a\t\n b", "a\tb" },
    { "break without a blank", "a\nb", "ab" },  { "further blanks stay", "a \n  \tb", "a  \tb" },
    { "two breaks", "a \n\n b", "a  b" },       { "line of one blank", "a\n \n b", "a b" },
    { "at both ends", "\n a\n", " a" },         { "zero bytes go last", "a\n\0 \0b"s, "a b" },
  };
  for (auto const& row : rows) {
    std::string value = row.folded;
    cleanup_header_body(value);
    EXPECT_EQ(value, row.expected) << row.name;
  }
}

TEST(StripComments, KeepsItsOddities) {
  struct { char const* value; char const* expected; } const rows[] = {
    { "1.0 (x) (y)", "1.0  " },          { " \t1.0\t ", "1.0" }, { "a(b(c)d)e", "ae" },
    { "\"(a)\"(b\")\"c)d", "\"(a)\"d" }, { "a) b", "a)" },       { "a) b (c", "a)(c" },
    { "a(b", "a" },                      { "a\\(b", "a\\" },     { " ", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(strip_comments(row.value), row.expected) << row.value;
}

TEST(ConstructHeaderLine, WritesNamesAndValues) {
  struct { char const* name; char const* value; bool encode; char const* expected; } const rows[] = {
    { "message-id", "<a@b>", true, "Message-ID: <a@b>" }, { "content-id", "x", false, "Content-ID: x" },
    { "mime-version", "1.0", true, "MIME-Version: 1.0" }, { "inlined-html", "x", false, "Inlined-HTML: x" },
    { "x-1abc", "x", false, "X-1Abc: x" },                { "LIST-id", "x", false, "List-Id: x" },
    { "subject", "f\u00FCr x", false, "Subject: f\u00FCr x" },
    { "subject", "a f\u00FCr \u00FC b", true, "Subject: a =?utf-8?b?ZsO8ciDDvA==?= b" },
    { "to", "\u00FC <a@m\u00FCnchen.de>", true, "To: \u00FC <a@xn--mnchen-3ya.de>" },
    { "reply-to", "\u00FC <a@b>", true, "Reply-To: =?utf-8?q?=C3=BC?= <a@b>" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(construct_header_line(row.name, row.value, row.encode), row.expected) << row.name;
}

TEST(ConstructHeaderLineDeathTest, RefusesVirtualHeaders) {
  EXPECT_DEATH(construct_header_line("#date", "x", false), "Fatal: Unexpected header name \\(#date\\)\n");
  EXPECT_DEATH(construct_header_line("", "x", true), "Fatal: Unexpected header name \\(\\)\n");
}

TEST(ConstructHeaderLineDeathTest, EncodesWholeSubjectsOnRequest) {
  expect_with_preference("PwEncodeFullSubjectLines", [] {
    return construct_header_line("subject", "a f\u00FCr", true) == "Subject: =?utf-8?q?a_f=C3=BCr?=" &&
           construct_header_line("subject", "plain", true) == "Subject: plain";
  });
}

}  // namespace

}  // namespace kel
