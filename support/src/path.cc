#include <kel/path.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include <kel/uuid.h>

namespace kel::path {

namespace {

constexpr std::string_view no_content = "\xEF\xBF\xBF";

struct close_t {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

std::string name(std::string_view path) {
  while (path.ends_with('/'))
    path.remove_suffix(1);
  return std::string(path.substr(path.rfind('/') + 1));  // no "/" at all: npos + 1 is 0
}

std::string extension(std::string_view path) {
  std::string const last = name(path);
  std::size_t const dot = last.rfind('.');
  return dot == last.npos || dot == 0 || last == ".." ? std::string() : last.substr(dot);
}

std::string join(std::string_view first, std::string_view second) {
  if (first.empty() || second.starts_with('/'))
    return std::string(second);
  std::string result(first);
  if (!second.empty() && !first.ends_with('/'))
    result += '/';
  return result += second;
}

std::string temp(std::string_view stem) {
  std::error_code error;
  std::string const folder = std::filesystem::temp_directory_path(error).string();
  return join(error ? "/tmp" : folder, std::string(stem) + "_" + uuid_t().to_s());
}

bool exists(std::string const& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

std::string content(std::string const& path) {
  std::unique_ptr<std::FILE, close_t> const file(std::fopen(path.c_str(), "re"));
  if (!file)
    return std::string(no_content);
  std::string bytes;
  char block[16 << 10];
  while (std::size_t const count = std::fread(block, 1, sizeof block, file.get()))
    bytes.append(block, count);
  return std::ferror(file.get()) ? std::string(no_content) : bytes;
}

}  // namespace kel::path
