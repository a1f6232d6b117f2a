#include <kelmime/header_generation.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include <base/fatal.h>
#include <header/written_value.h>
#include <kel/application.h>
#include <kel/ascii.h>
#include <kel/preferences.h>
#include <kel/text.h>
#include <kelmime/header_parser.h>
#include <kelmime/headers.h>
#include <kelmime/unset.h>

namespace kel {

namespace {

constexpr std::string_view fallback_domain = "kelmime.invalid";

bool is_header_name(std::string_view name) {
  auto const is_name_byte = [](char c) { return c >= '!' && c <= '~' && c != ':'; };
  return !name.empty() && name.front() != '#' && std::ranges::all_of(name, is_name_byte);
}

// What RFC 5322, section 3.2.3, allows in an atom.
constexpr bool is_atom_byte(char c) {
  return ascii::is_alnum(c) || std::string_view("-!#$%&'*+/=?^_`{|}~").find(c) != std::string_view::npos;
}

bool is_dot_atom(std::string_view text) {
  for (;;) {
    std::size_t const dot = std::min(text.find('.'), text.size());
    if (dot == 0 || !std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(dot), is_atom_byte))
      return false;
    if (dot == text.size())
      return true;
    text.remove_prefix(dot + 1);
  }
}

}  // namespace

template <byte_inserter Out>
Out generate_rfc822_header(std::string const& name, std::string const& value, Out out) {
  return generate_rfc822_header(name, value, !preferences::boolean("PwSMTPUTF8Enabled"), out);
}

template <byte_inserter Out>
Out generate_rfc822_header(std::string const& name, std::string const& value, bool encode, Out out) {
  std::string const lower_name = text::lowercase(name);
  if (!is_header_name(lower_name) || lower_name == "security-generation-detail")
    return out;
  std::string const line = construct_header_line(lower_name, written_value(lower_name, value, encode), encode);
  header_parser::wrap(line.begin(), line.end(), out, 78, 998);
  *out++ = '\n';
  return out;
}

std::string create_message_id(std::string const& unique, std::string const& from) {
  std::string domain = header_parser::parse_from_header("from.address", from);
  if (domain == unset_string)
    domain.clear();
  domain.erase(0, domain.find('@') + 1);
  if (!is_dot_atom(domain)) {
    warning("Unable to use '%s' for the Message-ID header.\n", printable(domain).c_str());
    domain = fallback_domain;
  }
  return unique + "@" + domain;
}

std::string get_x_mailer_value() {
  std::string const version = application_t::version();
  return version.empty() ? "" : "Postwick (" + version + "r" + application_t::revision() + ")";
}

using string_inserter_t = std::back_insert_iterator<std::string>;
using vector_inserter_t = std::back_insert_iterator<std::vector<char>>;

template string_inserter_t generate_rfc822_header(std::string const&, std::string const&, string_inserter_t);
template vector_inserter_t generate_rfc822_header(std::string const&, std::string const&, vector_inserter_t);
template string_inserter_t generate_rfc822_header(std::string const&, std::string const&, bool, string_inserter_t);
template vector_inserter_t generate_rfc822_header(std::string const&, std::string const&, bool, vector_inserter_t);

}  // namespace kel
