#include <kel/preferences.h>

#include <cstdio>
#include <mutex>
#include <utility>

#include <kel/path.h>

#include "user_folders.h"

namespace kel::preferences {

namespace {

plist::dictionary_t read_file(std::string const& path) {
  if (!path::exists(path))
    return {};
  plist::parsed_t parsed = plist::parse(path::content(path));
  if (parsed.error) {
    std::fprintf(stderr, "Warning: Unable to parse '%s': line %zu, column %zu: %s\n", path.c_str(), parsed.error->line,
                 parsed.error->column, parsed.error->message.c_str());
  } else if (!parsed.value.dictionary()) {
    std::fprintf(stderr, "Warning: '%s' does not hold a dictionary\n", path.c_str());
  } else {
    return std::move(*parsed.value.dictionary());
  }
  return {};
}

struct store_t {
  std::mutex mutex;
  plist::dictionary_t set_values;
  std::optional<plist::dictionary_t> file;
  plist::dictionary_t defaults{ { "PwOpenPGPHashFunction", "sha256" } };
};

store_t& store() {
  static store_t store;
  return store;
}

}  // namespace

std::optional<plist::value_t> value(std::string_view key) {
  store_t& all = store();
  std::lock_guard const lock(all.mutex);
  if (!all.file)
    all.file = read_file(path::join(user_folder("XDG_CONFIG_HOME", ".config"), "preferences.plist"));
  for (plist::dictionary_t const* values : { &all.set_values, &*all.file, &all.defaults }) {
    if (plist::value_t const* const found = plist::find(*values, key))
      return *found;
  }
  return std::nullopt;
}

bool boolean(std::string_view key, bool fallback) {
  auto const found = value(key);
  return found ? plist::boolean_of(*found).value_or(fallback) : fallback;
}

std::string string(std::string_view key, std::string_view fallback) {
  auto const found = value(key);
  return found && found->text() ? *found->text() : std::string(fallback);
}

std::vector<std::string> strings(std::string_view key) {
  auto const found = value(key);
  return found ? plist::strings_of(*found) : std::vector<std::string>();
}

void set(std::string_view key, plist::value_t value) {
  std::lock_guard const lock(store().mutex);
  store().set_values.insert_or_assign(std::string(key), std::move(value));
}

void reset() {
  std::lock_guard const lock(store().mutex);
  store().set_values.clear();
  store().file.reset();
}

void register_default(std::string_view key, plist::value_t value) {
  std::lock_guard const lock(store().mutex);
  store().defaults.insert_or_assign(std::string(key), std::move(value));
}

}  // namespace kel::preferences
