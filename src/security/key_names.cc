// Which key belongs to an address, where the user says so.
#include <kelmime/openpgp.h>

#include <optional>

#include <kel/path.h>
#include <kel/plist.h>
#include <kel/text.h>
#include <base/fatal.h>
#include <security/debug_trace.h>

namespace kel {

namespace {

struct key_names_t {
  std::map<std::string, std::string> gpg;    // lower-cased address to user ID
  std::map<std::string, std::string> smime;  // lower-cased address to serial number
};

key_names_t& key_names() {
  static key_names_t names;
  return names;
}

std::optional<std::string> mapped(std::map<std::string, std::string> const& names, std::string const& address) {
  auto const found = names.find(text::lowercase(address));
  return found == names.end() ? std::nullopt : std::optional(found->second);
}

std::string without_separators(std::string serial) {
  std::erase_if(serial, [](char c) { return c == ' ' || c == '\t' || c == ':'; });
  return serial;
}

void add(plist::dictionary_t const& entry) {
  std::string const address = plist::get_string(entry, "address");
  std::string const user_id = plist::get_string(entry, "userID");
  std::string const serial = without_separators(plist::get_string(entry, "serial"));
  if (!user_id.empty()) {
    key_names().gpg[text::lowercase(address)] = user_id;
    debug_trace_t().line("Setup mapping of GPG address “" + address + "” to user ID: “" + user_id + "”");
  }
  if (!serial.empty())
    key_names().smime[text::lowercase(address)] = serial;
}

}  // namespace

void setup_gpg_smime_map(std::string const& directory) {
  std::string const path = path::join(directory, "Security.plist");
  if (!path::exists(path))
    return;
  plist::parsed_t const parsed = plist::parse(path::content(path));
  if (parsed.error)
    return warning("Unable to parse '%s': line %zu, column %zu: %s\n", path.c_str(), parsed.error->line,
                   parsed.error->column, parsed.error->message.c_str());
  if (!parsed.value.dictionary())
    return warning("'%s' does not hold a dictionary\n", path.c_str());
  for (plist::value_t const& entry : plist::get_array(*parsed.value.dictionary(), "map")) {
    if (entry.dictionary())
      add(*entry.dictionary());
  }
}

std::string map_address_to_gpg_name(std::string const& address) {
  std::optional<std::string> const user_id = mapped(key_names().gpg, address);
  if (!user_id)
    return "<" + address + ">";
  debug_trace_t().line("Mapping GPG address “" + address + "” to user ID: “" + *user_id + "”");
  return *user_id;
}

std::string map_address_to_smime_serial(std::string const& address) {
  std::optional<std::string> const serial = mapped(key_names().smime, address);
  if (!serial)
    return "";
  debug_trace_t().line("Mapping address “" + address + "” to user certificate serial: “" + *serial + "”");
  return *serial;
}

}  // namespace kel
