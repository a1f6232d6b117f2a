#include <message/delimiter_index.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

namespace kel {

namespace {

std::string_view without_trailing_blanks(std::string_view line) {
  std::size_t const last = line.find_last_not_of(" \t");
  return line.substr(0, last + 1);
}

std::uint64_t hash_of_line(std::string_view line) {
  return std::hash<std::string_view>()(without_trailing_blanks(line));
}

}  // namespace

delimiter_index_t::delimiter_index_t(char const* begin, char const* end) : _begin(begin) {
  for (char const* line = begin; line != end;) {
    auto const* feed = static_cast<char const*>(std::memchr(line, '\n', static_cast<std::size_t>(end - line)));
    char const* const line_end = feed ? feed : end;
    if (line_end - line > 2 && line[0] == '-' && line[1] == '-')
      _lines.push_back({ hash_of_line({ line, line_end }), static_cast<std::size_t>(line - begin) });
    line = feed ? feed + 1 : end;
  }
  std::sort(_lines.begin(), _lines.end());
}

std::vector<char const*> delimiter_index_t::candidates(char const* first, char const* last,
                                                       std::string_view delimiter) const {
  std::vector<char const*> result;
  auto const first_offset = static_cast<std::size_t>(first - _begin);
  auto const last_offset = static_cast<std::size_t>(last - _begin);
  for (std::string_view const suffix : { "", "--" }) {
    std::uint64_t const hash = hash_of_line(std::string(delimiter).append(suffix));
    auto line = std::lower_bound(_lines.begin(), _lines.end(), line_t{ hash, first_offset });
    for (; line != _lines.end() && line->hash == hash && line->offset < last_offset; ++line)
      result.push_back(_begin + line->offset);
  }
  std::sort(result.begin(), result.end());
  return result;
}

}  // namespace kel
