#include <kelmime/encoded_word.h>

#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include <header/encoded_words.h>
#include <header/join_encoded_words.h>
#include <header/reading.h>
#include <kel/format_string.h>
#include <kel/regexp.h>
#include <kelmime/encoded_word_output.h>
#include <kelmime/headers.h>

namespace kel {

namespace {

using namespace std::literals;
using namespace test;

std::string decoded(std::string_view value, mime_errors_handler_t* errors = nullptr, std::string const& charset = "") {
  exact_copy_t const bytes(value);
  std::string text;
  decode_header_line(bytes.begin(), bytes.end(), std::back_inserter(text), errors, charset, {});
  return text;
}

std::string in_words(std::string_view text) {
  std::string result;
  on_exact_copy(text, [&](auto... range) { encode_words(range..., std::back_inserter(result)); });
  return result;
}

std::string in_single_words(std::string_view text) {
  std::string result;
  on_exact_copy(text, [&](auto... range) { encode_single_words(range..., std::back_inserter(result)); });
  return result;
}

TEST(FindEncodedWord, TakesWhatIsOne) {
  std::string const quotes = "Single quotes around charset ignored";
  struct { std::string value, found; texts_t records = {}; } const rows[] = {  // found: start-end charset encoding text
    { "=?UTF-8?Q?a?=", "0-13 utf-8 q a" },               { "x =?a:b._-1?B?\?= y", "2-16 a:b._-1 b " },
    { "=?'UTF-8'?Q?a?=", "0-15 utf-8 q a", { quotes } }, { "=?utf-8?q?a b?=", "0-15 utf-8 q a b" },
    { "=?=?u?q?a?=", "2-11 u q a" },                     { "=?u?q?a=?u?q?b?=", "7-16 u q b" },
    { "=?''?q?a?=", "0-10  q a", { quotes } },           { "=?'a b'?q?a?=", "", { quotes } },
    { "=?'?q?a?=", "" }, { "=?utf 8?q?a?=", "" }, { "=?utf-8*en?q?a?=", "" }, { "=?\xC3\xA9?q?a?=", "" }, { "=??q?a?=", "" },
    { "=?u?x?a?=", "" }, { "=?u?qq?a?=", "" }, { "=?u?q?a\n?=", "" }, { "=?u?q?a\x7F?=", "" }, { "=?u?q?\xC3\xA9?=", "" },
    { "=?u?q?a?b?=", "" }, { "=?u?q?a?", "" }, { "=?u?q", "" }, { "=?u?", "" }, { "=?u", "" }, { "=", "" }, { "", "" },
  };
  for (auto const& row : rows) {
    exact_copy_t const bytes(row.value);
    mime_errors_handler_t errors;
    encoded_word_t const word = find_encoded_word(bytes.begin(), bytes.end(), &errors);
    std::ostringstream found;
    if (word.start)
      found << word.start - bytes.begin() << "-" << word.end - bytes.begin() << " " << word.charset << " " << word.encoding << " "
            << std::string_view(word.text.begin, word.text.end);
    EXPECT_EQ(found.str(), row.found) << row.value;
    EXPECT_EQ(listed(errors), row.records) << row.value;
  }
}

// The rule that the single pass stands for.
std::string joined_by_rule(std::string text) {
  static regexp::pattern_t const adjacent(R"((=\?[^?]+\?\S\?)([^?]*)\?=\s+(?:\k<1>)([^?]*\?=))");
  for (;;) {
    std::string next = format_string::replace(text, adjacent, "$1$2$3");
    if (next == text)
      return text;
    text = std::move(next);
  }
}

TEST(JoinEncodedWords, OnePassDoesWhatTheRuleDoes) {
  std::string_view const pieces[] = { "=?u?q?",    "=?u?q?",      "=?v?b?", "=?u???", "=?", "?=", "?=",
                                      "?= =?u?q?", "?=\n =?v?b?", " ",      "a",      "=",  "?",  "q?" };
  std::mt19937 random(1);
  for (int round = 0; round < 30000; ++round) {
    std::string text;
    for (int piece = 0; piece < 12; ++piece)
      text += pieces[random() % std::size(pieces)];
    ASSERT_EQ(join_encoded_words(text), joined_by_rule(text)) << text;
  }
}

TEST(DecodeHeaderLine, DecodesWordsAndTextBetween) {
  std::string const spaces = "Quoted-printable encoded word contains one or more spaces";
  std::string const illegal = "Quoted-printable encoded word contains one or more illegal characters";
  struct { char const* name; char const* value; char const* expected; texts_t records; } const rows[] = {
    { "text only", "a = b", "a = b", {} }, { "text around", "a =?utf-8?q?b?= c", "a b c", {} },
    { "no blank around", "a=?utf-8?q?b?=c", "abc", {} },
    { "white space between words goes", "=?utf-8?q?a?= \t\n =?us-ascii?q?b?=", "ab", {} },
    { "other text between words stays", "=?utf-8?q?a?= - =?utf-8?q?b?=", "a - b", {} },
    { "text before the first word", "= =?utf-8?q?a?=", "= a", {} },
    { "character split between words", "=?utf-8?q?=C3?= =?utf-8?q?=A9?= =?utf-8?q?!?=", "\u00E9!", {} },
    { "base64 split between words", "=?utf-8?b?w?= =?utf-8?b?6k=?=", "\u00E9", {} },
    { "base64 with padding inside", "=?utf-8?b?YQ==?= =?utf-8?b?Yg==?=", "ab", {} },
    { "underscores and digits", "=?iso-8859-1?Q?a_=E9=5f?=", "a \u00E9_", {} }, { "spaces", "=?utf-8?q?a b?=", "a b", { spaces } },
    { "illegal equals sign", "=?utf-8?q?a=b?=", "a=b", { illegal } }, { "not a word", "=?utf 8?q?a?=", "=?utf 8?q?a?=", {} },
  };
  for (auto const& row : rows) {
    mime_errors_handler_t errors;
    EXPECT_EQ(decoded(row.value, &errors), row.expected) << row.name;
    EXPECT_EQ(listed(errors), row.records) << row.name;
    EXPECT_EQ(decoded(row.value), row.expected) << row.name;
  }
}

TEST(EncodeWords, WritesWhatItShould) {
  EXPECT_EQ(in_words("plain text"), "plain text");
  EXPECT_EQ(in_words("f\u00FCr"), "=?utf-8?q?f=C3=BCr?=");
  EXPECT_EQ(in_words("Gr\u00FC\u00DFe"), "=?utf-8?b?R3LDvMOfZQ==?=");
  EXPECT_EQ(in_words("\u00E9 !*+-/_?=.\x01"), "=?utf-8?q?=C3=A9_!*+-/=5F=3F=3D=2E=01?=");
  EXPECT_EQ(in_words("\u00E9" + std::string(60, 'x')),
            "=?utf-8?q?=C3=A9" + std::string(45, 'x') + "?= =?utf-8?q?" + std::string(15, 'x') + "?=");
  // 53 bytes would fit, but the last one begins a character.
  EXPECT_EQ(in_words(repeated("\u00E9", 27)), in_words(repeated("\u00E9", 26)) + " =?utf-8?b?w6k=?=");
  EXPECT_TRUE(in_words(repeated("\x80", 500)).starts_with("=?utf-8?b?")) << "bytes that are no text cost no endless loop";
}

TEST(EncodeSingleWords, EncodesOnlyWhatNeedsIt) {
  struct { char const* text; char const* expected; } const rows[] = {
    { "a b", "a b" }, { "a \u00FC b", "a =?utf-8?q?=C3=BC?= b" },
    { "xyz\u00FC  \u00FCxyzxyzxyzxyzxyzxyzxyzxyz \"a\"",
      "=?utf-8?q?xyz=C3=BC__=C3=BCxyzxyzxyzxyzxyzxyzxyzxyz?= \"a\"" },
    { "a =?u?q?b?= c", "a =?us-ascii?q?=3D=3Fu=3Fq=3Fb=3F=3D?= c" }, { "a=?u?q?b?= \u00FC", "=?utf-8?q?a=3D=3Fu=3Fq=3Fb=3F=3D_=C3=BC?=" },
    { "=?u?q?a b?= c", "=?us-ascii?q?=3D=3Fu=3Fq=3Fa?= b?= c" },
    { "=?u?q?a b?=?v?q?c?=", "=?us-ascii?q?=3D=3Fu=3Fq=3Fa_b=3F=3D=3Fv=3Fq=3Fc=3F=3D?=" }, { "=?utf 8?q?a?= =?", "=?utf 8?q?a?= =?" },
    { "\"\u00FC\" a \u00FC ", "\"=?utf-8?q?=C3=BC?=\" a =?utf-8?q?=C3=BC?= " },
    { "\u00FC\t a \u00FC\t\u00FC\t \u00FC\v", "=?utf-8?q?=C3=BC?=\t a =?utf-8?b?w7wJw7wJIMO8?=\v" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(in_single_words(row.text), row.expected) << row.text;
}

TEST(EncodeWords, WhatIsEncodedDecodesToItself) {
  std::string const letters[] = { "a", " ", "\"", "\u00FC", "=", "\t", "_", "\u20AC", "=?u?q?a?=" };
  std::vector<std::string> texts = { "" };
  for (std::size_t i = 0; i < texts.size() && i < 820; ++i) {
    for (std::string const& letter : letters)
      texts.push_back(texts[i] + letter);
  }
  for (std::string const& start : texts) {
    for (std::string const& text : { start, "\u00E9" + repeated(start + "x", 25) }) {
      ASSERT_EQ(decoded(in_single_words(text)), text);
      if (text.find("=?") == text.npos) {
        ASSERT_EQ(decoded(in_words(text)), text);
      }
    }
  }
}

// With characters of one to four bytes at every place where a word can end.
TEST(EncodeWords, NoLengthIsSpecial) {
  for (std::string const letter : { "x", "\u00FC", "\u20AC", "\U0001F600", "xxxxxxxxxxxx\u20AC", "\u00FC  " }) {
    for (std::size_t length = 1; length < 160; ++length) {
      std::string const text = std::string(length % 7, 'y') + "\u00FC" + repeated(letter, length);
      ASSERT_EQ(decoded(in_words(text)), text);
      ASSERT_EQ(decoded(in_single_words(text)), text);
      ASSERT_EQ(decoded(in_encoded_words(text)), text);
    }
  }
  for (std::size_t length = 1; length < 120; ++length)
    ASSERT_EQ(decoded(in_encoded_words(std::string(length, 'x'))), std::string(length, 'x'));
}

TEST(EncodeSingleWords, LongValuesAreEncodedToTheirEnd) {
  constexpr std::size_t n = 50'000;
  std::pair<char const*, char const*> const rows[] = {
    { "\x80 a ", "=?utf-8?q?=80?= a " }, { "=?u?q?a b?= ", "=?us-ascii?q?=3D=3Fu=3Fq=3Fa?= b?= " },
    { "=?u?q?a ", "=?u?q?a " },          { "=?", "=?" },
  };
  for (auto const& [piece, expected] : rows)
    EXPECT_EQ(in_single_words(repeated(piece, n)), repeated(expected, n)) << piece;
}

}  // namespace

}  // namespace kel
