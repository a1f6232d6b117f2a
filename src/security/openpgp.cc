// One run of GnuPG: the script, the file of a detached signature, the trace.
#include <kelmime/openpgp.h>

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include <kel/ascii.h>
#include <kel/path.h>
#include <kel/temporary.h>
#include <kel/text.h>
#include <kelmime/limits.h>
#include <kelmime/unset.h>
#include <security/debug_trace.h>
#include <security/gpg.h>
#include <security/shell_text.h>

namespace kel {

namespace {

constexpr std::size_t keys_in_details = 16;

// Status lines arrive on standard error, between messages for people.
constexpr std::string_view fixed_options = "--no-verbose --batch --no-tty --openpgp --status-fd 2";

std::string joined(std::string_view args) {
  return std::string(fixed_options).append(" ").append(args);
}

// Whoever reads the status must know that it is not all of it.
void tell_problem(std::string const& problem, std::string& status) {
  if (problem.empty())
    return;
  if (!status.empty() && !status.ends_with('\n'))
    status += '\n';
  status += "[GNUPG:] INCOMPLETE (" + problem + ")\n";
}

command_result_t run_script(std::map<std::string, std::string> const& environment, std::string script,
                            std::string_view input, std::string const& signature, std::string& output,
                            std::string& status, command_limits_t const& limits) {
  std::optional<private_folder_t> folder;  // lives until the script has ended
  if (signature != unset_string) {
    folder.emplace("file");
    std::string const path = path::join(folder->path(), "file");
    std::optional<std::string> const quoted = shell_text(path);
    if (!quoted || !folder->write("file.sig", signature))
      return { false, "no file for the signature" };
    script += " \"" + *quoted + ".sig\" -";
  }
  return run_command(environment, script + "\n", input, output, status, limits);
}

bool run_if_it_exists(std::string const& args, std::string_view input, std::string const& signature,
                      std::string& output, std::string& status, command_limits_t const& limits) {
  std::map<std::string, std::string> const environment = environment_variables();
  std::string const& program = environment.at("PW_GPG");
  if (!path::exists(program)) {
    status = "[GNUPG:] MISSING_COMMAND (" + program + ")\n";
    return false;
  }
  command_result_t const result = run_script(environment, "#!/usr/bin/env bash\n\"$PW_GPG\" " + joined(args), input,
                                             signature, output, status, limits);
  tell_problem(result.problem, status);
  return result.is_success;
}

}  // namespace

bool run_gpg(std::string const& args, std::string_view input, std::string const& signature, std::string& output,
             std::string& status, command_limits_t const& limits) {
  debug_trace_t const trace;
  trace.line("OpenPGP");
  trace.line(" gpg2 " + joined(args));
  trace.bytes("Input string", input);
  output.clear();
  status.clear();
  bool const is_success = run_if_it_exists(args, input, signature, output, status, limits);
  trace.result(is_success);
  trace.bytes("Output string", output);
  trace.details(status);
  return is_success;
}

bool run_gpg(std::string const& args, std::string_view input, std::string const& signature, std::string& output,
             std::string& status) {
  command_limits_t bounds;
  bounds.captured_bytes = input.size() * limits::decoded_factor + limits::decoded_allowance;
  return run_gpg(args, input, signature, output, status, bounds);
}

std::string_view valid_signature_fingerprint(std::string_view line) {
  constexpr std::string_view keyword = "VALIDSIG ";
  constexpr std::size_t shortest = 40;
  if (!line.starts_with(keyword))
    return {};
  line.remove_prefix(keyword.size());
  std::string_view const digits = line.substr(0, line.find(' '));
  bool const is_fingerprint = digits.size() >= shortest && digits.size() < line.size() &&
                              std::ranges::all_of(digits, [](char c) { return ascii::hex_value(c) >= 0; });
  return is_fingerprint ? digits : std::string_view();
}

std::size_t add_key_to_details(std::vector<std::string>& lines, std::size_t most_runs) {
  std::set<std::string, std::less<>> listed;
  std::vector<std::string> records;
  for (std::string const& line : lines) {
    std::string const fingerprint(valid_signature_fingerprint(line));
    if (fingerprint.empty() || listed.size() == most_runs || !listed.insert(fingerprint).second)
      continue;
    std::string output, status;
    run_gpg("--with-colons --list-keys --with-fingerprint " + fingerprint, "", unset_string, output, status);
    for (std::string& record : lines_with_prefix(output, ""))
      records.push_back(std::move(record));
  }
  lines.insert(lines.end(), records.begin(), records.end());
  return listed.size();
}

void add_key_to_details(std::vector<std::string>& lines) {
  add_key_to_details(lines, keys_in_details);
}

}  // namespace kel
