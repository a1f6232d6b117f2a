// Single header values: addresses, domains, dates, field paths.
#include <cstdint>
#include <cstdlib>
#include <string>

#include <kelmime/address.h>
#include <kelmime/field_path.h>
#include <kelmime/idn_wrapper.h>
#include <kelmime/rfc822_date_parser.h>
#include <kelmime/value_format.h>

namespace {

void read_addresses(char const* begin, char const* end) {
  char const* cursor = begin;
  while (cursor != end) {
    char const* const before = cursor;
    kel::header::match_t const element = kel::header::address_split_function(cursor, end);
    if (cursor <= before || cursor > end)
      std::abort();
    if (element.first) {
      char const* inner = element.first;
      kel::header::address_name_and_email_function(inner, element.last);
    }
  }
  kel::header::dequote_string(begin, end);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  auto const* const begin = reinterpret_cast<char const*>(data);
  char const* const end = begin + size;
  std::string const value(begin, end);

  read_addresses(begin, end);
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
