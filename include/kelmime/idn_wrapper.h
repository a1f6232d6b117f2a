// Internationalised domain names in address headers (RFC 5890).
//
// Only domains are touched: what follows an "@" outside quoted strings and comments. A domain of more than 255 bytes,
// or one that does not convert, is kept as it is.
#pragma once

#include <string>
#include <string_view>

#include <kelmime/export.h>

namespace kel::idn {

// Whether a domain of the header value has a label in ACE form, "xn--...".
KELMIME_EXPORT bool is_encoded(std::string_view value);

// The value with readable domains: "a@xn--mnchen-3ya.de" becomes "a@münchen.de". A label stays in ACE form unless its
// readable form is valid and leads back to it; so it can never bring a comma, a bracket or an invisible character.
KELMIME_EXPORT std::string header_domains_to_utf8(std::string_view value);

// The value with domains for the network: "a@münchen.de" becomes "a@xn--mnchen-3ya.de".
KELMIME_EXPORT std::string header_domains_to_ascii(std::string_view value);

}  // namespace kel::idn
