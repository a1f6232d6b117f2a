// The line ends of an entity that comes out of an envelope.
#pragma once

#include <string>
#include <string_view>

namespace kel {

// A decrypted entity in the form of the library. Its lines may end in CR LF, and get bare line feeds; but what its header
// declares as "binary" are no lines (RFC 2045, section 2.9), so that then only the header does.
std::string entity_with_lf(std::string_view entity);

// Where the body of an entity begins, in either form.
std::size_t body_offset(std::string_view entity);

}  // namespace kel
