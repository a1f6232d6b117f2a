// Runs of GnuPG with bounds of the caller's.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <kel/run_command.h>

namespace kel {

// As `run_gpg` of <kelmime/openpgp.h>, within these limits.
bool run_gpg(std::string const& args, std::string_view input, std::string const& signature, std::string& output,
             std::string& status, command_limits_t const& limits);

// As `add_key_to_details` of <kelmime/openpgp.h>, with at most so many runs. Answers how many there were.
std::size_t add_key_to_details(std::vector<std::string>& lines, std::size_t most_runs);

// The first fingerprint of a VALIDSIG line: that of the key, or subkey, which signed. Empty for any other line, and for
// one without at least 40 hexadecimal digits.
std::string_view valid_signature_fingerprint(std::string_view line);

}  // namespace kel
