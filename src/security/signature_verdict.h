// What the status lines of one run prove.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kel {

// Where status lines come from. GnuPG leaves it to us whether the key belongs to the sender; the S/MIME engine looks
// itself, and says TRUST_FULLY only of a signer whose certificate names the sender.
enum class signature_engine_t { openpgp, smime };

// The keyword of `parse_security_status`, after a closer look. `lines` are the status lines of one run and the key details;
// `senders` the addresses of the From field, read before any encoded word in it was decoded. A good word is a promise:
//
//   - lines are cut into the blocks of the signatures that they tell of. The first one with a result decides, by its own
//     lines and by the user IDs of its own key alone; and with more than one "validSignature" is the best result;
//   - user IDs that are revoked, expired or invalid do not count, nor, beside one that is fully or ultimately valid, the
//     others;
//   - "trustedSignature" takes exactly one sender, and with OpenPGP a user ID that names that address;
//   - a good signature of OpenPGP has a GOODSIG and a VALIDSIG line;
//   - what was decrypted is nothing when `is_decrypted` denies it: "decryptFailed", whatever the signature;
//   - after a run that did not come to its own end no good word is said.
std::string signature_verdict(std::vector<std::string> const& lines, std::vector<std::string> const& senders,
                              signature_engine_t engine);

// Whether a keyword is a promise.
bool is_good(std::string_view keyword);

// Whether the output of a run is the decrypted text: the lines say DECRYPTION_OKAY, neither DECRYPTION_FAILED nor BADMDC,
// and are complete. Of a message that was tampered with the output comes before these words.
bool is_decrypted(std::vector<std::string> const& lines);

// Whether one of the signatures is of text and not of bytes, by the class in its VALIDSIG line. GnuPG then reads what was
// signed line by line.
bool is_over_text(std::vector<std::string> const& lines);

}  // namespace kel
