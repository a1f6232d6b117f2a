#include "program.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

outcome_t kelmime(std::vector<std::string> const& arguments, std::string_view input) {
  scratch_t const scratch;
  std::array<std::string, 3> const streams = { scratch.file("in", input), scratch.path("out"), scratch.path("err") };
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, streams[0].c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, streams[1].c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, streams[2].c_str(), O_WRONLY | O_CREAT, 0600);

  std::vector<std::string> words = { KELMIME_PROGRAM };
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (auto& word : words)
    argv.push_back(word.data());
  argv.push_back(nullptr);

  pid_t child = 0;
  int const failure = posix_spawn(&child, KELMIME_PROGRAM, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  if (failure != 0 || waitpid(child, &status, 0) != child)
    throw std::runtime_error("cannot run " KELMIME_PROGRAM);
  return { WIFEXITED(status) ? WEXITSTATUS(status) : -1, content_of(streams[1]), content_of(streams[2]) };
}

std::string data_path(std::string const& name) {
  return std::string(KELMIME_TEST_DATA) + "/tool/messages/" + name;
}

std::string content_of(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file)
    throw std::runtime_error("cannot read " + path);
  return { std::istreambuf_iterator<char>(file), {} };
}

void write_file(std::string const& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

scratch_t::scratch_t() {
  std::string name = (fs::temp_directory_path() / "kelmime-test-XXXXXX").string();
  if (!mkdtemp(name.data()))
    throw std::runtime_error("cannot make a folder");
  _path = name;
}

scratch_t::~scratch_t() {
  std::error_code ignored;
  fs::remove_all(_path, ignored);
}

std::string scratch_t::path(std::string const& name) const {
  return name.empty() ? _path : _path + "/" + name;
}

std::string scratch_t::file(std::string const& name, std::string_view content) const {
  fs::create_directories(fs::path(path(name)).parent_path());
  write_file(path(name), content);
  return path(name);
}

std::vector<std::string> scratch_t::names(std::string const& folder) const {
  std::vector<std::string> found;
  for (auto const& entry : fs::directory_iterator(path(folder)))
    found.push_back(entry.path().filename().string());
  std::ranges::sort(found);
  return found;
}
