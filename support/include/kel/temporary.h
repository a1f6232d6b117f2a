// Files and folders that nobody else reads, for as long as a helper program needs them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kel {

// Creates a file that only the user may read, with these bytes. False when anything of that name exists, be it a link,
// and when the bytes cannot be written; then no file of ours is left.
bool write_private_file(std::string const& path, std::string_view bytes);

// A new folder that only the user may enter, in the folder for temporary files. It is removed with all that lies in it
// when this ends; links in it are removed, not followed.
class private_folder_t {
public:
  explicit private_folder_t(std::string_view stem);
  ~private_folder_t();
  private_folder_t(private_folder_t const&) = delete;
  private_folder_t& operator=(private_folder_t const&) = delete;

  // False when no folder could be made. The path is then empty.
  bool exists() const { return !_path.empty(); }
  std::string const& path() const { return _path; }

  // Puts a file into the folder and returns its path.
  std::optional<std::string> write(std::string_view name, std::string_view bytes) const;

private:
  std::string _path;
};

}  // namespace kel
