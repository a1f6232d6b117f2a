// The application's preferences. A key is looked up in
//
//   1. the values that were set in this process,
//   2. the property list $XDG_CONFIG_HOME/postwick/preferences.plist (~/.config where the variable is not set),
//   3. the registered defaults; "PwOpenPGPHashFunction" has "sha256" from the start.
//
// The file is read on the first question. A file that is not a property list gives a warning and counts as empty. All
// functions may be called from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kel/plist.h>

namespace kel::preferences {

std::optional<plist::value_t> value(std::string_view key);

// The value as what it should be, or the fallback when there is none or it is of another kind.
bool boolean(std::string_view key, bool fallback = false);
std::string string(std::string_view key, std::string_view fallback = {});
std::vector<std::string> strings(std::string_view key);

// Sets a value for the rest of the process; nothing is written to the file.
void set(std::string_view key, plist::value_t value);

// Forgets all values that were set, and reads the file again on the next question.
void reset();

void register_default(std::string_view key, plist::value_t value);

}  // namespace kel::preferences
