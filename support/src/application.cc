#include <kel/application.h>

#include <filesystem>
#include <mutex>

#include "user_folders.h"

namespace kel {

namespace {

struct identity_t {
  std::mutex mutex;
  std::string version;
  std::string revision;
};

identity_t& identity() {
  static identity_t identity;
  return identity;
}

}  // namespace

std::string application_t::name() {
  return "Postwick";
}

std::string application_t::version() {
  std::lock_guard const lock(identity().mutex);
  return identity().version;
}

std::string application_t::revision() {
  std::lock_guard const lock(identity().mutex);
  return identity().revision;
}

void application_t::set_version(std::string_view version, std::string_view revision) {
  std::lock_guard const lock(identity().mutex);
  identity().version = version;
  identity().revision = revision;
}

std::string application_t::support_folder() {
  return user_folder("XDG_DATA_HOME", ".local/share");
}

std::string application_t::path() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

}  // namespace kel
