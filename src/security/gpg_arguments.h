// The options of GnuPG for protecting an entity, and the digest that it took for a signature.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kel {

struct gpg_people_t {
  std::string sender;
  std::vector<std::string> to;
  std::vector<std::string> cc;
  std::vector<std::string> bcc;  // not named in the ciphertext
};

// The options for the level "sign", "encrypt" or "signAndEncrypt". `micalg` is the parameter of that name of the part,
// such as "pgp-sha256"; it counts when the preference "PwOpenPGPHashFunction" is set. One that names no digest counts as
// SHA-256. Nothing when an address or the user ID that it is mapped to cannot be an argument (it holds NUL, CR or LF).
std::optional<std::string> gpg_arguments(std::string_view level, gpg_people_t const& people, std::string_view micalg);

// The digest of this number (RFC 4880, section 9.4), such as "sha256"; empty when it is not known.
std::string gpg_hash_name(long number);

// The digest of the signature that a run made, by its status: "sha256" and the like, as it stands after "pgp-" in a
// micalg parameter. Without a word about it, or with one that is not known, which gives a warning, it is "sha256".
std::string gpg_hash_name(std::string_view status);

}  // namespace kel
