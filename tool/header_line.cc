#include "header_line.h"

#include <algorithm>

#include "text.h"
#include "utf8.h"

namespace kel::tool {

namespace {

header_line_t header_line(std::string_view text) {
  std::size_t const colon = text.find(':');
  return { lowercased(std::string(text.substr(0, colon))), trimmed(text.substr(colon + 1)) };
}

bool is_name(std::string_view name) {
  return !name.empty() && std::ranges::all_of(name, [](char c) { return c > ' ' && c <= '~'; });
}

// Names that the library uses for what it knows of a message.
bool is_reserved(std::string_view name) {
  return name.starts_with('#') || name == "security-generation-detail";
}

}  // namespace

std::string problem_of_header_line(std::string const& text) {
  if (text.find(':') == text.npos)
    return "a header is \"Name: value\"";
  std::string const name = header_line(text).name;
  if (!is_name(name) || is_reserved(name))
    return "no header can have this name";
  return is_utf8(text) ? "" : "the value is not UTF-8";
}

std::string problem_of_draft_header_line(std::string const& text) {
  std::string problem = problem_of_header_line(text);
  std::string const name = header_line(text).name;
  if (problem.empty() && (name == "content-type" || name == "content-transfer-encoding" || name == "mime-version"))
    problem = "this header is made by what the message holds";
  return problem;
}

std::vector<header_line_t> header_lines(std::vector<std::string> const& texts) {
  std::vector<header_line_t> lines;
  std::ranges::transform(texts, std::back_inserter(lines), header_line);
  return lines;
}

}  // namespace kel::tool
