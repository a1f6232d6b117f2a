#include <security/signature_verdict.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>

#include <kel/text.h>
#include <kelmime/openpgp.h>
#include <security/gpg.h>
#include <security/status_text.h>
#include <security/user_ids.h>

namespace kel {

namespace {

using lines_t = std::vector<std::string>;

bool is_verdict(std::string_view line) {
  constexpr std::array<std::string_view, 5> verdicts = { "GOODSIG", "BADSIG", "EXPSIG", "EXPKEYSIG", "REVKEYSIG" };
  return std::ranges::any_of(verdicts, [=](std::string_view verdict) { return line.starts_with(verdict); });
}

bool has_verdict(lines_t const& block) {
  return std::ranges::any_of(block, is_verdict);
}

// One to a signature. ERRSIG says that it could not be checked.
bool is_result(std::string_view line) {
  return is_verdict(line) || line.starts_with("ERRSIG");
}

// A record of a key listing begins with its type and a colon, a status line with a word and a blank.
bool is_key_record(std::string_view line) {
  std::size_t const colon = line.find(':');
  return colon != line.npos && colon < line.find(' ');
}

lines_t without_key_records(lines_t lines) {
  std::erase_if(lines, is_key_record);
  return lines;
}

// A block begins with NEWSIG, or with a second result where nobody says NEWSIG. What stands before the first one, such as
// the words about decryption, belongs to it.
std::vector<lines_t> signature_blocks(lines_t const& lines) {
  std::vector<lines_t> blocks;
  bool has_opening = false;
  bool has_result = false;
  for (std::string const& line : lines) {
    bool const is_opening = line.starts_with("NEWSIG");
    if (blocks.empty() || (is_opening && (has_opening || has_result)) || (is_result(line) && has_result)) {
      blocks.emplace_back();
      has_opening = has_result = false;
    }
    has_opening = has_opening || is_opening;
    has_result = has_result || is_result(line);
    blocks.back().push_back(line);
  }
  return blocks;
}

struct user_id_t {
  char validity;
  std::string record;
};

// The user IDs of the key that has this fingerprint, or a subkey that has it.
std::vector<user_id_t> user_ids(lines_t const& lines, std::string_view fingerprint) {
  std::vector<user_id_t> found, of_this_key;
  bool is_wanted = false;
  auto const finish_key = [&] {
    if (is_wanted)
      found.insert(found.end(), of_this_key.begin(), of_this_key.end());
    of_this_key.clear();
    is_wanted = false;
  };
  for (std::string const& line : lines) {
    lines_t const fields = text::split(line, ":");
    constexpr std::size_t validity = 1, user_id = 9;
    if (fields[0] == "pub")
      finish_key();
    if (fields.size() <= user_id)
      continue;
    is_wanted = is_wanted || (fields[0] == "fpr" && fields[user_id] == fingerprint);
    if (fields[0] == "uid")
      of_this_key.push_back({ fields[validity].empty() ? '-' : fields[validity][0], line });
  }
  finish_key();
  return found;
}

bool is_certified(user_id_t const& id) {
  return id.validity == 'f' || id.validity == 'u';
}

// Anybody may write any address into a key of his own: what others vouch for counts before what nobody does.
lines_t usable_user_ids(lines_t const& lines, std::string_view fingerprint) {
  std::vector<user_id_t> ids = user_ids(lines, fingerprint);
  std::erase_if(
      ids, [](user_id_t const& id) { return std::string_view("rei").find(id.validity) != std::string_view::npos; });
  if (std::ranges::any_of(ids, is_certified))
    std::erase_if(ids, std::not_fn(is_certified));
  lines_t records;
  for (user_id_t const& id : ids)
    records.push_back(id.record);
  return records;
}

std::string_view fingerprint_in(lines_t const& block) {
  for (std::string const& line : block) {
    std::string_view const fingerprint = valid_signature_fingerprint(line);
    if (!fingerprint.empty())
      return fingerprint;
  }
  return {};
}

// A sender that the key names is better than one that it does not.
std::string verdict_for_senders(lines_t const& evidence, lines_t const& senders) {
  std::string verdict = parse_security_status(evidence, senders.empty() ? "" : senders[0]);
  for (std::string const& sender : senders) {
    if (verdict == "senderMismatch")
      verdict = parse_security_status(evidence, sender);
  }
  return verdict;
}

std::string verdict_of_block(lines_t evidence, lines_t const& records, lines_t const& senders,
                             signature_engine_t engine) {
  bool is_signer_known = engine == signature_engine_t::smime;
  if (engine == signature_engine_t::openpgp) {
    std::string const fingerprint(fingerprint_in(evidence));
    if (has_line(evidence, "GOODSIG") && fingerprint.empty())
      return "unknown";
    lines_t const ids = usable_user_ids(records, fingerprint);
    is_signer_known = !user_id_addresses(ids).empty();
    evidence.insert(evidence.end(), ids.begin(), ids.end());
  }
  std::string const verdict = verdict_for_senders(evidence, senders);
  bool const is_attributed = is_signer_known && senders.size() == 1;
  return verdict == "trustedSignature" && !is_attributed ? "validSignature" : verdict;
}

bool is_decryption_denied(lines_t const& lines) {
  bool const is_begun =
      has_line(lines, "BEGIN_DECRYPTION") || has_line(lines, "DECRYPTION_FAILED") || has_line(lines, "BADMDC");
  return is_begun && !is_decrypted(lines);
}

}  // namespace

bool is_good(std::string_view keyword) {
  return keyword == "trustedSignature" || keyword == "validSignature" || keyword == "decrypted";
}

bool is_decrypted(lines_t const& lines) {
  return has_line(lines, "DECRYPTION_OKAY") && !has_line(lines, "DECRYPTION_FAILED") && !has_line(lines, "BADMDC") &&
         !has_line(lines, "INCOMPLETE");
}

bool is_over_text(lines_t const& lines) {
  constexpr std::size_t signature_class = 9;
  return std::ranges::any_of(lines, [](std::string const& line) {
    lines_t const words = text::split(line, " ");
    return words[0] == "VALIDSIG" && words.size() > signature_class && words[signature_class] != "00";
  });
}

std::string signature_verdict(lines_t const& lines, lines_t const& senders, signature_engine_t engine) {
  if (is_decryption_denied(lines))
    return "decryptFailed";
  lines_t const of_status = without_key_records(lines);
  std::vector<lines_t> const blocks = signature_blocks(of_status);
  auto const deciding = std::ranges::find_if(blocks, has_verdict);
  std::string const verdict = deciding == blocks.end() ? parse_security_status(of_status, "")
                                                       : verdict_of_block(*deciding, lines, senders, engine);
  if (is_good(verdict) && has_line(lines, "INCOMPLETE"))
    return "unknown";
  return verdict == "trustedSignature" && blocks.size() > 1 ? "validSignature" : verdict;
}

}  // namespace kel
