// The questions that decoding asks of every part, answered from one reading of Content-Type and Content-Disposition.
//
// Field paths would read the header once per question. The answers are theirs: whatever could differ, a header that is
// stored several times or a parameter that is given several times, goes the long way, which makes its record.
#include <kelmime/body.h>

#include <algorithm>
#include <array>
#include <string_view>

#include <header/parameters.h>

namespace kel {

namespace {

constexpr std::string_view parameter_prefix = "parameter.split.";

// Parameters that have a path of their own below both headers.
constexpr std::array parameter_names = std::to_array<std::string_view>(
    { "boundary", "charset", "format", "delsp", "name", "filename", "markup", "protocol", "micalg" });

std::string const* value_of(header::structured_value_t const& header, std::string_view component) {
  if (component == "type")
    return header.type.empty() ? nullptr : &header.type;
  if (component == "subtype")
    return header.subtype.empty() ? nullptr : &header.subtype;
  return header.parameter(component.substr(parameter_prefix.size()));
}

bool is_quick(header::structured_value_t const& header, std::string_view name, std::string_view component) {
  if (component == "type" || (component == "subtype" && name == "content-type"))
    return true;
  if (!component.starts_with(parameter_prefix))
    return false;
  std::string_view const wanted = component.substr(parameter_prefix.size());
  return std::find(parameter_names.begin(), parameter_names.end(), wanted) != parameter_names.end() &&
         std::count_if(header.parameters.begin(), header.parameters.end(),
                       [&](header::parameter_t const& parameter) { return parameter.name == wanted; }) <= 1;
}

}  // namespace

// Null where the path must be answered by the registry.
std::shared_ptr<header::structured_value_t const> body_part_t::content_header(std::string const& name) {
  auto const [first, last] = _headers.equal_range(name);
  if (first == last || std::next(first) != last)
    return nullptr;
  auto& cached = _content_headers[name == "content-disposition"];
  if (!cached)
    cached = std::make_shared<header::structured_value_t const>(header::parse_structured_value(first->second));
  return cached;
}

bool body_part_t::answer_quickly(std::string_view path, std::string const& fallback, std::string& answer) {
  std::size_t const dot = path.find('.');
  std::string_view const name = path.substr(0, dot);
  if (dot == path.npos || (name != "content-type" && name != "content-disposition"))
    return false;
  auto const header = content_header(std::string(name));
  std::string_view const component = path.substr(dot + 1);
  if (!header || !is_quick(*header, name, component))
    return false;
  std::string const* const value = value_of(*header, component);
  answer = value ? *value : fallback;
  return true;
}

}  // namespace kel
