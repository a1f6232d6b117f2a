#include "program.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

outcome_t kelmime(std::vector<std::string> const& arguments, std::string_view input) {
  scratch_t const scratch;
  std::array<std::string, 3> const streams = { scratch.file("in", input), scratch.path("out"), scratch.path("err") };
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, streams[0].c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, streams[1].c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, streams[2].c_str(), O_WRONLY | O_CREAT, 0600);

  std::vector<std::string> words = joined({ KELMIME_PROGRAM }, arguments);
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
  return KELMIME_TEST_DATA "/tool/messages/" + name;
}

std::vector<std::string> joined(std::vector<std::string> words, std::vector<std::string> const& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

std::string scratch_t::path(std::string const& name) const {
  return name.empty() ? _folder.path() : _folder.path() + "/" + name;
}

std::vector<std::string> scratch_t::names(std::string const& folder) const {
  std::vector<std::string> found;
  for (auto const& entry : std::filesystem::directory_iterator(path(folder)))
    found.push_back(entry.path().filename().string());
  std::ranges::sort(found);
  return found;
}
