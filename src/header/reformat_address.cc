// Addresses written for people only. Each rule is a pattern and what takes its place; a rule is undone when what it leaves
// is no address. The rules run until none changes anything, which is cheap: each of them shortens, and texts are short.
#include <kelmime/address.h>

#include <kel/format_string.h>
#include <kel/regexp.h>
#include <kel/text.h>

namespace kel::header {

namespace {

constexpr std::size_t longest = 1000;  // three times the longest address (RFC 5321, section 4.5.3.1)

struct rule_t {
  regexp::pattern_t pattern;
  char const* replacement;

  std::string applied(std::string const& text) const { return format_string::replace(text, pattern, replacement); }
};

rule_t rule(std::string_view pattern, char const* replacement) {
  static format_string::variables_t const pieces = {
    { "frame", R"([\s()\[\]{}<>])" },  // what surrounds a word without belonging to an address
    { "joint", R"([-._+*~])" },        // what joins two words of an address
    { "separator", R"([-._+*~\s()\[\]{}<>])" },
    { "pause", R"([-_*\s()\[\]{}<>])" },  // a separator that is no dot
    { "marker", "(?:N[O0][-._ ]?SPAM|REM[O0]VE[-._ ]?THIS)" },
  };
  return { regexp::pattern_t(format_string::expand(pattern, pieces), regexp::option_t::ignore_case), replacement };
}

bool is_address(std::string const& text) {
  static regexp::pattern_t const address(R"(\A[^@\s()\[\]{}<>]+@[^@.\s()\[\]{}<>]+(\.[^@.\s()\[\]{}<>]+)+\Z)");
  return static_cast<bool>(regexp::search(address, text));
}

std::string without_markers(std::string text) {
  static rule_t const rules[] = {
    rule("\\A${separator}*${marker}(?:${separator}+|\\Z)", ""),
    rule("${separator}+${marker}${separator}*\\Z", ""),
    rule("${separator}+${marker}${separator}*\\.${separator}*", "."),
    rule("${separator}+${marker}${frame}*(${joint})${separator}*", "$1"),
    rule("(${joint})${frame}*${marker}${frame}+", "$1"),
  };
  for (rule_t const& rule : rules)
    text = rule.applied(text);
  return text;
}

// "john at example dot com": the words between blanks and brackets first, since "-at-" may be part of a name.
std::string with_signs(std::string const& text) {
  struct signs_t {
    rule_t at;
    rule_t dot;
  };
  static signs_t const kinds[] = {
    { rule("${frame}+at${frame}+", "@"), rule("${frame}+dot${frame}+", ".") },
    { rule("${pause}+at${pause}+", "@"), rule("${pause}+dot${pause}+", ".") },
  };
  for (signs_t const& signs : kinds) {
    std::string address = signs.dot.applied(signs.at.applied(text));
    if (is_address(address))
      return address;
  }
  return text;
}

std::string without_invalid(std::string const& domain) {
  static rule_t const invalid = rule("(?:\\.invalid)+\\Z", "");
  std::string rest = invalid.applied(domain);
  return rest.empty() ? domain : rest;
}

std::string clean_domain(std::string const& domain) {
  static rule_t const dot = rule("${frame}+dot${frame}+", ".");
  auto const is_domain = [](std::string const& text) { return is_address("a@" + text); };
  std::string const dotted = dot.applied(domain);
  std::string bare = without_invalid(is_domain(dotted) ? dotted : domain);
  std::string cleaned = without_invalid(without_markers(bare));
  return is_domain(cleaned) ? cleaned : bare;
}

std::string reformatted_once(std::string const& text) {
  static rule_t const scheme = rule("\\A(?:\\s*mailto:)+\\s*", "");
  std::string address = text::trim(scheme.applied(text));
  if (address.find_first_of("\",:;\\") != address.npos)
    return address;
  if (address.find('@') == address.npos)
    address = with_signs(address);
  std::size_t const at = address.find('@');
  if (at == address.npos || at != address.rfind('@'))
    return address;
  std::string const local = address.substr(0, at);
  std::string const cleaned = without_markers(local);
  return (cleaned.empty() ? local : cleaned) + "@" + clean_domain(address.substr(at + 1));
}

}  // namespace

std::string reformat_address_string(std::string_view address) {
  std::string text(address);
  if (text.size() > longest)
    return text;
  for (std::string next = reformatted_once(text); next != text; next = reformatted_once(text))
    text = next;
  return text;
}

}  // namespace kel::header
