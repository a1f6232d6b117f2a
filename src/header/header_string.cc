#include <kelmime/header_string.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include <kel/ascii.h>

namespace kel {

namespace {

// As strncmp, with a function on each byte before it is compared.
template <typename Fold>
int compare_bytes(char const* a, char const* b, std::size_t count, Fold fold) {
  for (std::size_t i = 0; i < count; ++i) {
    unsigned char const left = static_cast<unsigned char>(fold(a[i]));
    unsigned char const right = static_cast<unsigned char>(fold(b[i]));
    if (left != right)
      return left < right ? -1 : 1;
    if (left == 0)
      return 0;
  }
  return 0;
}

template <typename Fold>
int compare(header_string_t const& a, header_string_t const& b, Fold fold) {
  if (a.data == b.data)
    return 0;
  if (int const order = compare_bytes(a.data, b.data, std::min(a.length, b.length), fold))
    return order;
  return a.length == b.length ? 0 : a.length < b.length ? -1 : 1;
}

char same_byte(char c) {
  return c;
}

bool has_bytes(header_string_t const& view, char const* text, std::size_t length) {
  return view.data && view.length == length && compare_bytes(view.data, text, length, same_byte) == 0;
}

}  // namespace

void header_string_t::reset() {
  *this = {};
}

bool header_string_t::operator==(header_string_t const& other) const {
  return data == other.data || (other.data && has_bytes(*this, other.data, other.length));
}

bool header_string_t::operator==(std::string const& text) const {
  return has_bytes(*this, text.data(), text.size());
}

bool header_string_t::operator==(char const* text) const {
  return has_bytes(*this, text, std::strlen(text));
}

header_string_t to_hstring(std::string_view text) {
  constexpr std::size_t longest = std::numeric_limits<std::uint32_t>::max();
  return { text.data(), static_cast<std::uint32_t>(std::min(text.size(), longest)) };
}

int hstrcmp(header_string_t const& a, header_string_t const& b) {
  return compare(a, b, same_byte);
}

int hstrcasecmp(header_string_t const& a, header_string_t const& b) {
  return compare(a, b, ascii::to_lower);
}

bool case_insensitive_compare(header_string_t const& a, header_string_t const& b) {
  return a.length == b.length && hstrcasecmp(a, b) == 0;
}

bool case_insensitive_compare2(char a, char b) {
  return ascii::to_lower(a) == ascii::to_lower(b);
}

bool operator<(header_string_t const& a, header_string_t const& b) {
  return hstrcmp(a, b) < 0;
}

}  // namespace kel
