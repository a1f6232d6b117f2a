#include <kelmime/mailto.h>

#include <algorithm>
#include <iterator>

#include <kel/ascii.h>
#include <kel/text.h>
#include <kelmime/address.h>
#include <kelmime/headers.h>
#include <kelmime/hex.h>
#include <base/utf8.h>

namespace kel {

namespace {

constexpr std::string_view scheme = "mailto:";

std::string_view without_frame(std::string_view url) {
  auto const first = std::ranges::find_if_not(url, ascii::is_space);
  url.remove_prefix(static_cast<std::size_t>(first - url.begin()));
  while (!url.empty() && ascii::is_space(url.back()))
    url.remove_suffix(1);
  return url.size() >= 2 && url.front() == '<' && url.back() == '>' ? url.substr(1, url.size() - 2) : url;
}

// The text up to the separator, which is taken away with it; all of the text where there is none.
std::string_view take_until(char separator, std::string_view& text) {
  std::string_view const taken = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(text.size(), taken.size() + 1));
  return taken;
}

std::string percent_decoded(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool const is_escape =
        text[i] == '%' && text.size() - i > 2 && hex_to_int(text[i + 1]) >= 0 && hex_to_int(text[i + 2]) >= 0;
    decoded += is_escape ? static_cast<char>(hex_to_int(text[i + 1]) * 16 + hex_to_int(text[i + 2])) : text[i];
    i += is_escape ? 2 : 0;
  }
  return decoded;
}

// U+0080 to U+009F, which terminals take for commands as well.
constexpr bool is_c1_control(std::string_view character) {
  return character.size() == 2 && character[0] == '\xC2' && byte_value(character[1]) < 0xA0;
}

std::string readable(std::string_view encoded, char line_break) {
  std::string const text = utf8::with_replacements(encoded);
  std::string_view const rest = text;
  std::string cleaned;
  cleaned.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string_view const pair = rest.substr(i, 2);
    if (pair == "\r\n")
      continue;
    if (text[i] == '\r' || text[i] == '\n') {
      cleaned += line_break;
    } else if (is_c1_control(pair)) {
      cleaned += utf8::replacement_character;
      ++i;
    } else if (is_high(text[i]) || ascii::is_print(text[i]) || text[i] == '\t') {
      cleaned += text[i];
    } else {
      cleaned += utf8::replacement_character;
    }
  }
  return cleaned;
}

std::string header_text(std::string_view text) {
  return text::trim(readable(percent_decoded(text), ' '), " \t");
}

std::string with_decoded_words(std::string const& value) {
  std::string decoded;
  decode_header_line(value.begin(), value.end(), std::back_inserter(decoded), nullptr, "utf-8", {});
  return text::trim(readable(decoded, ' '), " \t");
}

// A comma that belongs to the local part needs quotes, or the header would show two addresses.
std::string with_protected_commas(std::string address) {
  std::size_t const at = address.find('@');
  std::string const local = address.substr(0, at);
  bool const is_bare = at == address.rfind('@') && local.find_first_of("\"<>()") == local.npos;
  if (at == address.npos || !is_bare || local.find(',') == local.npos)
    return address;
  return quote_email_name(local) + address.substr(at);
}

std::string address_list(std::string_view text) {
  std::string list;
  while (!text.empty()) {
    std::string const address = with_protected_commas(header_text(take_until(',', text)));
    if (!address.empty())
      list += (list.empty() ? "" : ", ") + address;
  }
  return list;
}

class filler_t {
public:
  explicit filler_t(mailto_t& draft) : _draft(draft) {}

  void take(std::string const& name, std::string_view text) {
    if (name == "to" || name == "cc")
      add(name, address_list(text), /*is_list*/ true);
    else if (name == "keywords")
      add(name, with_decoded_words(header_text(text)), /*is_list*/ true);
    else if (name == "subject")
      add(name, with_decoded_words(header_text(text)), /*is_list*/ false);
    else if (name == "in-reply-to")
      add(name, header_text(text), /*is_list*/ false);
    else if (name == "body")
      _draft.body += (_draft.body.empty() ? "" : "\n") + readable(percent_decoded(text), '\n');
  }

private:
  void add(std::string const& name, std::string const& value, bool is_list) {
    if (value.empty())
      return;
    auto const header = std::ranges::find(_draft.headers, name, [](auto const& pair) { return pair.first; });
    if (header == _draft.headers.end())
      _draft.headers.emplace_back(name, value);
    else if (is_list)
      header->second += ", " + value;
  }

  mailto_t& _draft;
};

}  // namespace

bool parse_mailto(std::string_view url, mailto_t& out) {
  std::string_view text = without_frame(url);
  if (!ascii::starts_with_ignoring_case(text, scheme))
    return false;
  text.remove_prefix(scheme.size());

  out = {};
  filler_t filler(out);
  std::string_view fields = take_until('#', text);
  filler.take("to", take_until('?', fields));
  while (!fields.empty()) {
    std::string_view value = take_until('&', fields);
    std::string const name = text::lowercase(percent_decoded(take_until('=', value)));
    filler.take(name, value);
  }
  return true;
}

}  // namespace kel
