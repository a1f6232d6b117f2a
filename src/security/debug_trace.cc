#include <security/debug_trace.h>

#include <cstdio>
#include <vector>

#include <kel/preferences.h>
#include <kel/text.h>
#include <base/fatal.h>
#include <base/utf8.h>

namespace kel {

namespace {

constexpr std::size_t shown_bytes = 200;

std::string with_visible_line_ends(std::string_view text) {
  std::string visible;
  for (char const c : text) {
    if (c == '\r')
      visible += "\\r";
    else if (c == '\n')
      visible += "\\n";
    else
      visible += c;
  }
  return visible;
}

// Tabs are harmless.
std::string without_controls(std::string_view text) {
  std::vector<std::string> pieces = text::split(text, "\t");
  for (std::string& piece : pieces)
    piece = printable(piece);
  return text::join(pieces, "\t");
}

}  // namespace

debug_trace_t::debug_trace_t() : _is_on(preferences::boolean("PwDebugSecurity")) {}

void debug_trace_t::line(std::string_view text) const {
  if (_is_on)
    std::fprintf(stderr, "%s\n", without_controls(text).c_str());
}

void debug_trace_t::bytes(char const* label, std::string_view bytes) const {
  if (!_is_on)
    return;
  std::string const shown = with_visible_line_ends(utf8::prefix(bytes, shown_bytes));
  std::fprintf(stderr, " %s (%zu): \"%s%s\"\n", label, bytes.size(), without_controls(shown).c_str(),
               bytes.size() > shown_bytes ? "..." : "");
}

void debug_trace_t::result(bool is_success) const {
  line(is_success ? " Result: Success" : " Result: Failure");
}

void debug_trace_t::details(std::string_view status) const {
  if (!_is_on)
    return;
  for (std::string const& detail : text::split(status, "\n")) {
    if (!detail.empty())
      line(" Detail: " + detail);
  }
}

}  // namespace kel
