// Single header values: addresses and URLs of them, domains, dates, field paths.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <set>
#include <string>
#include <string_view>

#include <base/utf8.h>
#include <kel/ascii.h>
#include <kelmime/address.h>
#include <kelmime/bytes.h>
#include <kelmime/field_path.h>
#include <kelmime/idn_wrapper.h>
#include <kelmime/mailto.h>
#include <kelmime/rfc822_date_parser.h>
#include <kelmime/value_format.h>

namespace {

void require(bool law) {
  if (!law)
    std::abort();
}

void read_addresses(char const* begin, char const* end) {
  char const* cursor = begin;
  while (cursor != end) {
    char const* const before = cursor;
    kel::header::match_t const element = kel::header::address_split_function(cursor, end);
    require(cursor > before && cursor <= end);
    if (element.first) {
      char const* inner = element.first;
      kel::header::address_name_and_email_function(inner, element.last);
    }
  }
  kel::header::dequote_string(begin, end);
}

// A quoted name is read again, whatever it holds. Only around it the reader drops something: blanks, single quotes, and the
// sign of an empty group.
void quote_and_read_names(std::string const& name) {
  auto const is_dropped = [](char c) { return kel::ascii::is_space(c) || c == '\'' || c == ';'; };
  if (name.empty() || is_dropped(name.front()) || is_dropped(name.back()))
    return;
  std::string const written = kel::quote_email_name(name) + " <a@b>";
  char const* cursor = written.data();
  char const* const end = cursor + written.size();
  kel::header::match_t const element = kel::header::address_split_function(cursor, end);
  require(cursor == end && element.first);
  char const* inner = element.first;
  auto const read = kel::header::address_name_and_email_function(inner, element.last);
  require(std::string(read.email.first, read.email.last) == "a@b");
  require(kel::header::dequote_string(read.name.first, read.name.last) == name);
}

void make_addresses_plain(std::string const& text) {
  std::string const once = kel::header::reformat_address_string(text);
  require(kel::header::reformat_address_string(once) == once && once.size() <= text.size());
}

// A stranger's URL prefills harmless headers, each of one line, and each once.
void read_mailto(std::string const& url) {
  constexpr std::string_view harmless[] = { "to", "cc", "subject", "in-reply-to", "keywords" };
  kel::mailto_t draft;
  kel::parse_mailto("mailto:" + url, draft);
  std::set<std::string> names;
  for (auto const& [name, value] : draft.headers) {
    require(std::ranges::find(harmless, name) != std::end(harmless) && names.insert(name).second);
    require(!value.empty() && kel::utf8::is_valid(value.begin(), value.end()));
    require(
        std::ranges::none_of(value, [](char c) { return c != '\t' && !kel::ascii::is_print(c) && !kel::is_high(c); }));
  }
  require(draft.body.find('\r') == draft.body.npos && kel::utf8::is_valid(draft.body.begin(), draft.body.end()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  auto const* const begin = reinterpret_cast<char const*>(data);
  char const* const end = begin + size;
  std::string const value(begin, end);

  read_addresses(begin, end);
  quote_and_read_names(value);
  make_addresses_plain(value);
  read_mailto(value);
  kel::idn::header_domains_to_ascii(value);
  kel::idn::header_domains_to_utf8(value);
  kel::to_s(kel::string_to_field_path(value));
  kel::formatted_size(begin, end);

  kel::mime_errors_handler_t errors;
  kel::rfc822_date_t const date(begin, end, errors);
  date.canonical_format();
  date.local_canonical_format();
  return 0;
}
