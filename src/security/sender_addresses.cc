#include <security/sender_addresses.h>

#include <algorithm>
#include <iterator>

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

}  // namespace

std::vector<std::string> undecoded_sender_addresses(std::string_view header_block) {
  std::string const block = without_encoded_words(header_block);
  char const* const begin = block.data();
  char const* const end = begin + block.size();
  std::vector<header_pair_t> fields;
  mime_errors_handler_t known_errors;  // parsing the message has recorded them already
  parse_headers(begin, end, fields, known_errors, "", [&] { return guess_charset(begin, end); });
  std::erase_if(fields, [](header_pair_t const& field) { return field.name != "from"; });
  if (fields.size() != 1)
    return {};
  return header_parser::parse_all_from_header("from.split.address", fields.front().value);
}

}  // namespace kel
