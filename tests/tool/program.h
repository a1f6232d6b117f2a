// The tool run as a program, from outside.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <helpers/messages.h>
#include <helpers/surroundings.h>

// What a run left behind.
struct outcome_t {
  int status = -1;  // -1 when a signal ended it
  std::string out, err;
};

// Runs kelmime with these arguments. `input` is its standard input.
outcome_t kelmime(std::vector<std::string> const& arguments, std::string_view input = {});

// A message or golden output that comes with the tests.
std::string data_path(std::string const& name);

using kel::test::content_of;

// A verb, and what follows it.
std::vector<std::string> joined(std::vector<std::string> words, std::vector<std::string> const& more);

// A folder for one test, removed with everything in it.
class scratch_t {
public:
  std::string path(std::string const& name = {}) const;

  // Makes a file, with the folders on its way, and answers its path.
  std::string file(std::string const& name, std::string_view content) const { return _folder.write(name, content); }

  // The names in a folder, sorted.
  std::vector<std::string> names(std::string const& folder = {}) const;

private:
  kel::temporary_folder_t _folder;
};
