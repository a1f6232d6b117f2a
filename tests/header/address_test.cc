#include <kelmime/address.h>

#include <gtest/gtest.h>

#include <vector>

#include "../helpers/repeated.h"

namespace kel::header {

namespace {

std::string text_of(match_t const& match) {
  if (!match.first)
    return "-";
  return match.quoted ? dequote_string(match.first, match.last) : std::string(match.first, match.last);
}

// The elements of a list, "-" for a call that found none.
std::vector<std::string> elements(std::string_view list) {
  std::vector<char> const bytes(list.begin(), list.end());
  char const* cursor = bytes.data();
  char const* const end = cursor + bytes.size();
  std::vector<std::string> found;
  while (cursor != end)
    found.push_back(text_of(address_split_function(cursor, end)));
  return found;
}

// "name|address" of one element.
std::string name_and_address(std::string_view element) {
  std::vector<char> const bytes(element.begin(), element.end());
  char const* cursor = bytes.data();
  char const* const end = cursor + bytes.size();
  auto const [name, email] = address_name_and_email_function(cursor, end);
  EXPECT_EQ(cursor, end);
  return text_of(name) + "|" + text_of(email);
}

std::string whole(match_t (*function)(char const*&, char const*), std::string_view text) {
  char const* cursor = text.data();
  match_t const match = function(cursor, text.data() + text.size());
  EXPECT_EQ(cursor, text.data() + text.size()) << text;
  return { match.first, match.last };
}

}  // namespace

TEST(AddressList, Splits) {
  using list_t = std::vector<std::string>;
  struct {
    char const* list;
    list_t expected;
  } const rows[] = {
    { "a@x, b@y", { "a@x", "b@y" } },
    { " \ta@x\t , b@y ", { "a@x", "b@y" } },
    { "Doe, John <j@x>", { "Doe, John <j@x>" } },
    { "foo, a@x", { "foo, a@x" } },
    { "foo", { "-" } },
    { "\"a@x, y\" , \"b\\\", c\" <b@y>, c@z", { "\"a@x, y\" , \"b\\\", c\" <b@y>", "c@z" } },
    { "a@x, \"open, b@y", { "a@x", "-" } },
    { "Undisclosed recipients:;", { "Undisclosed recipients:;" } },
    // Groups, comments and routes are deliberately split like anything else.
    { "Team: ann, bob@y;, c@z", { "Team: ann", "bob@y;", "c@z" } },
    { "Team: a@x, b@y;", { "Team: a@x", "b@y;" } },
    { "a@x (one, two), b@y", { "a@x (one", "two), b@y" } },
    { "<@r, @s:a@x>", { "<@r", "@s:a@x>" } },
    { "a@x,", { "a@x" } },
    { "a@x, ", { "a@x", "-" } },
  };
  for (auto const& row : rows)
    EXPECT_EQ(elements(row.list), row.expected) << row.list;
  EXPECT_EQ(elements(std::string_view("a\0b@x,c@y", 9)), (list_t{ std::string("a\0b@x", 5), "c@y" }));
}

TEST(Address, NameAndAddress) {
  struct {
    char const* element;
    char const* expected;
  } const rows[] = {
    { "\"Doe, John\" <j@x>", "Doe, John|j@x" },
    { "j@x (John Doe)", "John Doe|j@x" },
    { "'j@x'", "-|j@x" },
    { "j@x <j@x>", "j@x|j@x" },
    { "<j@x>", "-|j@x" },
    { "<< j@x >>", "-|j@x" },
    { "<'j@x'>", "-|j@x" },
    { "Undisclosed recipients:;", "Undisclosed recipients|-" },
    { "Undisclosed recipients : ;", "Undisclosed recipients |-" },
    { "undisclosed-recipients:;", "-|undisclosed-recipients:;" },
    { "\"john doe\"@example.com", "john doe|@example.com" },
    { "no group;", "no group;|-" },
    { "foo", "-|foo" },
    { "two words", "two words|-" },
    { "", "-|-" },
    { "\"\" <j@x>", "-|j@x" },
    { "\"'Ann B'\" <a@b>", "Ann B|a@b" },
    { "\"a \\\"b\\\"\" <a@b>", "a \"b\"|a@b" },
    { "\"open <a@b>", "open <a@b>|-" },
    { "O'Brien <a@b>", "O'Brien|a@b" },
    { "'Tis <a@b>", "'Tis|a@b" },
    { "((nested (c)) d) a@b", "(nested (c)) d|a@b" },
    { "a@b (open", "open|a@b" },
    { "A > ) <a@b>", "A > )|a@b" },
    { "> a@b", "-|a@b" },
    { "Ann <a@b> (x)", "Ann|a@b" },
    { "a@x <b@y> c@z", "a@x|b@y" },
    { "n <a@b> (dd)", "dd|a@b" },
    { "one <a@b> c (d) five", "one|a@b" },
    { "I <3 you <a@b>", "I <3 you|a@b" },
    { "Ann <a@b", "Ann|a@b" },
    { "Ann <a b@c", "Ann <a b@c|-" },
    { "a@x (Ann Lee <A@X>)", "Ann Lee|A@X" },
    { "a@x (a@x)", "-|a@x" },
    { "a@x (Ann <b@y>)", "Ann <b@y>|a@x" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(name_and_address(row.element), row.expected) << row.element;
}

TEST(Address, PiecesOfUrls) {
  EXPECT_EQ(whole(protocol_function, "https://host/a/b"), "https");
  EXPECT_EQ(whole(protocol_function, "none"), "none");
  EXPECT_EQ(whole(server_function, "https://host/a/b"), "host");
  EXPECT_EQ(whole(server_function, "https://host"), "host");
  EXPECT_EQ(whole(server_function, "https:/x"), "");
  EXPECT_EQ(whole(path_function, "https://host/a/b"), "a/b");
  EXPECT_EQ(whole(path_function, "https://host"), "");
  EXPECT_EQ(whole(mailto_function, "mailto:a@b?x=y"), "a@b?x=y");
  EXPECT_EQ(whole(mailto_function, "MAILTO:a@b"), "");
}

TEST(Address, QuotesAndEscapes) {
  auto const dequoted = [](std::string_view text) { return dequote_string(text.data(), text.data() + text.size()); };
  EXPECT_EQ(dequoted("a\\\"b"), "a\"b");
  EXPECT_EQ(dequoted("\\\\"), "\\");
  EXPECT_EQ(dequoted("a\\"), "a\\");
  EXPECT_EQ(quote_email_name("John_Doe-1"), "John_Doe-1");
  EXPECT_EQ(quote_email_name(""), "");
  EXPECT_EQ(quote_email_name("Doe, John"), "\"Doe, John\"");
  EXPECT_EQ(quote_email_name("a\"b\\"), "\"a\\\"b\\\\\"");
}

// Floods are read to their end.
TEST(Address, FloodsHideNoAddress) {
  for (char const* flood :
       { ",", "<", "(", "\"", "'", ":;", "<>", "()", "\"\"", "''", "a<", "<a@b", "(<", "\\\"", "@,", ") (" }) {
    std::string const text = repeated(flood, 100'000);
    elements(text);
    name_and_address(text);
    EXPECT_EQ(elements("a@b, " + text).front(), "a@b") << flood;
    EXPECT_NE(name_and_address("a@b (" + text + "@)").find("a@b"), std::string::npos) << flood;
  }
}

// Every string of up to six bytes over the bytes that mean something: no read past the end, no endless loop.
TEST(Address, EveryShortString) {
  std::string_view const bytes = "a@<>(\"' ,\\";
  std::string text;
  for (int number = 0; number < 1'000'000; number += 7) {
    text.clear();
    for (int rest = number; rest != 0; rest /= 10)
      text += bytes[static_cast<std::size_t>(rest % 10)];
    elements(text);
    name_and_address(text);
  }
}

}  // namespace kel::header
