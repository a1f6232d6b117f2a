#include <kel/timer.h>

#include <cstdio>

#include <kel/preferences.h>

namespace kel {

timer_t::timer_t(std::string_view label) : _is_on(preferences::boolean("PwDebugTimers")) {
  if (_is_on) {
    _label = label;
    _start = std::chrono::steady_clock::now();
  }
}

timer_t::~timer_t() {
  if (!_is_on)
    return;
  std::chrono::duration<double, std::milli> const elapsed = std::chrono::steady_clock::now() - _start;
  std::fprintf(stderr, "%s: %.3f ms\n", _label.c_str(), elapsed.count());
}

}  // namespace kel
