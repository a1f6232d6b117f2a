#include <kelmime/field_path.h>

#include <kel/ascii.h>

#include <algorithm>

namespace kel {

namespace {

constexpr bool is_plain(char c) {
  return ascii::is_alnum(c) || c == '#' || c == '_' || c == '-' || c == '\0';
}

}  // namespace

field_path_t string_to_field_path(std::string_view text) {
  field_path_t path;
  while (!text.empty()) {
    if (text.front() != '\'') {
      std::size_t const dot = text.find('.');
      path.emplace_back(text.substr(0, dot));
      text.remove_prefix(dot == text.npos ? text.size() : dot + 1);
      continue;
    }
    // The byte after the opening quote belongs to the component whatever it is, so '' is no empty component.
    std::size_t const closing = std::min(text.find('\'', 2), text.size());
    path.emplace_back(text.substr(1, closing - 1));
    text.remove_prefix(std::min(closing + 2, text.size()));
  }
  return path;
}

std::string to_s(field_path_t const& path) {
  std::string text;
  bool is_first = true;
  for (std::string const& component : path) {
    if (!is_first)
      text += '.';
    is_first = false;
    if (std::all_of(component.begin(), component.end(), is_plain))
      text += component;
    else
      text.append("'").append(component).append("'");
  }
  return text;
}

bool less_than_length_cmp::operator()(field_path_t const& left, field_path_t const& right) const {
  return left.size() != right.size() ? left.size() < right.size() : left < right;
}

}  // namespace kel
