// Laws of writing, on any bytes: what is written reads as what it was. The first byte chooses how text is flowed.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/body.h>
#include <kelmime/decoding.h>
#include <kelmime/format_flowed.h>
#include <kelmime/headers.h>
#include <kelmime/reencode.h>
#include <kelmime/transfer_encoding_choice.h>

namespace {

void require(bool law) {
  if (!law)
    std::abort();
}

// --- Text --------------------------------------------------------------------------------------------------------

std::string deflowed(std::string_view text, bool is_flowed, bool delsp, bool keep_unquoted) {
  std::string result;
  kel::format_deflow(text.begin(), text.end(), std::back_inserter(result), is_flowed, delsp, keep_unquoted);
  return result;
}

// A ">" goes with the word before it, since it cannot begin a line.
bool has_endless_word(std::string_view text) {
  std::size_t word = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    bool const is_end = text[at] == '\n' || (text[at] == ' ' && !text.substr(at + 1).starts_with('>'));
    word = is_end ? 0 : word + 1;
    if (word > 900)
      return true;
  }
  return false;
}

void flow_and_deflow(std::string_view bytes, unsigned choice) {
  bool const delsp = choice & 1, keep_unquoted = choice & 2, count_characters = choice & 4;
  std::size_t const width = choice >> 3;
  std::string const text = deflowed(bytes, /*flowed*/ false, /*delsp*/ false, /*keep_unquoted*/ false);
  std::string sent;
  kel::format_flow(text.begin(), text.end(), std::back_inserter(sent), delsp, width, keep_unquoted, count_characters);
  require(has_endless_word(text) || deflowed(sent, /*flowed*/ true, delsp, keep_unquoted) == text);
  bool wants_delsp = true;
  kel::should_format_flow(bytes.data(), bytes.data() + bytes.size(), wants_delsp, width);
  require(!wants_delsp);
}

// --- Finished messages -------------------------------------------------------------------------------------------

struct told_t {
  std::string type;
  bool has_ascii_headers;  // else the charset of the type may be guessed
  std::string headers;     // perhaps the names; what their values say is headers_fuzz's business
  std::string leaf;        // the bytes, not the text: its charset may have been guessed from what is rewritten
  bool is_decodable;       // else the bytes are taken for the content itself when they are encoded anew

  bool is_kept_in(told_t const& other) const {
    return (type == other.type || !has_ascii_headers) && headers == other.headers &&
           (leaf == other.leaf || !is_decodable);
  }
};

void tell(kel::body_part_t& part, bool with_names, std::vector<told_t>& told) {
  std::string const encoding = part.get_header("content-transfer-encoding", "7bit");
  std::string_view const block = part.raw_headers(), body = part.raw_body();
  bool const has_ascii_headers = std::ranges::none_of(block, [](char c) { return c < 0; });
  bool const is_identity = encoding == "7bit" || encoding == "8bit" || encoding == "binary";
  told_t own{ part.mime_type(), has_ascii_headers, "", "", is_identity };
  std::vector<kel::header_pair_t> pairs;
  kel::mime_errors_handler_t errors;
  if (with_names)
    kel::parse_headers(block.data(), block.data() + block.size(), pairs, errors, "", {});
  for (auto const& [name, value] : pairs) {
    bool const is_blank = value.find_first_not_of(" \t\n\v\f") == value.npos;  // after zero bytes were removed
    if (!name.starts_with('#') && !name.starts_with("--") && !is_blank)
      own.headers += "\n" + name;
  }
  if (part.subparts().empty()) {
    if (kel::mime_decode(body.begin(), body.end(), std::back_inserter(own.leaf), encoding, nullptr, !part.is_text()))
      own.is_decodable = true;
    else
      own.leaf = body;
  }
  told.push_back(std::move(own));
  for (kel::body_part_t& child : part.subparts())
    tell(child, with_names, told);
}

bool says_the_same(std::string_view sent, std::string_view message, bool with_names) {
  std::vector<told_t> before, after;
  tell(*kel::parse_body(message.data(), message.data() + message.size()), with_names, before);
  tell(*kel::parse_body(sent.data(), sent.data() + sent.size()), with_names, after);
  return std::ranges::equal(before, after, [](told_t const& a, told_t const& b) { return a.is_kept_in(b); });
}

void make_headers_ascii(std::string_view message) {
  std::string sent, again;
  kel::encode_headers(message.begin(), message.end(), std::back_inserter(sent));
  require(!kel::needs_header_encoding(sent.begin(), sent.end()));
  require((sent != message) == kel::needs_header_encoding(message.begin(), message.end()));
  kel::encode_headers(sent.begin(), sent.end(), std::back_inserter(again));
  require(again == sent);
  require(says_the_same(sent, message, /*with_names*/ true));
}

void make_lines_short(std::string_view message) {
  std::string sent, again;
  bool const is_changed = kel::reencode(message.begin(), message.end(), std::back_inserter(sent));
  require(is_changed == (sent != message));
  require(!kel::reencode(sent.begin(), sent.end(), std::back_inserter(again)) && again == sent);
  require(says_the_same(sent, message, /*with_names*/ false));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0)
    return 0;
  std::string bytes(reinterpret_cast<char const*>(data) + 1, size - 1);
  flow_and_deflow(bytes, data[0]);
  kel::which_mime_encoding(bytes.data(), bytes.data() + bytes.size(), "text", "plain", kel::encoding_options::none);

  std::erase(bytes, '\r');    // line ends are bare line feeds here
  std::erase(bytes, '\x1B');  // begins Japanese text
  make_headers_ascii(bytes);
  make_lines_short(bytes);
  return 0;
}
