// Attachments as files. The names come from strangers: a file is made in the given folder and nowhere else, and only where
// there is none of that name yet.
#include "verbs.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "body_lists.h"
#include "escape.h"
#include "file_name.h"
#include "outline.h"

namespace kel::tool {

namespace {

// An enclosed message goes out as it stands; so does a multipart, with the headers that name its boundary.
std::string_view bytes_of(part_t const& part) {
  return part.is_multipart() ? part.body->raw_data() : part.body->decoded_body();
}

std::string name_of(part_t const& part) {
  std::string name = part.body->get_suggested_filename();
  if ((part.is_message() || part.is_multipart()) && !name.ends_with(".eml"))
    name += ".eml";
  return safe_file_name(name);
}

// A folder that files are made in. Remembers which number a name has reached, so that a thousand equal names stay cheap.
class folder_t {
public:
  explicit folder_t(std::string const& path) : _path(path) {
    std::error_code ignored;  // what went wrong shows when the folder is opened
    std::filesystem::create_directories(path, ignored);
    _descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (_descriptor < 0)
      _failure = errno;
  }
  ~folder_t() {
    if (_descriptor >= 0)
      ::close(_descriptor);
  }
  folder_t(folder_t const&) = delete;
  folder_t& operator=(folder_t const&) = delete;

  // Makes a file of this name or a numbered one. Answers the system's error number, 0 for success; `name` becomes the name
  // that the file has.
  int save(std::string& name, std::string_view bytes) {
    if (_failure != 0)
      return _failure;
    std::string const wanted = name;
    std::size_t& number = _numbers[wanted];
    int file = -1;
    do {
      ++number;
      name = number == 1 ? wanted : numbered_file_name(wanted, number);
      file = ::openat(_descriptor, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    } while (file < 0 && errno == EEXIST);
    if (file < 0)
      return errno;
    int failure = write_all(file, bytes);
    if (::close(file) != 0 && failure == 0)
      failure = errno;
    if (failure != 0)
      ::unlinkat(_descriptor, name.c_str(), 0);
    return failure;
  }

  std::string path_of(std::string const& name) const { return (std::filesystem::path(_path) / name).string(); }

private:
  std::string _path;
  int _descriptor = -1;
  int _failure = 0;
  std::map<std::string, std::size_t> _numbers;
};

std::vector<part_t const*> wanted_parts(opened_message_t const& opened, options_t const& options) {
  if (!options.part.empty()) {
    part_t const* const part = opened.part_by_number(options.part);
    return part ? std::vector{ part } : std::vector<part_t const*>();
  }
  std::vector<part_t const*> parts;
  for (std::size_t const index : list_files(opened.parts(), sort_bodies(opened.parts())))
    parts.push_back(&opened.parts()[index]);
  return parts;
}

}  // namespace

exit_status_t extract(message_t const& message, options_t const& options, output_t& out) {
  opened_message_t opened(message);
  if (!options.is_sealed)
    opened.unseal();
  auto const parts = wanted_parts(opened, options);
  if (parts.empty() && !options.part.empty()) {
    complain(message.name, "there is no part " + options.part);
    return negative;
  }
  if (options.to_standard_output) {
    for (part_t const* const part : parts)
      out << bytes_of(*part);
    return done;
  }

  static folder_t folder(options.folder);  // one for all messages of a run
  exit_status_t status = done;
  for (part_t const* const part : parts) {
    std::string name = name_of(*part);
    if (int const failure = folder.save(name, bytes_of(*part))) {
      complain(folder.path_of(name), std::strerror(failure));
      status = unreadable;
    } else {
      out << as_field(folder.path_of(name)) << "\n";
    }
  }
  return status;
}

}  // namespace kel::tool
