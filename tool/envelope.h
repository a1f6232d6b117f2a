// What the main headers of a message say: who, to whom, when, in answer to what.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/body.h>

namespace kel::tool {

struct address_t {
  std::string name;   // empty when none is given
  std::string email;  // empty for an empty group
};

// The elements of an address header in message order; nothing when the header is not there.
std::optional<std::vector<address_t>> addresses_of(body_part_t& part, std::string const& header);

// The message IDs in a header, without their angle brackets; nothing when the header is not there.
std::optional<std::vector<std::string>> ids_of(body_part_t& part, std::string const& header);

// A date of the form "2024-01-01 10:20:30 +0200" as ISO 8601 writes it, "2024-01-01T10:20:30+02:00"; nothing for a text that is
// no such date or names a day or a zone that no calendar has.
std::optional<std::string> iso_date(std::string_view canonical);

}  // namespace kel::tool
