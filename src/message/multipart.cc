// Splitting of multipart bodies (RFC 2046 section 5.1.1).
//
// One forward scan over the lines; a delimiter counts only when nothing but blanks follows it, so a boundary that is
// the beginning of another does not split the other's lines. Nothing is copied: the results are ranges into the
// caller's bytes.
//
// Deliberate: the line right behind a delimiter line is content even when it reads like a delimiter, since the line
// feed before a delimiter belongs to the delimiter and that one is used up already.
#include <message/multipart.h>

#include <algorithm>
#include <cstring>

#include <kel/ascii.h>
#include <kelmime/body_parser.h>
#include <kelmime/unset.h>

namespace kel {

namespace {

// A delimiter line, or the end of the search.
struct delimiter_t {
  char const* content_end;  // of what stands before it
  char const* next;         // the first byte behind its line
  bool is_closing = false;
};

enum class line_kind_t { other, delimiter, delimiter_without_line_feed };

struct tested_line_t {
  line_kind_t kind = line_kind_t::other;
  char const* next = nullptr;
  bool is_closing = false;
};

tested_line_t test_line(char const* line, char const* end, std::string const& delimiter) {
  auto const left = static_cast<std::size_t>(end - line);
  if (left <= delimiter.size() || std::memcmp(line, delimiter.data(), delimiter.size()) != 0)
    return {};
  char const* cursor = line + delimiter.size();
  bool const is_closing = end - cursor >= 2 && cursor[0] == '-' && cursor[1] == '-';
  if (is_closing)
    cursor += 2;
  if (cursor == end)
    return { line_kind_t::delimiter_without_line_feed, end, is_closing };
  while (cursor != end && ascii::is_blank(*cursor))
    ++cursor;
  if (cursor == end || *cursor != '\n')
    return {};
  return { line_kind_t::delimiter, cursor + 1, is_closing };
}

// Every line of a range.
struct all_lines_t {
  char const* end;

  // The first line that begins behind `from`, or null.
  char const* line_after(char const* from) const {
    auto const* feed = static_cast<char const*>(std::memchr(from, '\n', static_cast<std::size_t>(end - from)));
    return feed ? feed + 1 : nullptr;
  }
};

// The lines that the index names, asked for in ascending order.
class indexed_lines_t {
public:
  explicit indexed_lines_t(std::vector<char const*> candidates) : _candidates(std::move(candidates)) {}

  char const* line_after(char const* from) {
    while (_next != _candidates.size() && _candidates[_next] <= from)
      ++_next;
    return _next == _candidates.size() ? nullptr : _candidates[_next];
  }

private:
  std::vector<char const*> _candidates;
  std::size_t _next = 0;
};

template <typename Lines>
delimiter_t find_delimiter(char const* begin, char const* end, std::string const& delimiter, bool at_line_start,
                           Lines& lines, mime_errors_handler_t* errors) {
  // A percent escape can put a line feed into a boundary; then no line is a delimiter line.
  bool const is_possible = begin != end && delimiter.find('\n') == std::string::npos;
  char const* line = !is_possible ? nullptr : at_line_start ? begin : lines.line_after(begin);
  for (; line; line = lines.line_after(line)) {
    tested_line_t const tested = test_line(line, end, delimiter);
    if (tested.kind == line_kind_t::other)
      continue;
    // The word, not the delimiter's text: applications look for it.
    if (tested.kind == line_kind_t::delimiter_without_line_feed)
      report(errors, "Missing newline after boundary string at end of body part", "delimiter");
    return { line == begin ? begin : line - 1, tested.next, tested.is_closing };
  }
  report(errors, "No closing MIME boundary found", delimiter);
  return { end, end };
}

template <typename Lines>
std::vector<range_t> split(char const* begin, char const* end, std::string const& delimiter, bool first_only,
                           Lines lines, mime_errors_handler_t* errors) {
  std::vector<range_t> ranges;
  char const* cursor = begin;
  while (true) {
    delimiter_t const found = find_delimiter(cursor, end, delimiter, ranges.empty(), lines, errors);
    if (ranges.empty() && found.content_end == cursor && *cursor != '\n')
      report_low(errors, "Empty preamble of MIME (must contain at least 1 empty line)");
    ranges.push_back({ cursor, found.content_end });
    cursor = found.next;
    if (cursor == end || found.is_closing || (first_only && ranges.size() == 2))
      break;
  }
  ranges.push_back({ cursor, end });
  return ranges;
}

}  // namespace

char const* find_boundary(char const* begin, char const* end, std::string const& delimiter, bool at_line_start,
                          char const** next, bool* is_closing, mime_errors_handler_t* errors) {
  all_lines_t lines{ end };
  delimiter_t const found = find_delimiter(begin, end, delimiter, at_line_start, lines, errors);
  *next = found.next;
  *is_closing = found.is_closing;
  return found.content_end;
}

std::string parse_preamble(char const* begin, char const* end, std::string const& boundary) {
  if (boundary.empty())
    return unset_string;
  char const* next = nullptr;
  bool is_closing = false;
  char const* const preamble_end = find_boundary(begin, end, "--" + boundary, true, &next, &is_closing, nullptr);
  return sequence_isspace(begin, preamble_end) ? unset_string : std::string(begin, preamble_end);
}

std::vector<range_t> parse_subparts(char const* begin, char const* end, std::string const& boundary, bool first_only,
                                    mime_errors_handler_t* errors) {
  if (begin == end || boundary.empty())
    return {};
  return split(begin, end, "--" + boundary, first_only, all_lines_t{ end }, errors);
}

std::vector<range_t> parse_subparts(char const* begin, char const* end, std::string const& boundary,
                                    mime_errors_handler_t* errors, delimiter_index_t const& index) {
  if (begin == end || boundary.empty())
    return {};
  std::string const delimiter = "--" + boundary;
  return split(begin, end, delimiter, false, indexed_lines_t(index.candidates(begin, end, delimiter)), errors);
}

bool sequence_isspace(char const* begin, char const* end) {
  return std::all_of(begin, end, ascii::is_space);
}

}  // namespace kel
