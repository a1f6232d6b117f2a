// The application on whose behalf the library works.
#pragma once

#include <string>
#include <string_view>

namespace kel {

class application_t {
public:
  static std::string name();  // "Postwick"

  // As the application told us with `set_version`; both are empty until then. May be called from any thread.
  static std::string version();
  static std::string revision();
  static void set_version(std::string_view version, std::string_view revision);

  // Where the user's files of the application are: $XDG_DATA_HOME/postwick, or ~/.local/share/postwick. The folder need
  // not exist.
  static std::string support_folder();

  // The program that runs.
  static std::string path();
};

}  // namespace kel
