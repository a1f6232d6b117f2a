// What external programs must not leave in us, whatever they do: checked when it goes.
#pragma once

#include <sys/wait.h>
#include <filesystem>
#include <iterator>

#include <gtest/gtest.h>

#include <helpers/surroundings.h>

namespace kel {

class leftovers_t {
public:
  ~leftovers_t() {
    EXPECT_TRUE(std::filesystem::is_empty(_temporary.path())) << "a file is left";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    EXPECT_EQ(open_descriptors(), _descriptors);
  }

  std::string const& path() const { return _temporary.path(); }  // where temporary files are made meanwhile

private:
  static std::ptrdiff_t open_descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  }

  temporary_folder_t _temporary;
  variable_guard_t _tmpdir{ "TMPDIR", _temporary.path() };
  std::ptrdiff_t _descriptors = open_descriptors();
};

}  // namespace kel
