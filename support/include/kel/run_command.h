// Running a script, and bounding what it can do to us: it gets exactly one environment, one input and a time, and it
// cannot hang, flood or signal the process that runs it.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace kel {

struct command_limits_t {
  std::chrono::milliseconds time = std::chrono::minutes(5);  // until the script has ended
  std::size_t captured_bytes = std::size_t(1) << 30;         // of each output
};

struct command_result_t {
  bool is_success = false;  // the script came to its own end, with exit status 0
  std::string problem;      // why it did not come to its own end, for people; empty when it did

  explicit operator bool() const { return is_success; }
};

// Runs a bash script of at most 128 KiB, which is the system's limit for one argument, and waits until it has ended.
//
// `input` is its standard input; a script that does not read all of it is no problem. `output` and `error` are what it
// wrote, up to its end or to a limit. Names and values of the environment that no process can have (a name that is empty
// or holds a "=", a zero byte in either) are left out.
//
// The script, with the processes that it started and that stayed in its process group, is killed when it meets a limit;
// what is left of them when it has ended by itself is killed too. No descriptor of this process but the three standard
// ones, which are pipes, reaches it. Signal handling stays as it is: a script that does not read raises no SIGPIPE here,
// and no child is waited for but this one.
//
// May be called from any thread. A process that ignores SIGCHLD, or waits for children that others started, cannot learn
// how the script ended; that is a problem, too.
command_result_t run_command(std::map<std::string, std::string> const& environment, std::string const& script,
                             std::string_view input, std::string& output, std::string& error,
                             command_limits_t const& limits = {});

}  // namespace kel
