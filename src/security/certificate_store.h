// The certificate folder: whose certificates are there, and which one is meant.
#pragma once

#include <kelmime/smime.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kel {

// Each folder is read when it is first asked for, so that passphrases are asked for once; a store is made for one
// operation, or for all of one message. Certificates stand in the order of
// the names of their files.
class certificate_store_t {
public:
  certificate_store_t();

  // All certificates of the folder, with their private keys where those are known.
  std::vector<certificate_t> const& identities() { return folder("identities", _identities); }
  std::vector<certificate_t> const& certificates() { return folder("certificates", _certificates); }
  std::vector<certificate_t> const& authorities() { return folder("authorities", _authorities); }
  std::vector<certificate_t> const& preferred() { return folder("preferred", _preferred); }

private:
  using folder_t = std::optional<std::vector<certificate_t>>;

  std::vector<certificate_t> const& folder(char const* name, folder_t& content) const;

  std::string _path;
  folder_t _identities;
  folder_t _certificates;
  folder_t _authorities;
  folder_t _preferred;
};

// --- Choices ------------------------------------------------------------------------------- certificate_choice.cc

// As `KelSecCopyIdentity` and `find_certificate`.
std::optional<certificate_t> identity_for(std::string const& address, certificate_store_t& store, std::string& status);
std::optional<certificate_t> certificate_for(std::string const& address, certificate_store_t& store,
                                             std::string& status);

// The certificates with a private key, preferred ones too; and those of them that list the address.
std::vector<certificate_t> own_identities(certificate_store_t& store);
std::vector<certificate_t> identities_of(std::string const& address, certificate_store_t& store);

// The form in which addresses are compared: lower case, the domain as the network has it.
std::string comparable_address(std::string_view address);

bool lists_address(certificate_t const& certificate, std::string const& address);

// --- Messages --------------------------------------------------------------------------------------------- smime.cc

// As `cms_decrypt` of <kelmime/smime.h>, with the certificates of this store.
trust_result_t cms_decrypt(std::string const& address, std::string_view message, std::string const& detached,
                           certificate_store_t& store, std::string& output, std::string& status);

}  // namespace kel
