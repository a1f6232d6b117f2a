// Domains are found by a scan that knows quoted strings and comments, and converted label by label, so that only labels
// that need it cost a conversion and everything else keeps its spelling.
#include <kelmime/idn_wrapper.h>

#include <algorithm>
#include <memory>
#include <optional>

#include <idn2.h>

#include <kel/ascii.h>
#include <kel/text.h>
#include <kelmime/bytes.h>

namespace kel::idn {

namespace {

constexpr std::string_view ace_prefix = "xn--";
constexpr std::size_t longest_domain = 255;

constexpr bool is_domain_byte(char c) {
  return ascii::is_alnum(c) || c == '-' || c == '.' || c == '_' || is_high(c);
}

bool is_ace(std::string_view label) {
  return ascii::starts_with_ignoring_case(label, ace_prefix);
}

// Finds the domains of an address header one after the other.
class domain_scanner_t {
public:
  explicit domain_scanner_t(std::string_view value) : _value(value) {}

  // The next domain, possibly empty. Nothing when there is no further one.
  std::optional<std::string_view> next() {
    for (; _position < _value.size(); ++_position) {
      char const c = _value[_position];
      if (c == '\\' && (_is_quoted || _depth > 0))
        ++_position;
      else if (c == '"' && _depth == 0)
        _is_quoted = !_is_quoted;
      else if (c == '(' && !_is_quoted)
        ++_depth;
      else if (c == ')' && _depth > 0)
        --_depth;
      else if (c == '@' && !_is_quoted && _depth == 0)
        return take_domain();
    }
    return {};
  }

private:
  std::string_view take_domain() {
    std::size_t const begin = ++_position;
    while (_position < _value.size() && is_domain_byte(_value[_position]))
      ++_position;
    return _value.substr(begin, _position - begin);
  }

  std::string_view _value;
  std::size_t _position = 0;
  std::size_t _depth = 0;
  bool _is_quoted = false;
};

struct freed_by_idn2_t {
  void operator()(void* text) const { idn2_free(text); }
};

// The ASCII form of a label. One that the current rules disallow is tried again with the transitional mapping.
std::optional<std::string> to_ascii(std::string const& label) {
  auto const look_up = [&](int flags, std::unique_ptr<std::uint8_t, freed_by_idn2_t>& result) {
    std::uint8_t* found = nullptr;
    int const status =
        idn2_lookup_u8(reinterpret_cast<std::uint8_t const*>(label.c_str()), &found, flags | IDN2_NFC_INPUT);
    result.reset(found);
    return status;
  };
  std::unique_ptr<std::uint8_t, freed_by_idn2_t> result;
  int status = look_up(IDN2_NONTRANSITIONAL, result);
  if (status == IDN2_DISALLOWED)
    status = look_up(IDN2_TRANSITIONAL, result);
  if (status != IDN2_OK)
    return {};
  std::string ascii_label = reinterpret_cast<char const*>(result.get());
  bool const is_clean =
      !ascii_label.empty() && std::ranges::all_of(ascii_label, [](char c) { return is_domain_byte(c) && !is_high(c); });
  return is_clean ? std::optional(ascii_label) : std::nullopt;
}

// The readable form of a label, if it leads back to the label and holds nothing that has a meaning in a header.
std::optional<std::string> to_utf8(std::string const& label) {
  std::string const ace = text::lowercase(label);
  char* found = nullptr;
  int const status = idn2_to_unicode_8z8z(ace.c_str(), &found, 0);
  std::unique_ptr<char, freed_by_idn2_t> const owned(found);
  if (status != IDN2_OK)
    return {};
  std::string const readable = found;
  bool const is_harmless = std::ranges::all_of(readable, [](char c) { return is_domain_byte(c) && c != '.'; });
  if (!is_harmless || to_ascii(readable) != ace)
    return {};
  return readable;
}

class label_converter_t {
public:
  using is_wanted_t = bool (*)(std::string_view);
  using convert_t = std::optional<std::string> (*)(std::string const&);

  label_converter_t(is_wanted_t is_wanted, convert_t convert) : _is_wanted(is_wanted), _convert(convert) {}

  std::string converted_header(std::string_view value) {
    std::string result;
    char const* copied = value.data();
    domain_scanner_t domains(value);
    while (auto const domain = domains.next()) {
      result.append(copied, domain->data());
      append_domain(*domain, result);
      copied = domain->data() + domain->size();
    }
    result.append(copied, value.data() + value.size());
    return result;
  }

private:
  void append_domain(std::string_view domain, std::string& out) {
    std::size_t const begin = out.size();
    for (std::size_t at = 0; at <= domain.size();) {
      std::size_t const dot = std::min(domain.find('.', at), domain.size());
      append_label(domain.substr(at, dot - at), domain.size() <= longest_domain, out);
      if (dot != domain.size())
        out += '.';
      at = dot + 1;
    }
    if (out.size() - begin > longest_domain)
      out.replace(begin, out.npos, domain);
  }

  void append_label(std::string_view label, bool may_convert, std::string& out) {
    std::optional<std::string> converted;
    if (may_convert && _is_wanted(label))
      converted = _convert(std::string(label));
    out += converted ? std::string_view(*converted) : label;
  }

  is_wanted_t _is_wanted;
  convert_t _convert;
};

bool holds_ace_label(std::string_view domain) {
  for (std::size_t at = 0; at < domain.size();) {
    std::size_t const dot = std::min(domain.find('.', at), domain.size());
    if (is_ace(domain.substr(at, dot - at)))
      return true;
    at = dot + 1;
  }
  return false;
}

}  // namespace

bool is_encoded(std::string_view value) {
  domain_scanner_t domains(value);
  while (auto const domain = domains.next()) {
    if (holds_ace_label(*domain))
      return true;
  }
  return false;
}

std::string header_domains_to_utf8(std::string_view value) {
  return label_converter_t(is_ace, to_utf8).converted_header(value);
}

std::string header_domains_to_ascii(std::string_view value) {
  auto const is_readable_only = [](std::string_view label) { return std::ranges::any_of(label, is_high); };
  return label_converter_t(is_readable_only, to_ascii).converted_header(value);
}

}  // namespace kel::idn
