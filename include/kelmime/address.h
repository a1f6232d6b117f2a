// Address lists, elements of lists, display names and addresses (RFC 5322 section 3.4), read as real mail writes them.
//
// A char function takes a cursor and the end of the value, returns one match and moves the cursor past what it consumed, so
// that a caller walks a list by calling again. Matches are views into the value. The cost is linear in the length of the
// value, and a NUL byte is a byte like any other.
#pragma once

#include <string>
#include <string_view>

#include <kelmime/export.h>

namespace kel {

namespace header {

// What a char function found. Both pointers are null when there is no match, and equal when no value follows.
struct match_t {
  char const* first = nullptr;
  char const* last = nullptr;
  bool quoted = false;   // the range stood in quotes: `dequote_string` removes its escapes
  bool special = false;  // free for an application's own char functions; nothing here sets or reads it
};

// Display name and address of one element; each may be missing.
struct name_and_email_t {
  match_t name;
  match_t email;
};

// The next element of a comma-separated list, without blanks around it; the cursor moves past the element and its comma.
// A comma ends an element only after an "@" or after something inside a group ("Team: a@x, b@y;"), so that
// "Doe, John <j@x>" stays whole. Text that holds neither is no address: no match, and the cursor still moves past it.
//
// Deliberately nothing else protects a comma, and nothing takes a group apart. "Team: a@x, b@y;" has the elements
// "Team: a@x" and "b@y;"; a comma inside a comment or a route ends an element once an "@" was seen before it.
KELMIME_EXPORT match_t address_split_function(char const*& cursor, char const* end);

// Name and address of one element; the cursor moves to the end. Reads "Name <a@b>", "a@b (Name)", "'a@b'", bare addresses
// and empty groups. At most four tokens are looked at.
//
// Accepted besides the standard's forms:
//   1. a "<" without its ">" begins a token that runs to the end of the element, so "Name <a@b" still has an address;
//   2. a comment that repeats the address before it, "a@x (Ann <a@x>)", gives the name inside the comment.
//
// Deliberately a word alone is an address, even the empty group "undisclosed-recipients:;", which holds no space; and a
// quoted string is always a name, so that of `"john doe"@example.com` only "@example.com" is the address.
KELMIME_EXPORT name_and_email_t address_name_and_email_function(char const*& cursor, char const* end);
KELMIME_EXPORT match_t address_name_function(char const*& cursor, char const* end);
KELMIME_EXPORT match_t address_email_function(char const*& cursor, char const* end);

// Pieces of a URL. Each consumes the whole text; no match when the piece is missing.
KELMIME_EXPORT match_t protocol_function(char const*& cursor, char const* end);  // before the first ":", else all
KELMIME_EXPORT match_t server_function(char const*& cursor, char const* end);    // host of scheme://host/path
KELMIME_EXPORT match_t path_function(char const*& cursor, char const* end);      // path, without its leading "/"
KELMIME_EXPORT match_t mailto_function(char const*& cursor, char const* end);    // after a leading "mailto:"

// The range with every backslash escape replaced by the byte it protects; a backslash at the very end stays.
KELMIME_EXPORT std::string dequote_string(char const* first, char const* last);

// One address as its owner meant it, where it was written so that programs do not find it: "john at example (dot) com",
// "john.NOSPAM@example.com", "john@example.com.invalid" and "mailto:john@example.com" all become "john@example.com".
//
//   1. "at" and "dot" count between blanks or brackets, in a text without "@" between "-", "_" and "*" too; with an "@",
//      "dot" counts behind it only;
//   2. the markers NO_SPAM and REMOVE_THIS, in either letter case, with "0" for "O" and with any or no sign in the middle,
//      count where nothing or a separator stands on either side, which goes with them. The sign that joins what is left
//      stays: "john-NOSPAM.doe" becomes "john.doe";
//   3. nothing is done that leaves no local part, or a domain without a dot: "nospam@example.com" and "a@nospam.com" stay.
//
// An address that needs nothing comes back as it is, but for blanks around it; so do lists, quoted names and local parts,
// and texts of more than 1000 bytes. To do it twice changes nothing.
KELMIME_EXPORT std::string reformat_address_string(std::string_view address);

}  // namespace header

// A display name as it may stand before an address: unchanged when it consists of ASCII letters, digits, "-" and "_", else
// in double quotes with backslashes before quotes and backslashes.
KELMIME_EXPORT std::string quote_email_name(std::string_view name);

}  // namespace kel
