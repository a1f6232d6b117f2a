// OpenPGP by way of GnuPG: one run of the external program, what it says about signatures and decryption, and how keys are
// named. These are plain functions on texts; what they make of a message tree is told by `body_part_t`.
//
// GnuPG is the program that the variable PW_GPG names, of the environment or of the preference "environmentVariables", or
// else the first of gpg2 and gpg in PATH. The preference "PwDebugSecurity" traces every run on standard error.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/export.h>

namespace kel {

// The environment that helper programs get: PW_PID (the number of this process), the environment of the process, the
// pairs of the preference "environmentVariables" that are enabled, and PW_GPG. Of two values for a name the first counts.
// What is wrong with the preference gives a warning and is passed over.
KELMIME_EXPORT std::map<std::string, std::string> environment_variables();

// Runs GnuPG once: `args` are the options of the operation, `input` is fed to it, `signature` is a detached signature over
// the input or `unset_string`. `output` becomes what it produced, `status` what it said: its status lines begin with
// "[GNUPG:] ", the others are for people. True when it came to its own end with exit status 0.
//
// Never decide by that or by the presence of output alone: GnuPG hands out the text of a message before it finds out that
// it was tampered with, and it ends well with signatures of expired keys. Read the status lines.
//
// `args` is a piece of a shell script: whatever comes from outside must be quoted in it. When there is no such program,
// nothing is run and the status is "[GNUPG:] MISSING_COMMAND (" and its path. A run that does not come to its own end (it
// was killed, takes more than five minutes, produces more than `limits::decoded_factor` and `decoded_allowance` allow for
// the input) has a last status line INCOMPLETE: what stands before it may be half the truth.
KELMIME_EXPORT bool run_gpg(std::string const& args, std::string_view input, std::string const& signature,
                            std::string& output, std::string& status);

// The lines of the text that begin with the prefix, without it; those that are then empty are left out.
KELMIME_EXPORT std::vector<std::string> lines_with_prefix(std::string_view text, std::string_view prefix);

// Appends the listing of the key (colon format, one record a line) for each VALIDSIG among the status lines: of at most 16
// different keys, one run of GnuPG each. Fingerprints have at least 40 hexadecimal digits; others are passed over.
KELMIME_EXPORT void add_key_to_details(std::vector<std::string>& lines);

// The result keyword of status lines with key details:
//
//    validSignature  badSignature  expiredSignature  expiredSignatureKey  revokedSignatureKey
//    senderMismatch  trustedSignature  missingCommand  decrypted  decryptFailed  noPublicKey
//    untrustedRecipientKey  unknown
//
// This reads the lines one by one, as if they spoke of one signature. For mail from outside `get_security_status` of a part
// looks closer: it asks which line belongs to which signature, and what the signature covers.
KELMIME_EXPORT std::string parse_security_status(std::vector<std::string> const& lines, std::string const& sender);

// Takes the names of keys from the array "map" of the property list "Security.plist" in the directory: dictionaries with
// "address", and "userID" (of an OpenPGP key) or "serial" (of a certificate, hexadecimal; blanks and colons do not count).
// Adds to what is known, for the life of the process. A directory without the file is fine, a file that cannot be read
// gives a warning. Call it before the maps are used by other threads.
KELMIME_EXPORT void setup_gpg_smime_map(std::string const& directory);

// The user ID by which GnuPG finds the key of an address: the mapped one, or else the address in angle brackets, which
// GnuPG takes for the whole address and not for a piece of one. Addresses differ in more than ASCII letter case.
KELMIME_EXPORT std::string map_address_to_gpg_name(std::string const& address);

// The mapped serial number of the certificate of an address; empty when there is none.
KELMIME_EXPORT std::string map_address_to_smime_serial(std::string const& address);

// Whether a status code, of the system (an error number) or of the library that does the cryptography, is 0. Otherwise
// `message` tells of it, in one line.
KELMIME_EXPORT bool not_an_error(int code, std::string& message);

// Appends the text for quoting: without the lines that frame a clear-signed block (RFC 4880 section 7) and without its
// signature. Every line gets a line feed. Dash-escaped lines stay as they are.
KELMIME_EXPORT void pgp_stripped_copy(char const* begin, char const* end, std::string& out);

}  // namespace kel
