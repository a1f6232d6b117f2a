// The tool run as a program, from outside.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// What a run left behind.
struct outcome_t {
  int status = -1;  // -1 when a signal ended it
  std::string out;
  std::string err;
};

// Runs kelmime with these arguments. `input` is its standard input.
outcome_t kelmime(std::vector<std::string> const& arguments, std::string_view input = {});

// A message or golden output that comes with the tests.
std::string data_path(std::string const& name);

std::string content_of(std::string const& path);
void write_file(std::string const& path, std::string_view content);

// A folder for one test, removed with everything in it.
class scratch_t {
public:
  scratch_t();
  ~scratch_t();
  scratch_t(scratch_t const&) = delete;
  scratch_t& operator=(scratch_t const&) = delete;

  std::string path(std::string const& name = {}) const;

  // Makes a file, with the folders on its way, and answers its path.
  std::string file(std::string const& name, std::string_view content) const;

  // The names in a folder, sorted.
  std::vector<std::string> names(std::string const& folder = {}) const;

private:
  std::string _path;
};
