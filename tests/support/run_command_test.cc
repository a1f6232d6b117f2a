#include <kel/run_command.h>
#include <kel/temporary.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <helpers/surroundings.h>
#include <helpers/threads.h>

namespace kel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto forever = "while :; do sleep 60; done";

struct run_t {
  std::string output, error;
  command_result_t result;
};

run_t run(std::string const& script, std::string_view input = "", command_limits_t const& limits = { 20s, 1 << 24 },
          std::map<std::string, std::string> const& environment = { { "PATH", "/usr/bin:/bin" } }) {
  run_t run;
  run.result = run_command(environment, "#!/usr/bin/env bash\n" + script + "\n", input, run.output, run.error, limits);
  return run;
}

std::size_t open_descriptors() {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

// Every test must leave the process as it was: the same descriptors, no child, the same signals.
class RunCommand : public testing::Test {
protected:
  RunCommand() { sigprocmask(SIG_SETMASK, nullptr, &_mask); }
  ~RunCommand() override {
    EXPECT_EQ(open_descriptors(), _descriptors);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    sigset_t mask, pending;
    sigprocmask(SIG_SETMASK, nullptr, &mask);
    sigpending(&pending);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), sigismember(&_mask, SIGPIPE));
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
  }

private:
  std::size_t _descriptors = open_descriptors();
  sigset_t _mask;
};

TEST_F(RunCommand, FeedsAndReadsAtTheSameTime) {
  std::string const much(3 << 20, 'x');
  run_t const echo = run("tee /dev/stderr", much);
  EXPECT_TRUE(echo.result) << echo.result.problem;
  EXPECT_TRUE(echo.output == much && echo.error == much);
  EXPECT_EQ(run("cat", std::string("a\0b", 3)).output, std::string("a\0b", 3));
  EXPECT_EQ(run("cat").output, "");
}

TEST_F(RunCommand, GivesExactlyTheEnvironment) {
  temporary_folder_t const folder;
  folder.write(".bashrc", "echo a remote login");
  variable_guard_t const home("HOME", folder.path());
  variable_guard_t const secret("SECRET", "x");
  run_t const all = run("/usr/bin/env", "", {},
                        { { "PATH", "/usr/bin:/bin" }, { "A", "b=\"$(c)\"\n" }, { "", "x" }, { "B=", "x" }, { "C", std::string("\0", 1) }, { "HOME", folder.path() } });
  std::string seen = all.output;
  for (std::string const variable : { "PATH=/usr/bin:/bin\n", "A=b=\"$(c)\"\n\n" }) {
    ASSERT_NE(seen.find(variable), seen.npos) << variable;
    seen.erase(seen.find(variable), variable.size());
  }
  for (char const* foreign : { "SECRET", "remote", "B=" })
    EXPECT_EQ(seen.find(foreign), seen.npos) << seen;
  EXPECT_TRUE(run("true", "", {}, {}).result) << "programs are found without PATH";
}

TEST_F(RunCommand, SaysHowTheScriptEnded) {
  struct { char const* name; std::string script; bool is_success; char const* problem; command_limits_t limits = { 20s, 1000 }; } const rows[] = {
    { "well", "exit 0", true, "" },               { "not well", "exit 2", false, "" },
    { "missing", "/no/such/program", false, "" }, { "not executable", "/etc/passwd", false, "" },
    { "killed", "kill -9 $$", false, "killed by signal 9" },
    { "its program was killed", "sh -c 'kill -15 $$'; exit $?", false, "killed by signal 15" },
    { "silent", forever, false, "stopped after 100 ms", { 100ms, 1000 } },
    { "silent with closed outputs", std::string("exec >&- 2>&-;") + forever, false, "stopped after 100 ms", { 100ms, 1000 } },
    { "talking without end", "while sleep 0.01; do echo x; done", false, "stopped after 100 ms", { 100ms, 1000 } },
    { "flooding the output", "yes", false, "stopped after 1000 bytes of output" },
    { "flooding the error output", "yes >&2", false, "stopped after 1000 bytes of output" },
    { "flooding and dead", "yes | head -c 2000", false, "stopped after 1000 bytes of output" },
    { "just enough", "yes | head -c 1000", true, "" },
    { "a zero byte in the script", std::string("exit 0\0;", 8), false, "not started: Invalid argument" },
    { "a script that is too long", std::string(200'000, ' '), false, "not started: Argument list too long" },
  };
  for (auto const& row : rows) {
    run_t const ran = run(row.script, "", row.limits);
    EXPECT_EQ(ran.result.is_success, row.is_success) << row.name;
    EXPECT_EQ(ran.result.problem, row.problem) << row.name;
    EXPECT_TRUE(ran.output.size() <= 1000 && ran.error.size() <= 1000) << row.name;
  }
  EXPECT_EQ(run("echo x; " + std::string(forever), "", { 500ms, 1000 }).output, "x\n") << "what was there is kept";
}

TEST_F(RunCommand, OutlivesAScriptThatDoesNotRead) {
  std::string const much(1 << 20, 'x');
  EXPECT_TRUE(run("true", much).result);
  EXPECT_TRUE(run("exec <&-; echo done", much).result);
  EXPECT_EQ(run("exec <&-; sleep 0.05; echo done", much).output, "done\n");
  EXPECT_EQ(run(forever, much, { 100ms, 1000 }).result.problem, "stopped after 100 ms");
  EXPECT_EQ(run("kill -13 $$").result.problem, "killed by signal 13") << "the script itself knows SIGPIPE";
}

TEST_F(RunCommand, DoesNotWaitForWhatIsLeftBehind) {
  run_t const left = run("sleep 60 & echo $!");
  EXPECT_TRUE(left.result) << left.result.problem;
  pid_t const pid = std::stoi(left.output);
  for (int i = 0; i < 1000 && kill(pid, 0) == 0 && fs::exists("/proc/" + std::to_string(pid) + "/exe"); ++i)
    std::this_thread::sleep_for(1ms);
  EXPECT_FALSE(fs::exists("/proc/" + std::to_string(pid) + "/exe")) << "in the group of the script it is killed";

  run_t const escaped = run("setsid sleep 1 & sleep 0.05; echo done");
  EXPECT_TRUE(escaped.result) << escaped.result.problem;
  EXPECT_EQ(escaped.output, "done\n");
  EXPECT_LE(run("setsid timeout 1 sh -c 'sleep 0.05; yes' & sleep 0.05", "", { 20s, 1000 }).output.size(), 1000U);
}

TEST_F(RunCommand, HandsNoDescriptorOn) {
  int const ours = open("/etc/passwd", O_RDONLY);
  EXPECT_EQ(run("ls /dev/fd | sort -n | head -n 3 | tr '\\n' ' '; ls -l /dev/fd/ | grep -c passwd").output, "0 1 2 0\n");
  close(ours);
}

TEST_F(RunCommand, WorksWithoutStandardDescriptors) {
  pid_t const pid = fork();
  if (pid == 0) {
    for (int standard : { 0, 1, 2 })
      close(standard);
    run_t const ran = run("cat; echo error >&2", "text");
    _exit(ran.output == "text" && ran.error == "error\n" ? 0 : 1);
  }
  int status = -1;
  waitpid(pid, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(RunCommand, MayBeCalledByManyThreadsAndWaitsForItsOwnChild) {
  pid_t const other = fork();
  if (other == 0)
    _exit(7);
  in_threads(4, [](int i) {
    for (int n = 0; n < 10; ++n)
      EXPECT_EQ(run("cat", std::to_string(i)).output, std::to_string(i));
  });
  int status = 0;
  EXPECT_EQ(waitpid(other, &status, 0), other);
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(RunCommand, CannotTellTheEndOfAChildThatIsTakenAway) {
  auto const before = signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(run("exit 0").result.problem, "its end was not seen");
  signal(SIGCHLD, before);
}

mode_t mode_of(std::string const& path) {
  struct stat status{};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST(PrivateFolder, IsPrivateAndGoesWithAllThatIsInIt) {
  temporary_folder_t const outside;
  std::string const kept = outside.write("kept", "x");
  std::string path;
  {
    private_folder_t const folder("file");
    path = folder.path();
    ASSERT_TRUE(folder.exists());
    EXPECT_TRUE(path::name(path).starts_with("file_"));
    EXPECT_EQ(mode_of(path), 0700U);
    auto const file = folder.write("a.sig", std::string("b\0c", 3));
    ASSERT_EQ(file, path + "/a.sig");
    EXPECT_EQ(mode_of(*file), 0600U);
    EXPECT_EQ(path::content(*file), std::string("b\0c", 3));
    EXPECT_EQ(folder.write("a.sig", "again"), std::nullopt);
    fs::create_symlink(kept, path + "/link");
    fs::create_directory_symlink(outside.path(), path + "/folder");
    EXPECT_EQ(folder.write("link", "x"), std::nullopt);
    fs::create_directories(path + "/deep/er");
  }
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(path::content(kept), "x");
  private_folder_t const none("no/such");
  EXPECT_FALSE(none.exists());
  EXPECT_EQ(none.write("a", "x"), std::nullopt);
  EXPECT_FALSE(write_private_file("/no such folder/file", "x"));
}

}  // namespace
}  // namespace kel
