// What the preference "PwDebugSecurity" shows of a run, on standard error.
#pragma once

#include <string>
#include <string_view>

namespace kel {

// Shows what it is told while it is on, and does nothing otherwise. Control characters of what is shown are escaped, so
// that a stranger's mail cannot drive a terminal.
class debug_trace_t {
public:
  debug_trace_t();

  // The text as it is.
  void line(std::string_view text) const;

  //  <label> (<number of bytes>): "<the first 200 bytes>..."
  void bytes(char const* label, std::string_view bytes) const;

  //  Result: Success
  void result(bool is_success) const;

  //  Detail: <line>, for each line that is not empty
  void details(std::string_view status) const;

private:
  bool _is_on;
};

}  // namespace kel
