// Which certificate is meant by an address.
//
// A user who has had certificates for years keeps the old ones, to read old mail, and may have one for signing and one for
// encrypting. So what holds today and may do what is wanted comes first; the rest stands behind it, since a certificate
// that is only old is better than none.
#include <security/certificate_store.h>

#include <algorithm>
#include <ctime>

#include <kel/ascii.h>
#include <kel/text.h>
#include <kelmime/bytes.h>
#include <kelmime/idn_wrapper.h>
#include <kelmime/openpgp.h>
#include <security/debug_trace.h>
#include <security/status_text.h>

namespace kel {

namespace {

using usage_t = bool certificate_t::*;
using candidates_t = std::vector<certificate_t const*>;

bool holds_today(certificate_t const& certificate) {
  std::int64_t const now = std::time(nullptr);
  return certificate.not_before <= now && now <= certificate.not_after;
}

void add_candidates(std::vector<certificate_t> const& certificates, std::string const& address,
                    candidates_t& candidates) {
  for (certificate_t const& certificate : certificates) {
    if (lists_address(certificate, address))
      candidates.push_back(&certificate);
  }
}

void put_usable_first(candidates_t& candidates, usage_t usage) {
  std::stable_partition(candidates.begin(), candidates.end(),
                        [&](certificate_t const* one) { return one->*usage && holds_today(*one); });
}

candidates_t candidates_in(std::vector<certificate_t> const& certificates, std::string const& address, usage_t usage) {
  candidates_t candidates;
  add_candidates(certificates, address, candidates);
  put_usable_first(candidates, usage);
  return candidates;
}

std::string_view without_leading_zeros(std::string_view digits) {
  return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
}

bool is_same_serial(std::string_view serial, std::string_view mapped) {
  return ascii::iequals(without_leading_zeros(serial), without_leading_zeros(mapped));
}

// The certificate with a private key, which may be that of an equal one among the identities.
certificate_t const* with_key(certificate_t const& certificate, std::vector<certificate_t> const& identities) {
  if (certificate.private_key)
    return &certificate;
  auto const same = std::ranges::find_if(identities, [&](certificate_t const& identity) {
    return identity.private_key && identity.der == certificate.der;
  });
  return same == identities.end() ? nullptr : &*same;
}

// A preference holds for what the certificate may do: it may be one of a pair.
candidates_t preferred_for(std::string const& address, certificate_store_t& store, usage_t usage) {
  candidates_t candidates = candidates_in(store.preferred(), address, usage);
  std::erase_if(candidates, [=](certificate_t const* one) { return !(one->*usage); });
  return candidates;
}

certificate_t const* preferred_identity(std::string const& address, certificate_store_t& store) {
  for (certificate_t const* const preferred : preferred_for(address, store, &certificate_t::may_sign)) {
    if (certificate_t const* const identity = with_key(*preferred, store.identities()))
      return identity;
  }
  return nullptr;
}

certificate_t const* first_identity(std::string const& address, certificate_store_t& store) {
  std::string const mapped = map_address_to_smime_serial(address);
  for (certificate_t const* const identity : candidates_in(store.identities(), address, &certificate_t::may_sign)) {
    if (identity->private_key && (mapped.empty() || is_same_serial(identity->serial, mapped)))
      return identity;
  }
  return nullptr;
}

// The first of the candidates, with what a person who wonders wants to see.
certificate_t const* first_of(candidates_t const& candidates, std::string const& address) {
  debug_trace_t const trace;
  trace.line(text::format(" Found %zu candidate(s)", candidates.size()));
  std::string const wanted = comparable_address(address);
  for (certificate_t const* const candidate : candidates) {
    trace.line(text::format("  Certificate has %zu email address(es)", candidate->addresses.size()));
    for (std::string const& one : candidate->addresses) {
      std::string const comparable = comparable_address(one);
      trace.line("  Comparing '" + comparable + "' with '" + wanted + "'");
      trace.line("Serial: 0x" + candidate->serial);
      if (comparable == wanted) {
        trace.line("  Found match (" + one + ")");
        return candidate;
      }
    }
  }
  return nullptr;
}

}  // namespace

// Domains of ASCII are as the network has them.
std::string comparable_address(std::string_view address) {
  if (std::ranges::none_of(address, is_high))
    return text::lowercase(address);
  return text::lowercase(idn::header_domains_to_ascii(address));
}

bool lists_address(certificate_t const& certificate, std::string const& address) {
  std::string const wanted = comparable_address(address);
  return std::ranges::any_of(certificate.addresses,
                             [&](std::string const& one) { return comparable_address(one) == wanted; });
}

std::vector<certificate_t> own_identities(certificate_store_t& store) {
  std::vector<certificate_t> own = store.identities();
  own.insert(own.end(), store.preferred().begin(), store.preferred().end());
  std::erase_if(own, [](certificate_t const& one) { return !one.private_key; });
  return own;
}

std::vector<certificate_t> identities_of(std::string const& address, certificate_store_t& store) {
  std::vector<certificate_t> own = own_identities(store);
  std::erase_if(own, [&](certificate_t const& one) { return !lists_address(one, address); });
  return own;
}

std::optional<certificate_t> identity_for(std::string const& address, certificate_store_t& store, std::string& status) {
  certificate_t const* identity = preferred_identity(address, store);
  if (!identity)
    identity = first_identity(address, store);
  if (identity)
    return *identity;
  status += "Failed to find identity to sign for " + in_one_line(address) + ".\n";
  return std::nullopt;
}

std::optional<certificate_t> certificate_for(std::string const& address, certificate_store_t& store,
                                             std::string& status) {
  debug_trace_t().line("Searching for certificate for " + address);
  candidates_t const preferred = preferred_for(address, store, &certificate_t::may_encrypt);
  if (!preferred.empty())
    return *preferred.front();
  candidates_t candidates;
  add_candidates(store.certificates(), address, candidates);
  add_candidates(store.identities(), address, candidates);
  put_usable_first(candidates, &certificate_t::may_encrypt);
  if (certificate_t const* const found = first_of(candidates, address))
    return *found;
  status += "Failed to find certificate to encrypt for " + in_one_line(address) + ".\n";
  return std::nullopt;
}

std::optional<certificate_t> KelSecCopyIdentity(std::string const& address, std::string& status) {
  certificate_store_t store;
  return identity_for(address, store, status);
}

std::optional<certificate_t> find_certificate(std::string const& address, std::string& status) {
  certificate_store_t store;
  return certificate_for(address, store, status);
}

}  // namespace kel
