#include <kelmime/headers.h>

#include <algorithm>
#include <array>
#include <string_view>

#include <base/fatal.h>
#include <header/address_header.h>
#include <kel/ascii.h>
#include <kel/preferences.h>
#include <kel/text.h>
#include <kelmime/encoded_word_output.h>
#include <kelmime/idn_wrapper.h>

namespace kel {

namespace {

std::string printed_name(std::string const& name) {
  constexpr std::array<std::string_view, 4> spellings = { "Message-ID", "Content-ID", "MIME-Version", "Inlined-HTML" };
  for (std::string_view const spelling : spellings) {
    if (ascii::iequals(spelling, name))
      return std::string(spelling);
  }
  return title_case(name);
}

bool encodes_full_subject_lines() {
  static bool const answer = preferences::boolean("PwEncodeFullSubjectLines");
  return answer;
}

void append_encoded(std::string_view name, std::string const& value, std::string& line) {
  if (is_address_header(name))
    line += idn::header_domains_to_ascii(value);
  else if (name == "subject" && encodes_full_subject_lines() && std::ranges::any_of(value, is_high))
    encode_words(value.begin(), value.end(), std::back_inserter(line));
  else
    encode_single_words(value.begin(), value.end(), std::back_inserter(line));
}

}  // namespace

std::string construct_header_line(std::string const& name, std::string const& value, bool encode) {
  if (name.empty() || name.front() == '#')
    fatal("Unexpected header name (%s)\n", printable(name).c_str());
  std::string const lower_name = text::lowercase(name);
  std::string line = printed_name(lower_name) + ": ";
  if (encode)
    append_encoded(lower_name, value, line);
  else
    line += value;
  return line;
}

}  // namespace kel
