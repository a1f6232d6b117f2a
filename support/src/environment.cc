#include <kel/environment.h>

#include <unistd.h>
#include <filesystem>
#include <initializer_list>
#include <string_view>

#include <kel/path.h>
#include <kel/text.h>

namespace kel {

namespace {

bool is_program(std::string const& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

// Relative folders in PATH are left out: they would let the current folder choose the program.
std::string find_program(std::string const& folders, std::string_view name) {
  for (std::string const& folder : text::split(folders, ":")) {
    std::string candidate = path::join(folder, name);
    if (folder.starts_with('/') && is_program(candidate))
      return candidate;
  }
  return {};
}

}  // namespace

std::map<std::string, std::string> basic_environment() {
  std::map<std::string, std::string> result;
  for (char** variable = environ; variable && *variable; ++variable) {
    std::string_view const pair = *variable;
    std::size_t const equals = pair.find('=');
    if (equals != pair.npos)
      result.emplace(pair.substr(0, equals), pair.substr(equals + 1));
  }

  std::string const folders = result.contains("PATH") ? result.at("PATH") : "";
  auto const add_helper = [&](char const* variable, std::initializer_list<std::string_view> programs) {
    for (std::string_view const program : programs) {
      std::string const path = find_program(folders, program);
      if (!path.empty())
        result.emplace(variable, path);
    }
  };
  add_helper("PW_GPG", { "gpg2", "gpg" });
  add_helper("PW_TNEF", { "tnef" });
  return result;
}

}  // namespace kel
