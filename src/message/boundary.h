// Boundaries of our own.
#pragma once

#include <string>

#include <kel/uuid.h>

namespace kel {

// A boundary that no content can hold: it is random, and its "=_" stands in no quoted-printable text and in no base64.
inline std::string new_boundary() {
  return "=_Postwick_" + uuid_t().to_s() + "_=";
}

}  // namespace kel
