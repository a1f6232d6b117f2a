// The script is the argument of "bash -c", so that nothing is left on the disk whatever happens. Its standard input is a
// pipe and not a socket: bash takes a socket for a remote login and reads the user's ~/.bashrc.
//
// Both outputs are read while the input is written, since a program that waits for us to read would otherwise wait for
// ever. That the outputs are closed does not mean that the script has ended, nor that it has ended that they are closed,
// for a process that it left behind may hold them; so both are looked at.
#include <kel/run_command.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include <kel/text.h>

namespace kel {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class descriptor_t {
public:
  descriptor_t() = default;
  explicit descriptor_t(int number) : _number(number) {}
  descriptor_t(descriptor_t&& other) noexcept : _number(std::exchange(other._number, -1)) {}
  descriptor_t& operator=(descriptor_t&& other) noexcept {
    std::swap(_number, other._number);
    return *this;
  }
  ~descriptor_t() { close(); }

  int number() const { return _number; }
  bool is_open() const { return _number != -1; }
  void close() {
    if (is_open())
      ::close(std::exchange(_number, -1));
  }

  // 0, 1 and 2 may be free in a process without terminal, but a child needs them for itself.
  void move_above_standard_ones() {
    if (_number >= 0 && _number <= STDERR_FILENO)
      *this = descriptor_t(fcntl(_number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  }

  void do_not_block() const { fcntl(_number, F_SETFL, fcntl(_number, F_GETFL) | O_NONBLOCK); }

private:
  int _number = -1;
};

struct pipe_t {
  descriptor_t reading;
  descriptor_t writing;

  bool open() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
      return false;
    reading = descriptor_t(ends[0]);
    writing = descriptor_t(ends[1]);
    reading.move_above_standard_ones();
    writing.move_above_standard_ones();
    return reading.is_open() && writing.is_open();
  }
};

struct pipes_t {
  pipe_t input;
  pipe_t output;
  pipe_t error;

  bool open() { return input.open() && output.open() && error.open(); }
};

// Keeps a write to a pipe that nobody reads from signalling this thread. A SIGPIPE that was there before stays.
class no_sigpipe_t {
public:
  no_sigpipe_t() : _was_pending(is_pending()) { pthread_sigmask(SIG_BLOCK, &sigpipe(), &_mask_before); }
  ~no_sigpipe_t() {
    timespec const at_once{};
    if (!_was_pending && is_pending()) {
      while (sigtimedwait(&sigpipe(), nullptr, &at_once) == -1 && errno == EINTR)
        ;
    }
    pthread_sigmask(SIG_SETMASK, &_mask_before, nullptr);
  }
  no_sigpipe_t(no_sigpipe_t const&) = delete;
  no_sigpipe_t& operator=(no_sigpipe_t const&) = delete;

  static sigset_t const& sigpipe() {
    static sigset_t const set = [] {
      sigset_t signals;
      sigemptyset(&signals);
      sigaddset(&signals, SIGPIPE);
      return signals;
    }();
    return set;
  }

private:
  static bool is_pending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
  }

  bool _was_pending;
  sigset_t _mask_before;
};

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts)
    pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> assignments(std::map<std::string, std::string> const& environment) {
  std::vector<std::string> texts;
  for (auto const& [name, value] : environment) {
    std::string text = name + "=" + value;
    if (!name.empty() && name.find('=') == name.npos && text.find('\0') == text.npos)
      texts.push_back(std::move(text));
  }
  return texts;
}

// The leader of a process group of its own. It is killed and waited for at the latest when this ends.
class child_t {
public:
  ~child_t() {
    if (_pid > 0)
      end();
  }
  child_t() = default;
  child_t(child_t const&) = delete;
  child_t& operator=(child_t const&) = delete;

  // Answers the error number. The child begins with no signal blocked and with the SIGPIPE that programs expect.
  int start(std::vector<std::string> arguments, std::vector<std::string> variables, pipes_t const& pipes) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipes.input.reading.number(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipes.output.writing.number(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipes.error.writing.number(), STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);

    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &no_sigpipe_t::sigpipe());

    pid_t pid = 0;
    int const error = posix_spawn(&pid, arguments.front().c_str(), &actions, &attributes, pointers_to(arguments).data(),
                                  pointers_to(variables).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error == 0)
      _pid = pid;
    return error;
  }

  // Nobody else gets the number of the child, or of its group, before `end`: it is looked at, not waited for.
  bool has_ended() const { return look() != look_t::runs; }

  void kill_group() const {
    if (look() != look_t::is_gone)
      kill(-_pid, SIGKILL);
  }

  // The wait status; nothing when somebody else took it.
  std::optional<int> end() {
    kill_group();
    int status = 0;
    pid_t waited;
    do {
      waited = waitpid(_pid, &status, 0);
    } while (waited == -1 && errno == EINTR);
    bool const is_ours = waited == std::exchange(_pid, 0);
    return is_ours ? std::optional(status) : std::nullopt;
  }

private:
  enum class look_t { runs, has_ended, is_gone };

  look_t look() const {
    siginfo_t info{};
    if (waitid(P_PID, static_cast<id_t>(_pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0)
      return look_t::is_gone;
    return info.si_pid == 0 ? look_t::runs : look_t::has_ended;
  }

  pid_t _pid = 0;
};

// What goes in and what comes out.
class exchange_t {
public:
  exchange_t(pipes_t& pipes, std::string_view input, std::string& output, std::string& error, std::size_t most)
      : _input(std::move(pipes.input.writing)),
        _rest(input),
        _most(most),
        _sources{ { { std::move(pipes.output.reading), &output }, { std::move(pipes.error.reading), &error } } } {
    _input.do_not_block();
    for (source_t const& source : _sources)
      source.descriptor.do_not_block();
    if (_rest.empty())
      _input.close();
  }

  bool is_too_much() const { return _is_too_much; }

  // Waits at most so long for something to do, and does it. False when there was nothing.
  bool step(milliseconds patience) {
    std::array<pollfd, 3> polled = { { { _input.number(), POLLOUT, 0 },
                                       { _sources[0].descriptor.number(), POLLIN, 0 },
                                       { _sources[1].descriptor.number(), POLLIN, 0 } } };
    if (poll(polled.data(), polled.size(), static_cast<int>(patience.count())) <= 0)
      return false;
    if (polled[0].revents != 0)
      feed();
    for (std::size_t i = 0; i < _sources.size(); ++i) {
      if (polled[i + 1].revents != 0)
        take(_sources[i]);
    }
    return true;
  }

private:
  struct source_t {
    descriptor_t descriptor;
    std::string* text;
  };

  static bool is_for_later(int error) { return error == EAGAIN || error == EINTR; }

  void feed() {
    ssize_t const count = write(_input.number(), _rest.data(), _rest.size());
    if (count > 0)
      _rest.remove_prefix(static_cast<std::size_t>(count));
    bool const is_refused = count < 0 && !is_for_later(errno);
    if (_rest.empty() || is_refused)
      _input.close();
  }

  void take(source_t& source) {
    std::array<char, 64 << 10> block;
    ssize_t const count = read(source.descriptor.number(), block.data(), block.size());
    if (count == 0 || (count < 0 && !is_for_later(errno)))
      source.descriptor.close();
    if (count <= 0)
      return;
    std::size_t const room = _most - source.text->size();
    _is_too_much = _is_too_much || static_cast<std::size_t>(count) > room;
    source.text->append(block.data(), std::min(room, static_cast<std::size_t>(count)));
  }

  descriptor_t _input;
  std::string_view _rest;
  std::size_t _most;
  bool _is_too_much = false;
  std::array<source_t, 2> _sources;
};

std::string too_much(command_limits_t const& limits) {
  return text::format("stopped after %zu bytes of output", limits.captured_bytes);
}

std::string too_long(command_limits_t const& limits) {
  return text::format("stopped after %lld ms", static_cast<long long>(limits.time.count()));
}

// Until the script has ended and what it wrote is read, or until a limit is met, which is the answer. Nothing tells us of
// the end while others hold the outputs open, so it is asked for ever more patiently.
std::string converse(exchange_t& exchange, child_t const& child, command_limits_t const& limits) {
  steady_clock::time_point const start = steady_clock::now();
  milliseconds patience = 1ms;
  for (bool has_ended = false;;) {
    if (!has_ended && child.has_ended()) {
      has_ended = true;
      child.kill_group();
    }
    milliseconds const elapsed = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
    if (elapsed >= limits.time)
      return too_long(limits);
    bool const is_busy = exchange.step(has_ended ? 0ms : std::min(patience, limits.time - elapsed));
    if (exchange.is_too_much())
      return too_much(limits);
    if (has_ended && !is_busy)
      return "";
    patience = is_busy ? 1ms : std::min(2 * patience, 32ms);
  }
}

// The signal that killed the script or, as bash tells it, its last program; 0 when there was none.
int signal_in(int status) {
  if (WIFSIGNALED(status))
    return WTERMSIG(status);
  int const told = WEXITSTATUS(status) - 128;
  return told > 0 && told <= SIGRTMAX ? told : 0;
}

std::string not_started(int error) {
  return "not started: " + std::generic_category().message(error);
}

}  // namespace

command_result_t run_command(std::map<std::string, std::string> const& environment, std::string const& script,
                             std::string_view input, std::string& output, std::string& error,
                             command_limits_t const& limits) {
  output.clear();
  error.clear();
  if (script.find('\0') != script.npos)
    return { false, not_started(EINVAL) };
  no_sigpipe_t const guard;
  pipes_t pipes;
  if (!pipes.open())
    return { false, not_started(errno) };
  child_t child;
  if (int const number = child.start({ "/usr/bin/env", "bash", "-c", "--", script }, assignments(environment), pipes))
    return { false, not_started(number) };

  exchange_t exchange(pipes, input, output, error, limits.captured_bytes);
  pipes = {};
  std::string problem = converse(exchange, child, limits);
  std::optional<int> const status = child.end();
  if (!problem.empty())
    return { false, std::move(problem) };
  if (!status)
    return { false, "its end was not seen" };
  if (int const signal = signal_in(*status))
    return { false, text::format("killed by signal %d", signal) };
  return { WEXITSTATUS(*status) == 0, "" };
}

}  // namespace kel
