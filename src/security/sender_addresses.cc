#include <security/sender_addresses.h>

#include <algorithm>
#include <iterator>

#include <kel/regexp.h>
#include <kelmime/charset.h>
#include <kelmime/header_parser.h>
#include <kelmime/headers.h>

namespace kel {

namespace {

// The block with nothing in it that begins an encoded word (RFC 2047, section 2).
std::string without_encoded_words(std::string_view header_block) {
  std::string block(header_block);
  for (std::size_t at = block.find("=?"); at != block.npos; at = block.find("=?", at))
    block[at + 1] = '!';
  return block;
}

// Fields called From as any program may see them: with blanks before the colon (RFC 5322, section 4.5), and also where only a
// CR ends a line.
std::size_t count_from_fields(std::string_view header_block) {
  static regexp::pattern_t const field(R"(\Afrom[ \t]*:)", regexp::option_t::ignore_case);
  header_block = header_block.substr(0, header_block.find("\n\n"));
  std::size_t count = 0;
  while (!header_block.empty()) {
    std::string_view const line = header_block.substr(0, header_block.find_first_of("\r\n"));
    count += regexp::search(field, line) ? 1 : 0;
    header_block.remove_prefix(std::min(line.size() + 1, header_block.size()));
  }
  return count;
}

// A value without its comments (RFC 5322, section 3.2.2), which nest, and in which as in quoted strings a backslash hides what
// follows it.
std::string without_comments(std::string_view value) {
  std::string result;
  bool is_quoted = false;
  std::size_t depth = 0;
  for (std::size_t at = 0; at < value.size(); ++at) {
    char const c = value[at];
    bool const is_pair = c == '\\' && (is_quoted || depth > 0) && at + 1 < value.size();
    if (c == '(' && !is_quoted)
      ++depth;
    if (depth == 0)
      result.append(value, at, is_pair ? 2 : 1);
    if (c == ')' && !is_quoted && depth > 0)
      --depth;
    if (c == '"' && depth == 0)
      is_quoted = !is_quoted;
    at += is_pair ? 1 : 0;
  }
  return result;
}

std::vector<std::string> addresses_in(std::string_view value) {
  return header_parser::parse_all_from_header("from.split.address", std::string(value));
}

}  // namespace

std::vector<std::string> undecoded_sender_addresses(std::string_view header_block) {
  std::string const block = without_encoded_words(header_block);
  char const* const begin = block.data();
  char const* const end = begin + block.size();
  std::vector<header_pair_t> fields;
  mime_errors_handler_t known_errors;  // parsing the message has recorded them already
  parse_headers(begin, end, fields, known_errors, "", [&] { return guess_charset(begin, end); });
  std::erase_if(fields, [](header_pair_t const& field) { return field.name != "from"; });
  if (fields.size() != 1 || count_from_fields(block) != 1)
    return {};
  std::vector<std::string> const addresses = addresses_in(fields.front().value);
  return addresses == addresses_in(without_comments(fields.front().value)) ? addresses : std::vector<std::string>();
}

}  // namespace kel
