#include <kelmime/address.h>

#include <gtest/gtest.h>

#include <vector>

#include <helpers/exact_copy.h>
#include <helpers/repeated.h>
#include <helpers/short_strings.h>

namespace kel::header {

namespace {

std::string text_of(match_t const& match) {
  if (!match.first)
    return "-";
  return match.quoted ? dequote_string(match.first, match.last) : std::string(match.first, match.last);
}

// The elements of a list, "-" for a call that found none.
std::vector<std::string> elements(std::string_view list) {
  test::exact_copy_t const bytes(list);
  std::vector<std::string> found;
  for (char const* cursor = bytes.begin(); cursor != bytes.end();) {
    char const* const before = cursor;
    found.push_back(text_of(address_split_function(cursor, bytes.end())));
    if (cursor <= before || cursor > bytes.end()) {
      ADD_FAILURE() << "the cursor leaves the list: " << list;
      break;
    }
  }
  return found;
}

// "name|address" of one element.
std::string name_and_address(std::string_view element) {
  test::exact_copy_t const bytes(element);
  char const* cursor = bytes.begin();
  auto const [name, email] = address_name_and_email_function(cursor, bytes.end());
  EXPECT_EQ(cursor, bytes.end());
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
  struct { char const* list; list_t expected; } const rows[] = {
    { "a@x, b@y", { "a@x", "b@y" } },             { " \ta@x\t , b@y ", { "a@x", "b@y" } },
    { "Doe, John <j@x>", { "Doe, John <j@x>" } }, { "foo, a@x", { "foo, a@x" } },
    { "foo", { "-" } }, { "\"a@x, y\" , \"b\\\", c\" <b@y>, c@z", { "\"a@x, y\" , \"b\\\", c\" <b@y>", "c@z" } },
    { "a@x, \"open, b@y", { "a@x", "-" } }, { "Undisclosed recipients:;", { "Undisclosed recipients:;" } },
    // Groups, comments and routes are deliberately split like anything else.
    { "Team: ann, bob@y;, c@z", { "Team: ann", "bob@y;", "c@z" } }, { "a@x (one, two), b@y", { "a@x (one", "two), b@y" } },
    { "<@r, @s:a@x>", { "<@r", "@s:a@x>" } }, { "a@x,", { "a@x" } }, { "a@x, ", { "a@x", "-" } },
  };
  for (auto const& row : rows)
    EXPECT_EQ(elements(row.list), row.expected) << row.list;
  EXPECT_EQ(elements(std::string_view("a\0b@x,c@y", 9)), (list_t{ std::string("a\0b@x", 5), "c@y" }));
}

TEST(Address, NameAndAddress) {
  struct { char const* element; char const* expected; } const rows[] = {
    { "\"Doe, John\" <j@x>", "Doe, John|j@x" }, { "j@x (John Doe)", "John Doe|j@x" }, { "'j@x'", "-|j@x" },
    { "j@x <j@x>", "j@x|j@x" },                 { "<j@x>", "-|j@x" },                 { "<< j@x >>", "-|j@x" },
    { "<'j@x'>", "-|j@x" },                                        { "Undisclosed recipients:;", "Undisclosed recipients|-" },
    { "Undisclosed recipients : ;", "Undisclosed recipients |-" }, { "undisclosed-recipients:;", "-|undisclosed-recipients:;" },
    { "\"john doe\"@example.com", "john doe|@example.com" },       { "no group;", "no group;|-" },
    { "foo", "-|foo" }, { "two words", "two words|-" }, { "", "-|-" }, { "\"\" <j@x>", "-|j@x" },
    { "\"'Ann B'\" <a@b>", "Ann B|a@b" },                          { "\"a \\\"b\\\"\" <a@b>", "a \"b\"|a@b" },
    { "\"open <a@b>", "open <a@b>|-" },                            { "O'Brien <a@b>", "O'Brien|a@b" },
    { "'Tis <a@b>", "'Tis|a@b" },                                  { "((nested (c)) d) a@b", "(nested (c)) d|a@b" },
    { "a@b (open", "open|a@b" }, { "A > ) <a@b>", "A > )|a@b" }, { "> a@b", "-|a@b" }, { "Ann <a@b> (x)", "Ann|a@b" },
    { "a@x <b@y> c@z", "a@x|b@y" },                                { "n <a@b> (dd)", "dd|a@b" },
    { "one <a@b> c (d) five", "one|a@b" },                         { "I <3 you <a@b>", "I <3 you|a@b" },
    { "Ann <a@b", "Ann|a@b" },                                     { "Ann <a b@c", "Ann <a b@c|-" },
    { "a@x (Ann Lee <A@X>)", "Ann Lee|A@X" },                      { "a@x (a@x)", "-|a@x" },
    { "a@x (Ann <b@y>)", "Ann <b@y>|a@x" },                        { "'A' <a@b>", "A|a@b" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(name_and_address(row.element), row.expected) << row.element;
}

TEST(Address, PiecesOfUrls) {
  struct { match_t (*function)(char const*&, char const*); char const* text; char const* expected; } const rows[] = {
    { protocol_function, "https://host/a/b", "https" }, { protocol_function, "none", "none" },
    { server_function, "https://host/a/b", "host" }, { server_function, "https://host", "host" }, { server_function, "https:/x", "" },
    { path_function, "https://host/a/b", "a/b" }, { path_function, "https://host", "" },
    { mailto_function, "mailto:a@b?x=y", "a@b?x=y" }, { mailto_function, "MAILTO:a@b", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(whole(row.function, row.text), row.expected) << row.text;
}

TEST(Address, QuotesAndEscapes) {
  using row_t = std::pair<std::string, char const*>;
  for (auto const& [text, expected] : { row_t{ "a\\\"b", "a\"b" }, { "\\\\", "\\" }, { "a\\", "a\\" } })
    EXPECT_EQ(dequote_string(text.data(), text.data() + text.size()), expected);
  for (auto const& [name, quoted] : { row_t{ "John_Doe-1", "John_Doe-1" }, { "", "" }, { "Doe, John", "\"Doe, John\"" },
                                      { "a\"b\\", "\"a\\\"b\\\\\"" } })
    EXPECT_EQ(quote_email_name(name), quoted);
}

TEST(Address, ReformatsWhatWasWrittenForPeople) {
  struct { char const* written; char const* expected; } const rows[] = {
    { "mailto:j@x.org", "j@x.org" },         { " MAILTO:mailto: j@x.org ", "j@x.org" }, { "j@x.org.invalid", "j@x.org" },
    { "j@x.INVALID.invalid", "j@x" },        { "j at x dot org", "j@x.org" },           { "j (at) x [dot] org", "j@x.org" },
    { "j<AT>x{DOT}co{dot}uk", "j@x.co.uk" }, { "j dot doe at x.org", "j.doe@x.org" },   { "j_at_x_dot_org", "j@x.org" },
    { "j -at- x -dot- org", "j@x.org" },      { "polka-dot-dress at x dot org", "polka-dot-dress@x.org" },
    { "j@x dot org", "j@x.org" },             { "j.NOSPAM@x.org", "j@x.org" },
    { "NO_SPAM.j@x.org", "j@x.org" },         { "j+n0spam@x.org", "j@x.org" },
    { "j[N0-SPAM]@x.org", "j@x.org" },        { "j-NOSPAM.doe@x.org", "j.doe@x.org" },
    { "j.[NOSPAM]doe@x.org", "j.doe@x.org" }, { "j@NOSPAM.x.org", "j@x.org" },
    { "j@x_REMOVE_THIS_.org", "j@x.org" },    { "j@x.org.REM0VETHIS", "j@x.org" },
    { "j@x.NO.NOSPAM.SPAM.org", "j@x.org" },  { "j.nospam at no.spam.x dot org.invalid", "j@x.org" },
    { "nospam@REMOVE-THIS.x.org", "nospam@x.org" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(reformat_address_string(row.written), row.expected) << row.written;
    EXPECT_EQ(reformat_address_string(row.expected), row.expected);
  }
}

TEST(Address, KeepsWhatNeedsNothing) {
  for (char const* address :
       { "", "j@x.org", "Ann Lee <ann@x.org>", "Mr Dot Matrix <dot@matrix.org>", "Ann at Home <ann@x.org>", "nospam@x.org",
         "j@nospam.com", "nospammer@x.org", "johnNOSPAM@x.org", "polka-dot-dress@x.org", "look.at.me@x.org", "at-at@x.org",
         "meet me at noon", "john at localhost", "polka dot dress", "undisclosed-recipients:;", "a@.invalid", "invalid@x.org",
         "\"j at x\"@y.org", "a@x.NOSPAM.org, b@y.org", "look.at.x.dot.org", "a@b", "a@[1.2.3.4]", "j@x.org.NOSPAM@y",
         "gr\u00FC\u00DFe@m\u00FCnchen.de", "a\xFF@x.org" })
    EXPECT_EQ(reformat_address_string(address), address);
  std::string const zero("a\0b@x.org", 9), text = repeated("NOSPAM.", 200) + "@x.org";
  EXPECT_EQ(reformat_address_string(zero), zero);
  EXPECT_EQ(reformat_address_string(text), text);
}

TEST(Address, ReformattingTwiceChangesNothing) {
  std::vector<std::string> const pieces = { "a", "NO", "SPAM", "NOSPAM", "at", "dot", ".", "@", " ", "[", "]", "-", ".invalid", "mailto:" };
  test::for_some_texts(pieces, 400'000'000, 7919, [](std::string const& text) {
    std::string const once = reformat_address_string(text);
    EXPECT_EQ(reformat_address_string(once), once) << text;
    EXPECT_LE(once.size(), text.size()) << text;
  });
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

// Strings of up to six bytes that mean something: the cursor goes forward, and no further than to the end.
TEST(Address, ShortStrings) {
  test::for_some_texts({ "a", "@", "<", ">", "(", "\"", "'", " ", ",", "\\" }, 1'000'000, 7, [](std::string const& text) {
    elements(text);
    name_and_address(text);
  });
}

}  // namespace kel::header
