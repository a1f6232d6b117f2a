// Unique identifiers.
#pragma once

#include <array>
#include <string>

namespace kel {

// A random UUID (RFC 4122, version 4).
class uuid_t {
public:
  uuid_t();

  // The 36-character form with hyphens, in upper case.
  std::string to_s() const;

private:
  std::array<unsigned char, 16> _bytes;
};

}  // namespace kel
