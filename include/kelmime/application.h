// What the application tells the library about itself, once, before it reads mail.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <kelmime/export.h>

namespace kel {

// Gives a preference its value for the rest of the process. It wins over the user's property list
// $XDG_CONFIG_HOME/postwick/preferences.plist, which wins over the defaults. Some preferences are read once and kept, so
// set them first. docs/preferences.md lists the keys. May be called from any thread.
KELMIME_EXPORT void set_preference(std::string_view key, bool value);
KELMIME_EXPORT void set_preference(std::string_view key, char const* value);
KELMIME_EXPORT void set_preference(std::string_view key, std::string const& value);
KELMIME_EXPORT void set_preference(std::string_view key, std::vector<std::string> const& values);

// The version and revision that written messages name.
KELMIME_EXPORT void set_application_version(std::string_view version, std::string_view revision);

}  // namespace kel
