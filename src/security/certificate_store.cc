#include <security/certificate_store.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <utility>

#include <kel/application.h>
#include <kel/path.h>
#include <kel/preferences.h>
#include <base/fatal.h>
#include <kelmime/unset.h>
#include <security/cms.h>

namespace kel {

namespace {

constexpr std::uintmax_t largest_file = 1 << 20;

struct callback_t {
  std::mutex mutex;
  passphrase_callback_t function;
};

callback_t& callback() {
  static callback_t callback;
  return callback;
}

std::optional<std::string> passphrase_of(std::string const& path) {
  passphrase_callback_t ask;
  {
    std::lock_guard const lock(callback().mutex);
    ask = callback().function;
  }
  return ask ? ask(path) : std::nullopt;
}

// In the order of their names.
std::vector<std::string> files_in(std::string const& folder) {
  std::vector<std::string> files;
  std::error_code error;
  std::filesystem::directory_iterator entry(folder, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    std::error_code unknown;
    if (!entry->path().filename().native().starts_with('.') && entry->is_regular_file(unknown))
      files.push_back(entry->path().native());
  }
  std::ranges::sort(files);
  return files;
}

cms::file_content_t content_of(std::string const& path) {
  std::error_code error;
  std::string const bytes =
      std::filesystem::file_size(path, error) <= largest_file && !error ? path::content(path) : unset_string;
  return cms::read_certificates(bytes, [&] { return passphrase_of(path); });
}

void give_keys(std::vector<std::shared_ptr<private_key_t const>> const& keys,
               std::vector<certificate_t>& certificates) {
  for (certificate_t& certificate : certificates) {
    auto const key = std::ranges::find(
        keys, certificate.public_key, [](auto const& one) -> auto& { return one->public_key(); });
    if (key != keys.end())
      certificate.private_key = *key;
  }
}

std::vector<certificate_t> read_folder(std::string const& folder) {
  std::vector<certificate_t> certificates;
  std::vector<std::shared_ptr<private_key_t const>> keys;
  for (std::string const& path : files_in(folder)) {
    cms::file_content_t content = content_of(path);
    if (content.is_empty())
      warning("Unable to read certificates of '%s'\n", printable(path).c_str());
    else if (content.has_broken_blocks)
      warning("Unable to read everything in '%s'\n", printable(path).c_str());
    std::ranges::move(content.certificates, std::back_inserter(certificates));
    std::ranges::move(content.keys, std::back_inserter(keys));
  }
  give_keys(keys, certificates);
  return certificates;
}

}  // namespace

void set_passphrase_callback(passphrase_callback_t function) {
  std::lock_guard const lock(callback().mutex);
  callback().function = std::move(function);
}

certificate_store_t::certificate_store_t()
    : _path(preferences::string("PwCertificateFolder", path::join(application_t::support_folder(), "smime"))) {}

std::vector<certificate_t> const& certificate_store_t::folder(char const* name, folder_t& content) const {
  if (!content)
    content = read_folder(path::join(_path, name));
  return *content;
}

}  // namespace kel
