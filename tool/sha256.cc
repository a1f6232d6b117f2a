#include "sha256.h"

#include <array>
#include <cstdlib>

#include <openssl/evp.h>

namespace kel::tool {

std::string sha256(std::string_view bytes) {
  // Fetched once: looking an algorithm up costs more than hashing a small part.
  static EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  if (!EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, algorithm, nullptr))
    std::abort();  // an OpenSSL without SHA-256, or no memory left

  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (unsigned i = 0; i < size; ++i) {
    text += digits[digest[i] >> 4];
    text += digits[digest[i] & 15];
  }
  return text;
}

}  // namespace kel::tool
