#include <kelmime/header_generation.h>

#include <gtest/gtest.h>

#include <header/escaped.h>
#include <header/parameters.h>
#include <header/reading.h>
#include <helpers/short_strings.h>
#include <kel/preferences.h>
#include <kel/text.h>
#include <kelmime/application.h>
#include <kelmime/header_parser.h>
#include <kelmime/idn_wrapper.h>

namespace kel {

namespace {

using namespace test;
using namespace std::literals;

std::string generated(std::string const& name, std::string const& value, bool encode = true) {
  std::string out;
  generate_rfc822_header(name, value, encode, std::back_inserter(out));
  return out;
}

// What a reader of the whole block gets, after the laws of every header that is written: one line that ends, continued by lines
// that begin with a blank and hold text, no longer than a line may be, and in ASCII if it should be.
std::string read_again(std::string const& name, std::string const& value, bool encode) {
  std::string const text = generated(name, value, encode);
  texts_t const lines = text::split(text, "\n");
  EXPECT_EQ(lines.back(), "") << value;
  for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
    EXPECT_LE(lines[i].size(), 998U) << value;
    EXPECT_TRUE(i == 0 || (" \t"sv.find(lines[i][0]) < 2 && lines[i].find_first_not_of(" \t") < lines[i].size())) << text;
  }
  EXPECT_TRUE(!encode || std::ranges::none_of(text, is_high)) << text;
  auto const block = read_block(text + "X-Next: y\n\nbody", "utf-8");
  EXPECT_EQ(block->pairs.back().name, "x-next") << text;
  EXPECT_LE(block->pairs.size(), 2U) << text;
  EXPECT_EQ(block->body, text.size() + 11) << text;
  return block->pairs.size() == 2 && block->pairs[0].name == name ? block->pairs[0].value : "";
}

// Every name and address of a list. Which of the two forms of a domain in a broken comment comes back is left open.
texts_t people(std::string const& value) {
  texts_t all;
  for (std::string const& element : header_parser::parse_all_from_header("from.split", value)) {
    all.push_back(header_parser::parse_from_header("from.name", element));
    all.push_back(idn::header_domains_to_ascii(header_parser::parse_from_header("from.address", element)));
  }
  return all;
}

// Letters of an alphabet stand for longer texts.
std::string spelled(std::string_view letters) {
  std::string text;
  for (char const c : letters)
    text += c == 'u' ? "\u00FC" : c == 'w' ? "=?u?q?b?=" : c == 'e' ? "\x1B$Bab" : std::string(1, c);
  return text;
}

}  // namespace

TEST(GenerateHeader, WritesOneLine) {
  struct { std::string name, value, expected; } const rows[] = {
    { "subject", "a b", "Subject: a b\n" }, { "MESSAGE-id", "<a@b>", "Message-ID: <a@b>\n" },
    { "subject", "", "Subject: \n" }, { "subject", "gr\u00FCn b", "Subject: =?utf-8?q?gr=C3=BCn?= b\n" },
    { "", "a", "" },    { "#date", "a", "" }, { "Security-Generation-Detail", "a", "" },
    { "x y", "a", "" }, { "x:y", "a", "" }, { "x\nTo", "a", "" }, { "x\u00FC", "a", "" },
    { "subject", "=?utf-8?q?a\tb?= \u00FC", "Subject: =?utf-8?q?=3D=3Futf-8=3Fq=3Fa=09b=3F=3D_=C3=BC?=\n" },  // would swallow the encoded word
    { "subject", "a \x1B$Bab", "Subject: a =?us-ascii?q?=1B=24Bab?=\n" },  // would be read as Japanese
    { "return-path", "<\u00FC@\u00FC.de>", "Return-Path: <=?utf-8?q?=C3=BC?=@xn--tda.de>\n" },
    { "delivered-to", "\"\u00FC, H\" <a@b>", "Delivered-To: =?utf-8?q?=C3=BC=2C_H?= <a@b>\n" },
    // A word that no line can hold. Where encoded words cannot stand, it stays.
    { "subject", "a " + std::string(1000, 'x'), "Subject: =?us-ascii?q?a_" + std::string(46, 'x') + "?=\n =?us-ascii?q?" +
          repeated(std::string(48, 'x') + "?=\n =?us-ascii?q?", 19) + std::string(42, 'x') + "?=\n" },
    { "references", std::string(1000, 'x'), "References:\n " + std::string(1000, 'x') + "\n" },
  };
  for (auto const& [name, value, expected] : rows)
    EXPECT_EQ(generated(name, value), expected) << name;
}

TEST(GenerateHeader, AsksThePreferenceEachTime) {
  auto const written = [] {
    std::vector<char> out;
    generate_rfc822_header("subject", "\u00FC", std::back_inserter(out));
    return std::string(out.begin(), out.end());
  };
  EXPECT_EQ(written(), "Subject: =?utf-8?q?=C3=BC?=\n");
  set_preference("PwSMTPUTF8Enabled", true);
  EXPECT_EQ(written(), "Subject: \u00FC\n");
  preferences::reset();
  EXPECT_EQ(written(), "Subject: =?utf-8?q?=C3=BC?=\n");
}

TEST(GenerateHeader, Addresses) {
  struct { std::string value, encoded, raw; } const rows[] = {  // without the name; "" for the value
    { "Ann <a@x>,  b@y , \"C\" (d) c@z ,", "", "" }, { "undisclosed-recipients:;", "", "" },
    { "Doe, John <j@x>", "\"Doe, John\" <j@x>", "\"Doe, John\" <j@x>" },
    { "John Q. Public <j@x>, b@y", "\"John Q. Public\" <j@x>, b@y", "\"John Q. Public\" <j@x>, b@y" },
    { "a\\b <j@x>, j@x <j@x>", "\"a\\\\b\" <j@x>, \"j@x\" <j@x>", "\"a\\\\b\" <j@x>, \"j@x\" <j@x>" },
    { "'Doe, J' <j@x>", "\"'Doe, J'\" <j@x>", "\"'Doe, J'\" <j@x>" },
    { "Dr: Who <w@x>, b@y", "\"Dr: Who\" <w@x>, b@y", "\"Dr: Who\" <w@x>, b@y" },
    { "J. R.: J. R. <j@x>, b@y;", "", "" },  // the reader takes the group for a part of the name,
    { "T\u00FCv: J\u00FC <j@x>;", "=?utf-8?q?T=C3=BCv?=: =?utf-8?q?J=C3=BC?= <j@x>;", "" },
    { "\"M\u00FCller, Hans\" <h@x>", "=?utf-8?q?M=C3=BCller=2C_Hans?= <h@x>", "" },
    { "M\u00FCller, Hans<h@x>", "=?utf-8?q?M=C3=BCller=2C_Hans?= <h@x>", "\"M\u00FCller, Hans\"<h@x>" },
    { "\"\u00FC\\\"\\\\\" <h@x>", "=?utf-8?q?=22=C3=BC=5C=22=5C=5C=22?= <h@x>", "" },  // decoded, the quote would begin a string
    { "\"\u00FC@a, b\" <h@x>", "=?utf-8?q?=22=C3=BC=40a=2C_b=22?= <h@x>", "" },  // the quotes protect the comma
    { "J\u00FC (J\u00FC) <j@x> (a (b))", "=?utf-8?q?J=C3=BC?= (=?utf-8?q?J=C3=BC?=) <j@x> (a (b))", "" },
    { "\u00FC@m\u00FCnchen.de, <a@m\u00FCnchen.de>", "=?utf-8?q?=C3=BC?=@xn--mnchen-3ya.de, <a@xn--mnchen-3ya.de>", "" },
    { "=?u?q?a?= <j@x>", "=?us-ascii?q?=3D=3Fu=3Fq=3Fa=3F=3D?= <j@x>", "=?us-ascii?q?=3D=3Fu=3Fq=3Fa=3F=3D?= <j@x>" },
    { "=?u?q?a@x,b@y?=", "=?us-ascii?q?=3D=3Fu=3Fq=3Fa=40x=2Cb=40y=3F=3D?=", "=?us-ascii?q?=3D=3Fu=3Fq=3Fa=40x=2Cb=40y=3F=3D?=" },
    { "\u00FC", "=?utf-8?q?=C3=BC?=", "" }, { "a@x, \"\u00FC", "a@x, \"=?utf-8?q?=C3=BC?=", "" },
  };
  for (auto const& [value, encoded, raw] : rows) {
    for (char const* name : { "reply-to", "to" }) {
      std::string const start = name == "to"sv ? "To: " : "Reply-To: ";
      EXPECT_EQ(generated(name, value), start + (encoded.empty() ? value : encoded) + "\n");
      EXPECT_EQ(generated(name, value, false), start + (raw.empty() ? value : raw) + "\n");
    }
  }
}

TEST(GenerateHeader, NamesAndAddressesAreReadAgain) {
  for_all_short_strings("a\"(,<@:u", [](std::string const& letters) {
    for (std::string const& value : { letters, letters + " <j@x>", "\"" + letters + "\" <j@x>, b@y", "a@x (" + letters + ");" }) {
      for (bool const encode : { true, false })
        ASSERT_EQ(people(read_again("from", spelled(value), encode)), people(spelled(value))) << value;
    }
  });
  for_all_short_strings("w\\'). u;", [](std::string const& letters) {
    for (std::string const& value : { letters + "<j@x>", "\"" + letters + "\"<j@x>;", "G:" + letters + "@x" })
      ASSERT_EQ(people(read_again("from", spelled(value), true)), people(spelled(value))) << value;
  });
}

TEST(GenerateHeader, Parameters) {
  std::string const long_text = std::string(64, 'x') + "\"" + std::string(20, 'y'), start = " name*0=\"" + std::string(64, 'x') + "\\\"y";
  struct { std::string value, encoded, raw; } const rows[] = {  // "" for the value
    { "a/b ; x = \"1\";(c) y=2 z", "", "" },
    { "a/b; filename=\"Gr\u00FCn.txt\"; size=1", "a/b; filename*=utf-8''Gr%C3%BCn.txt; size=1", "" },
    { "a/b; x=a\u00FC b.txt y=1", "a/b; x*=utf-8''a%C3%BC%20b.txt; y=1", "" },
    { "a/b;x=\"a\tb\\\"'%*\"", "a/b; x*=utf-8''a%09b%22%27%25%2A", "" },
    { "a/b; x=\"=?u?q?a?=\"", "a/b; x*=utf-8''%3D%3Fu%3Fq%3Fa%3F%3D", "=" },
    { "a/b; x=?u?q?a?=; y=\"\"", "a/b; x=\"?u?q?a?=\"; y=\"\"", "=" },
    { "a/b; x=1; y=2; x=\u00FC", "a/b; x*=utf-8''1; x*=utf-8''%C3%BC; y=2", "" }, { "a/b; x=\u00FC; x*=utf-8''1", "a/b; x=1", "" },
    { "a/b; x=\"\xFF.t\"", "a/b; x*=utf-8''%EF%BF%BD.t", "" },
    { "a/b; x*=iso-8859-1''%FC; y=\u00FC", "a/b; x*=iso-8859-1''%FC; y*=utf-8''%C3%BC", "" },
    { "a/b (\u00FC); x=1 \u00FC", "a/b (=?utf-8?q?=C3=BC?=); x*=utf-8''1%20%C3%BC", "" },
    { "a/b; name=\"" + escaped(long_text) + "\"; y=1", "a/b;\n" + start + "\";\n name*1=\"" + std::string(19, 'y') + "\"; y=1", "=" },
  };
  for (auto const& [value, encoded, raw] : rows) {
    EXPECT_EQ(generated("content-type", value), "Content-Type: " + (encoded.empty() ? value : encoded) + "\n");
    EXPECT_EQ(generated("content-type", value, false), "Content-Type: " + (raw.empty() ? value : raw == "=" ? encoded : raw) + "\n");
  }
}

TEST(GenerateHeader, ParametersAreReadAgain) {
  auto const parameters = [](std::string const& value) { return header::parse_structured_value(value).parameters; };
  for_all_short_strings("a\"\\;= (u", [&](std::string const& letters) {
    std::string const text = spelled(letters);
    for (std::string const& value : { "a/b; x=\"" + escaped(text) + "\";y=1", "a/b; x=" + text, "a/b;" + text + "; x=1" }) {
      for (bool const encode : { true, false })
        ASSERT_EQ(parameters(read_again("content-type", value, encode)), parameters(value)) << value;
    }
  });
  for_all_short_strings("*'%1;u", [&](std::string const& letters) {
    std::string const value = "a/b; x" + spelled(letters) + "=y; x*=\u00FC; x=" + spelled(letters);
    ASSERT_EQ(parameters(read_again("content-type", value, true)), parameters(value)) << value;
  });
}

TEST(GenerateHeader, EveryLengthIsReadAgain) {
  for (std::string const letter : { "x", "\u00FC", "\u20AC", "\U0001F600", "\u00FCxxxxxxxx", "\u20AC\" " }) {
    for (std::size_t length : { 1, 3, 9, 15, 16, 17, 18, 19, 25, 26, 27, 28, 50, 51, 52, 53, 54, 57, 58, 59, 62, 63, 64, 65, 66, 67, 68,
                                69, 70, 71, 72, 73, 74, 75, 76, 77, 78, 79, 150, 155, 985, 990, 991, 998, 999, 1010, 3000 }) {
      std::string const text = repeated(letter, length) + "z";
      std::string const address = "\"" + escaped(text) + "\" <a@x>", type = "a/b; name=\"" + escaped(text) + "\"";
      ASSERT_EQ(read_again("subject", text, true), text);
      if (letter != "x" || length < 990) {  // in quotes there is no place to fold
        ASSERT_EQ(people(read_again("cc", address, true)), people(address));
      }
      for (bool const encode : { true, false })
        ASSERT_EQ(*header::parse_structured_value(read_again("content-disposition", type, encode)).parameter("name"), text);
    }
  }
}

// Whatever a value holds, it stays the value of one header.
TEST(GenerateHeader, NoValueBecomesAnotherHeader) {
  std::string const values[] = {
    "a\nX: y", "a\r\nX: y", "a\rX: y", "a\n\nbody", "\n", "\r\n", " \t ", std::string(100, ' '), "a\0\nb"s, "a\n \n b", "a\n\t\n", "\v\nb",
    "=?utf-8?q?a=0D=0AX:_y?=", "=?utf-8?q?=0A?= =?utf-8?q?=0AX:_y?=", "=?utf-8?b?YQpYOiB5Cgpi?=", "=?iso-8859-1?q?a=0A=0A?=", "=?u?q?a\n?=",
    "\"a\nX: y\" <a@x>", "<a@x\nX: y>", "a@x (\nX: y)", "a/b; name=\"a\nX: y\"", "a/b; name*=utf-8''a%0AX:%20y", "a/b\n; name=\"\\\n\"",
    repeated("a ", 60) + "\nX: y", repeated("a@x,", 60) + "\nX: y", std::string(77, 'a') + "\n" + std::string(77, 'b'),
  };
  for (std::string const& value : values) {
    for (char const* name : { "subject", "to", "sender", "content-type", "content-disposition", "references", "x-a", "received" }) {
      for (bool const encode : { true, false }) {
        std::string const reread = read_again(name, read_again(name, value, false), encode);  // what encoded words hid comes out first
        EXPECT_EQ(reread.find_first_of("\n\r\0"s), reread.npos) << value;
      }
    }
  }
}

TEST(GenerateHeader, TextIsReadAgain) {
  for_all_short_strings("a \t\"=uwe", [](std::string const& letters) {
    for (std::string const& text : { "x" + spelled(letters) + "x", repeated("x" + spelled(letters), 20) + "x" })
      ASSERT_EQ(read_again("subject", text, true), text);
  });
  for_all_short_strings("a \t\"uwe", [](std::string const& letters) {
    std::string const text = repeated("x" + spelled(letters), 20) + "x";
    ASSERT_EQ(read_again("subject", text, false), text);
  });
}

TEST(MessageID, TakesTheDomainOfTheSender) {
  struct { char const* from; char const* domain; char const* rejected = nullptr; } const rows[] = {
    { "Ann <ann@mail.example.org>", "mail.example.org" },  { "unknown", "unknown" },
    { "a@b@c", "kelmime.invalid", "b@c" },                 { "a@{x}!#$%&'*+-/=?^_`|~.1", "{x}!#$%&'*+-/=?^_`|~.1" },
    { "a@[127.0.0.1]", "kelmime.invalid", "[127.0.0.1]" }, { "a@m\u00FCnchen.de", "kelmime.invalid", "m\u00FCnchen.de" },
    { "a@x..y", "kelmime.invalid", "x..y" },               { "a@x.", "kelmime.invalid", "x." },
    { "<a@>", "kelmime.invalid", "" }, { "a@x\x1B", "kelmime.invalid", "x{1B}" }, { "", "kelmime.invalid", "" },
  };
  for (auto const& [from, domain, rejected] : rows) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(create_message_id("u-1", from), "u-1@"s + domain);
    std::string const warning = testing::internal::GetCapturedStderr();
    EXPECT_EQ(warning, rejected ? "Warning: Unable to use '"s + rejected + "' for the Message-ID header.\n" : "");
  }
}

TEST(XMailer, NamesTheApplicationThatToldItsVersion) {
  set_application_version("", "");
  EXPECT_EQ(get_x_mailer_value(), "");
  set_application_version("1.2", "34");
  EXPECT_EQ(get_x_mailer_value(), "Postwick (1.2r34)");
  set_application_version("", "");
}

}  // namespace kel
