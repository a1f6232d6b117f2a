#include "input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "mbox.h"
#include "output.h"

namespace kel::tool {

namespace {

constexpr std::size_t smallest_capacity = 64 << 10;

class descriptor_t {
public:
  explicit descriptor_t(std::string const& path)
      : _number(path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~descriptor_t() {
    if (_number > STDIN_FILENO)
      ::close(_number);
  }
  descriptor_t(descriptor_t const&) = delete;
  descriptor_t& operator=(descriptor_t const&) = delete;

  int number() const { return _number; }

private:
  int _number;
};

// What the file will hold, with room for the read that finds its end.
std::size_t expected_size(int descriptor) {
  struct stat status = {};
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < 0)
    return smallest_capacity;
  return static_cast<std::size_t>(status.st_size) + 1;
}

bool is_folder(std::filesystem::path const& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

void add_maildir(std::string const& folder, std::vector<source_t>& sources) {
  std::filesystem::path const root = folder;
  std::vector<std::filesystem::path> files;
  bool is_maildir = false;
  for (char const* const name : { "cur", "new" }) {
    if (!is_folder(root / name))
      continue;
    is_maildir = true;
    std::error_code failure;
    for (std::filesystem::directory_iterator file(root / name, failure), end; !failure && file != end;
         file.increment(failure))
      if (!file->path().filename().string().starts_with('.'))
        files.push_back(file->path());
    if (failure)
      sources.push_back({ (root / name).string(), failure.message() });
  }
  if (!is_maildir)
    sources.push_back({ folder, "is a folder without \"cur\" and \"new\", so it is no Maildir" });

  std::ranges::sort(files, {}, [](auto const& path) { return path.filename(); });
  for (auto const& file : files)
    sources.push_back({ file.string() });
}

}  // namespace

std::string file_bytes_t::read(std::string const& path) {
  _size = 0;
  descriptor_t const file(path);
  if (file.number() < 0)
    return std::strerror(errno);
  reserve(expected_size(file.number()));
  while (true) {
    if (_size == _capacity)
      reserve(std::max(2 * _capacity, smallest_capacity));
    ssize_t const count = ::read(file.number(), _data.get() + _size, _capacity - _size);
    if (count == 0)
      return {};
    if (count > 0)
      _size += static_cast<std::size_t>(count);
    else if (errno != EINTR)
      return std::strerror(errno);
  }
}

void file_bytes_t::reserve(std::size_t capacity) {
  if (capacity <= _capacity)
    return;
  auto grown = std::make_unique_for_overwrite<char[]>(capacity);
  if (_size > 0)
    std::memcpy(grown.get(), _data.get(), _size);
  _data = std::move(grown);
  _capacity = capacity;
}

std::vector<source_t> list_sources(std::vector<std::string> const& inputs) {
  std::vector<source_t> sources;
  for (auto const& input : inputs) {
    if (input != "-" && is_folder(input))
      add_maildir(input, sources);
    else
      sources.push_back({ input });
  }
  return sources;
}

std::string display_name(std::string const& path) {
  return path == "-" ? "standard input" : path;
}

void for_each_message(std::string const& name, std::string_view bytes, take_message_t const& take) {
  std::string storage;
  if (!is_mbox(bytes)) {
    take({ name, reading_form(bytes, /*is_in_mbox*/ false, storage) });
    return;
  }
  std::string_view rest = bytes;
  for (std::size_t number = 1; !rest.empty(); ++number) {
    std::string_view const raw = take_message(rest);
    bool const is_alone = number == 1 && rest.empty();
    std::string const message_name = is_alone ? name : name + ":" + std::to_string(number);
    if (!take({ message_name, reading_form(raw, /*is_in_mbox*/ true, storage) }))
      return;
  }
}

bool for_each_message(std::vector<std::string> const& inputs, take_message_t const& take) {
  bool is_everything_read = true;
  bool wants_more = true;
  file_bytes_t bytes;
  for (auto const& source : list_sources(inputs)) {
    std::string const failure = source.failure.empty() ? bytes.read(source.path) : source.failure;
    if (!failure.empty()) {
      complain(display_name(source.path), failure);
      is_everything_read = false;
      continue;
    }
    for_each_message(display_name(source.path), bytes.view(),
                     [&](message_t const& message) { return wants_more = take(message); });
    if (!wants_more)
      break;
  }
  return is_everything_read;
}

bool is_single_message(std::vector<std::string> const& inputs, std::string_view message_name) {
  return inputs.size() == 1 && message_name == display_name(inputs.front());
}

}  // namespace kel::tool
