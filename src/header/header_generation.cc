#include <kelmime/header_generation.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include <base/fatal.h>
#include <codec/line_lengths.h>
#include <header/encoded_words.h>
#include <header/written_addresses.h>
#include <header/written_parameters.h>
#include <header/written_value.h>
#include <kel/application.h>
#include <kel/ascii.h>
#include <kel/preferences.h>
#include <kel/text.h>
#include <kelmime/header_parser.h>
#include <kelmime/header_parsers.h>
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

constexpr std::size_t soft_limit = 78;

std::string folded(std::string const& line) {
  std::string text;
  header_parser::wrap(line.begin(), line.end(), std::back_inserter(text), soft_limit, longest_mail_line);
  return text;
}

bool holds_too_long_line(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    std::size_t const end = std::min(text.find('\n', at), text.size());
    if (end - at > longest_mail_line)
      return true;
    at = end + 1;
  }
  return false;
}

bool is_structured(std::string_view name) {
  return holds_addresses(name) || header::holds_parameters(name);
}

// Whether any word of a header may be an encoded word, as far as the registry knows.
bool is_free_text(std::string const& name) {
  return !is_structured(name) && !field_parsers_init::field_parser_for_field_path({ name, "split" });
}

std::string free_text_line(std::string const& name, std::string const& value, bool encode) {
  return encode ? construct_header_line(name, value, true)
                : construct_header_line(name, in_single_encoded_words(value, false), false);
}

// What nearly is an encoded word, and stays as it is, can swallow one behind it.
bool is_read_differently(std::string_view line, std::string_view value) {
  return value.find("=?") != value.npos && decoded_words(line.substr(line.find(": ") + 2)) != value;
}

std::string header_text(std::string const& name, std::string const& value, bool encode) {
  std::string const written = written_value(name, value, encode);
  if (is_structured(name))
    return folded(construct_header_line(name, written, false));
  std::string const line = free_text_line(name, written, encode);
  std::string text = folded(line);
  if (!is_free_text(name) || !(holds_too_long_line(text) || is_read_differently(line, written)))
    return text;
  return folded(construct_header_line(name, in_encoded_words(written), false));
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
  std::string const text = header_text(lower_name, value, encode) + "\n";
  auto& container = container_of(out);
  container.insert(container.end(), text.begin(), text.end());
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
