#include <kelmime/application.h>

#include <kel/application.h>
#include <kel/preferences.h>

namespace kel {

void set_preference(std::string_view key, bool value) {
  preferences::set(key, value);
}

void set_preference(std::string_view key, char const* value) {
  preferences::set(key, value);
}

void set_preference(std::string_view key, std::string const& value) {
  preferences::set(key, value);
}

void set_preference(std::string_view key, std::vector<std::string> const& values) {
  preferences::set(key, plist::array_t(values.begin(), values.end()));
}

void set_application_version(std::string_view version, std::string_view revision) {
  application_t::set_version(version, revision);
}

}  // namespace kel
