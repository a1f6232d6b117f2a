#include "envelope.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <kelmime/header_parser.h>

#include "outline.h"

namespace kel::tool {

namespace {

std::string value_in(std::string const& path, std::string const& element) {
  std::string value = header_parser::parse_from_header(path, element);
  return value == unset_string ? std::string() : value;
}

}  // namespace

std::optional<std::vector<address_t>> addresses_of(body_part_t& part, std::string const& header) {
  if (!part.exists_header(header))
    return {};
  std::vector<address_t> addresses;
  std::string const list = header + ".split";
  // Name and address are asked for element by element, since an element without a name has no place in a list of names.
  for (auto const& element : values_of(part, list))
    addresses.push_back({ value_in(list + ".name", element), value_in(list + ".address", element) });
  return addresses;
}

std::optional<std::vector<std::string>> ids_of(body_part_t& part, std::string const& header) {
  if (!part.exists_header(header))
    return {};
  std::vector<std::string> ids;
  for (auto const& value : values_of(part, header))
    for (auto const& id : header_parser::parse_all_from_header("references.split", value))
      ids.push_back(without_brackets(id));
  return ids;
}

std::optional<std::string> iso_date(std::string_view canonical) {
  int year = 0, hour = 0, minute = 0, second = 0, zone = 0;
  unsigned month = 0, day = 0;
  std::string const text(canonical);
  if (std::sscanf(text.c_str(), "%4d-%2u-%2u %2d:%2d:%2d %5d", &year, &month, &day, &hour, &minute, &second, &zone) !=
      7)
    return {};

  std::chrono::year_month_day const date{ std::chrono::year(year), std::chrono::month(month), std::chrono::day(day) };
  int const zone_minutes = std::abs(zone) / 100 * 60 + std::abs(zone) % 100;
  if (!date.ok() || zone_minutes >= 24 * 60)
    return {};

  std::array<char, 64> buffer;
  std::snprintf(buffer.data(), buffer.size(), "%04d-%02u-%02uT%02d:%02d:%02d%c%02d:%02d", year, month, day, hour,
                minute, second, zone < 0 ? '-' : '+', zone_minutes / 60, zone_minutes % 60);
  return buffer.data();
}

}  // namespace kel::tool
