// Reading of fixed and flowed text.
//
// In fixed text the marker runs of all mail programs (">>", "> >", ">  >") count as the same quoting. In flowed text
// only ">>" does, since there a space after a ">" belongs to the text.
#include <kelmime/format_flowed.h>

#include <codec/flowed_lines.h>

namespace kel {

namespace {

bool is_blank(std::string_view text) {
  return text.find_first_not_of(' ') == std::string_view::npos;
}

// --- Fixed -------------------------------------------------------------------------------------------------------

// Removes the markers from the line and counts them.
std::size_t take_fixed_quote_markers(std::string_view& line) {
  std::size_t depth = 0;
  std::size_t at = 0;
  while (line.substr(at).starts_with('>')) {
    ++depth;
    ++at;
    for (std::string_view const gap : { " >", "  >" }) {
      if (line.substr(at).starts_with(gap))
        at += gap.size() - 1;
    }
  }
  line.remove_prefix(at);
  return depth;
}

void read_fixed_line(std::string_view line, output_t& out) {
  if (line.starts_with(" >"))
    line.remove_prefix(1);
  std::size_t const depth = take_fixed_quote_markers(line);
  if (line != signature_separator)
    line = without_trailing_spaces(line);
  write_quote_markers(depth, out);
  if (depth > 0 && !line.empty() && line.front() != ' ')
    out.append(' ');
  out.append(line);
}

// --- Flowed ------------------------------------------------------------------------------------------------------

class flowed_reader_t {
public:
  flowed_reader_t(output_t& out, bool delsp, bool keep_unquoted)
      : _out(out), _delsp(delsp), _keeps_unquoted(keep_unquoted) {}

  // Writes a line and tells whether it ends here, or goes on in the next one.
  bool read_line(std::string_view line) {
    std::size_t const depth = quote_depth(line);
    line.remove_prefix(depth);
    if (depth > 0 && line.starts_with(' '))
      line.remove_prefix(1);

    bool const is_continued = _is_flowed && depth == _depth;
    if (_is_flowed && !is_continued)
      _out.append('\n');
    _depth = depth;
    _is_flowed = false;

    if (depth == 0) {
      if (_keeps_unquoted) {
        _out.append(line);
        return true;
      }
      unstuff(line);
    } else if (!is_continued) {
      write_quote_markers(depth, _out);
      if (!is_blank(line))
        _out.append(' ');
    }

    _is_flowed = line.ends_with(' ') && line != signature_separator;
    if (_is_flowed && _delsp)
      line.remove_suffix(1);
    _out.append(line);
    return !_is_flowed;
  }

private:
  // A stuffed ">" keeps its space, so that it is not taken for a quote marker later.
  static void unstuff(std::string_view& line) {
    std::size_t const text = line.find_first_not_of(' ');
    if (line.starts_with(' ') && (text == std::string_view::npos || line[text] != '>'))
      line.remove_prefix(1);
  }

  output_t& _out;
  bool const _delsp;
  bool const _keeps_unquoted;
  bool _is_flowed = false;  // the previous line goes on in this one
  std::size_t _depth = 0;
};

}  // namespace

template <byte_inserter Out>
Out format_deflow(char const* first, char const* last, Out out, bool flowed, bool delsp, bool keep_unquoted) {
  output_t output(container_of(out));
  output.expect(static_cast<std::size_t>(last - first));
  if (flowed) {
    flowed_reader_t reader(output, delsp, keep_unquoted);
    read_lines(first, last, output, [&](std::string_view line) { return reader.read_line(line); });
  } else {
    read_lines(first, last, output, [&](std::string_view line) {
      read_fixed_line(line, output);
      return true;
    });
  }
  return out;
}

template std::back_insert_iterator<std::string> format_deflow(char const*, char const*,
                                                              std::back_insert_iterator<std::string>, bool, bool, bool);
template std::back_insert_iterator<std::vector<char>> format_deflow(char const*, char const*,
                                                                    std::back_insert_iterator<std::vector<char>>, bool,
                                                                    bool, bool);

}  // namespace kel
