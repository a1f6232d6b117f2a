#include <kel/temporary.h>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>
#include <cerrno>
#include <filesystem>

#include <kel/path.h>

namespace kel {

namespace {

bool write_all(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t const count = ::write(file, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR)
      return false;
    bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

bool write_private_file(std::string const& path, std::string_view bytes) {
  int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (file == -1)
    return false;
  bool const is_written = write_all(file, bytes);
  bool const is_done = close(file) == 0 && is_written;
  if (!is_done)
    unlink(path.c_str());
  return is_done;
}

private_folder_t::private_folder_t(std::string_view stem) {
  std::string path = path::temp(stem) + "_XXXXXX";
  if (mkdtemp(path.data()))
    _path = path;
}

private_folder_t::~private_folder_t() {
  std::error_code error;
  if (exists())
    std::filesystem::remove_all(_path, error);
}

std::optional<std::string> private_folder_t::write(std::string_view name, std::string_view bytes) const {
  std::string path = path::join(_path, name);
  return exists() && write_private_file(path, bytes) ? std::optional(std::move(path)) : std::nullopt;
}

}  // namespace kel
