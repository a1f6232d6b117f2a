// Reading of status lines as they stand, one after the other.
#include <kelmime/openpgp.h>

#include <algorithm>
#include <cstring>
#include <span>

#include <kel/text.h>
#include <kelmime/unset.h>
#include <security/cms.h>
#include <security/user_ids.h>

namespace kel {

namespace {

struct outcome_t {
  std::string_view keyword;
  std::string_view result;
};

constexpr outcome_t signature_outcomes[] = {
  { "GOODSIG", "validSignature" },        { "BADSIG", "badSignature" },           { "EXPSIG", "expiredSignature" },
  { "EXPKEYSIG", "expiredSignatureKey" }, { "REVKEYSIG", "revokedSignatureKey" },
};

constexpr outcome_t other_outcomes[] = {
  { "MISSING_COMMAND", "missingCommand" },    { "DECRYPTION_OKAY", "decrypted" },
  { "DECRYPTION_FAILED", "decryptFailed" },   { "NO_PUBKEY", "noPublicKey" },
  { "INV_RECP 10", "untrustedRecipientKey" },  // 10: the key is not trusted
};

// Of the first line that begins with one of the keywords.
std::string first_outcome(std::vector<std::string> const& lines, std::span<outcome_t const> outcomes) {
  for (std::string const& line : lines) {
    for (outcome_t const& outcome : outcomes) {
      if (line.starts_with(outcome.keyword))
        return std::string(outcome.result);
    }
  }
  return unset_string;
}

bool is_from_sender(std::vector<std::string> const& lines, std::string const& sender) {
  std::set<std::string> const addresses = user_id_addresses(lines);
  return addresses.empty() || addresses.contains(text::lowercase(sender));
}

bool is_trusted(std::vector<std::string> const& lines) {
  return std::ranges::any_of(lines, [](std::string const& line) {
    return line.starts_with("TRUST_FULLY") || line.starts_with("TRUST_ULTIMATE");
  });
}

// The codes of the library behind S/MIME are far above error numbers.
std::string description_of(int code) {
  if (char const* const description = strerrordesc_np(code))
    return description;
  std::string const text = cms::text_of_error(code);
  return text.empty() ? "Unknown error." : text;
}

}  // namespace

std::set<std::string> user_id_addresses(std::vector<std::string> const& lines) {
  std::set<std::string> addresses;
  for (std::string const& line : lines) {
    std::size_t const opening = line.find('<');
    std::size_t const closing = line.rfind('>');
    if (line.starts_with("uid") && opening < closing && closing != line.npos)
      addresses.insert(text::lowercase(std::string_view(line).substr(opening + 1, closing - opening - 1)));
  }
  return addresses;
}

std::vector<std::string> lines_with_prefix(std::string_view text, std::string_view prefix) {
  std::vector<std::string> lines;
  for (std::string const& line : text::split(text, "\n")) {
    if (line.starts_with(prefix) && line.size() > prefix.size())
      lines.push_back(line.substr(prefix.size()));
  }
  return lines;
}

std::string parse_security_status(std::vector<std::string> const& lines, std::string const& sender) {
  std::string result = first_outcome(lines, signature_outcomes);
  if (result == "validSignature" && !is_from_sender(lines, sender))
    result = "senderMismatch";
  if (result == "validSignature" && is_trusted(lines))
    result = "trustedSignature";
  if (result == unset_string)
    result = first_outcome(lines, other_outcomes);
  return result == unset_string ? "unknown" : result;
}

bool not_an_error(int code, std::string& message) {
  if (code == 0)
    return true;
  message = text::format("%s Error code: %d\n", description_of(code).c_str(), code);
  return false;
}

}  // namespace kel
