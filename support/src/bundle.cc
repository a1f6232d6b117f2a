#include <kel/bundle.h>

#include <dlfcn.h>
#include <cstdlib>
#include <filesystem>

#include <kel/path.h>

namespace kel::bundle {

namespace {

namespace fs = std::filesystem;

// Lies in the shared library, or in the program that the library was linked into.
char const own_byte = 0;

bool is_folder(fs::path const& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

// share/kelmime beside the folder of the library, or beside that folder's parent; symbolic links are resolved first.
fs::path installed_resources() {
  Dl_info info;
  if (!dladdr(&own_byte, &info) || !info.dli_fname)
    return {};
  std::error_code error;
  fs::path const folder = fs::canonical(info.dli_fname, error).parent_path();
  for (fs::path const& prefix : { folder.parent_path(), folder.parent_path().parent_path() }) {
    if (!error && is_folder(prefix / "share" / "kelmime"))
      return prefix / "share" / "kelmime";
  }
  return {};
}

fs::path resource_folder() {
  if (char const* const named = secure_getenv("KELMIME_RESOURCES"))
    return named;
  static fs::path const installed = installed_resources();
  return installed.empty() ? fs::path(KELMIME_BUILD_RESOURCES) : installed;
}

}  // namespace

std::optional<std::string> resource(std::string_view name, std::string_view type) {
  std::string const path = path::join(resource_folder().string(), std::string(name) + "." + std::string(type));
  return path::exists(path) ? std::optional(path) : std::nullopt;
}

}  // namespace kel::bundle
