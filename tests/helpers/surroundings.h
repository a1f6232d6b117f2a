// Surroundings for a test: variables and folders that are put back and removed at its end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <kel/path.h>

namespace kel {

// What a call writes to the standard error stream.
template <typename Call>
std::string complaints_of(Call const& call) {
  testing::internal::CaptureStderr();
  call();
  return testing::internal::GetCapturedStderr();
}

// Sets an environment variable, or removes it, while it lives.
class variable_guard_t {
public:
  variable_guard_t(char const* name, std::optional<std::string> const& value) : _name(name) {
    if (char const* const before = std::getenv(name))
      _before = before;
    put(value);
  }
  ~variable_guard_t() { put(_before); }
  variable_guard_t(variable_guard_t const&) = delete;
  variable_guard_t& operator=(variable_guard_t const&) = delete;

private:
  void put(std::optional<std::string> const& value) const {
    if (value) {
      setenv(_name, value->c_str(), /*overwrite*/ 1);
    } else {
      unsetenv(_name);
    }
  }

  char const* _name;
  std::optional<std::string> _before;
};

// A folder of the test's own.
class temporary_folder_t {
public:
  temporary_folder_t() : _path(path::temp("kelmime_test")) { std::filesystem::create_directories(_path); }
  ~temporary_folder_t() {
    std::error_code error;
    std::filesystem::remove_all(_path, error);
  }
  temporary_folder_t(temporary_folder_t const&) = delete;
  temporary_folder_t& operator=(temporary_folder_t const&) = delete;

  std::string const& path() const { return _path; }

  // Writes a file, with the folders on the way to it, and returns its path.
  std::string write(std::string_view name, std::string_view content) const {
    std::string const file = path::join(_path, name);
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }
  // Writes a script of the shell, and returns its path.
  std::string write_program(std::string_view name, std::string const& commands) const {
    std::string const file = write(name, "#!/bin/bash\n" + commands);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    return file;
  }

private:
  std::string _path;
};

}  // namespace kel
