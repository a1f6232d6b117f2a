// Measuring how long a scope takes.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace kel {

// Writes "<label>: <milliseconds> ms" to standard error at the end of the scope when the preference "PwDebugTimers" is
// on, and costs next to nothing otherwise.
//
//    timer_t const timer("field_parsers_init");
class timer_t {
public:
  explicit timer_t(std::string_view label);
  ~timer_t();
  timer_t(timer_t const&) = delete;
  timer_t& operator=(timer_t const&) = delete;

private:
  std::string _label;
  std::chrono::steady_clock::time_point _start;
  bool _is_on;
};

}  // namespace kel
