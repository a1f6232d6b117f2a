#include <kelmime/openpgp.h>

#include <unistd.h>
#include <optional>

#include <kel/environment.h>
#include <kel/preferences.h>
#include <kel/text.h>
#include <base/fatal.h>

namespace kel {

namespace {

using variables_t = std::map<std::string, std::string>;

// Only what is complete and switched on counts.
void add_enabled(plist::dictionary_t const& entry, variables_t& variables) {
  plist::value_t const* const name = plist::find(entry, "name");
  plist::value_t const* const value = plist::find(entry, "value");
  if (name && name->text() && value && value->text() && plist::get_boolean(entry, "enabled"))
    variables.emplace(*name->text(), *value->text());
}

void add_preferred(variables_t& variables) {
  std::optional<plist::value_t> const preferred = preferences::value("environmentVariables");
  if (!preferred)
    return;
  if (!preferred->array())
    return warning("environmentVariables is not an array\n");
  for (plist::value_t const& element : *preferred->array()) {
    if (element.dictionary())
      add_enabled(*element.dictionary(), variables);
    else
      warning("Non-dictionary element in environmentVariables\n");
  }
}

}  // namespace

variables_t environment_variables() {
  variables_t variables = { { "PW_PID", text::format("%d", getpid()) } };
  variables.merge(basic_environment());
  add_preferred(variables);
  variables.emplace("PW_GPG", "/usr/local/MacGPG2/bin/gpg2");
  return variables;
}

}  // namespace kel
