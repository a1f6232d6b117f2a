#include "user_folders.h"

#include <pwd.h>
#include <unistd.h>
#include <array>
#include <cstdlib>
#include <string_view>

#include <kel/path.h>

namespace kel {

namespace {

std::string absolute_path_in(char const* variable) {
  char const* const value = std::getenv(variable);
  return value && std::string_view(value).starts_with('/') ? value : "";
}

std::string home() {
  std::string folder = absolute_path_in("HOME");
  if (!folder.empty())
    return folder;
  std::array<char, 4096> buffer;
  passwd entry;
  passwd* found = nullptr;
  getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
  return found ? found->pw_dir : "/";
}

}  // namespace

std::string user_folder(char const* variable, char const* folder_in_home) {
  std::string const folder = absolute_path_in(variable);
  return path::join(folder.empty() ? path::join(home(), folder_in_home) : folder, "postwick");
}

}  // namespace kel
