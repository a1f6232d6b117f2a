// Writing of flowed text.
//
// What a segment of a line may be is decided by how it is read back:
//
//   1. it ends just after a space, which tells the reader that the line goes on; with DelSp anywhere, and a space is added;
//   2. it is not "-- ", which would be a signature separator;
//   3. unquoted, it does not begin with ">", which would be a quote marker; where it has to, it is stuffed;
//   4. quoted, the first one is not blank: the reader leaves out the space behind the markers of a blank line.
//
// Quoted text needs no stuffing, since the space behind the markers stands before it, and unquoted text whose first
// character behind its spaces is ">" gets none, since the reader takes none away.
#include <kelmime/format_flowed.h>

#include <codec/flowed_lines.h>
#include <codec/line_lengths.h>

namespace kel {

namespace {

constexpr std::size_t tolerance = 6;  // columns beyond the width that a line may have before flowing is worth it

// The bytes of the first character. Bytes that are no UTF-8 count as characters of at most four.
std::size_t character_size(std::string_view text) {
  std::size_t size = 1;
  while (size < 4 && size < text.size() && is_high(text[0]) && (byte_value(text[size]) & 0xC0) == 0x80)
    ++size;
  return size;
}

// Mail programs quote a line that begins with "From", readers take a space away.
bool needs_stuffing(std::string_view segment) {
  if (!segment.starts_with(' '))
    return segment.starts_with("From") || segment.starts_with('>');
  std::size_t const text = segment.find_first_not_of(' ');
  return text == std::string_view::npos || segment[text] != '>';
}

class flowed_writer_t {
public:
  flowed_writer_t(output_t& out, bool delsp, std::size_t width, bool keep_unquoted, bool count_characters)
      : _out(out), _delsp(delsp), _width(width), _keeps_unquoted(keep_unquoted), _counts_characters(count_characters) {}

  void write_line(std::string_view line) {
    _depth = quote_depth(line);
    std::string_view text = text_of(line);
    _trailing_spaces = {};
    if (text == signature_separator) {
      write_segment(text);
      return;
    }
    std::string_view const kept = without_trailing_spaces(line);
    _trailing_spaces = line.substr(kept.size());
    text = text_of(kept);
    if (_depth == 0 && _keeps_unquoted)
      _out.append(text);
    else
      write_segments(text);
  }

  // Of the line that was written last.
  std::string_view trailing_spaces() const { return _trailing_spaces; }

  bool has_broken_lines() const { return _has_broken_lines; }

private:
  // What stands behind the markers. A space there is not part of it.
  std::string_view text_of(std::string_view line) const {
    line.remove_prefix(_depth);
    if (_depth > 0 && line.starts_with(' '))
      line.remove_prefix(1);
    return line;
  }

  void write_segments(std::string_view text) {
    _first_end = _depth > 0 ? std::min(text.find_first_not_of(' '), text.size()) : 0;
    std::size_t size = segment_size(text);
    write_segment(text.substr(0, size));
    _first_end = 0;
    while (size != text.size()) {
      _out.append(_delsp ? " \n" : "\n");
      _has_broken_lines = true;
      text.remove_prefix(size);
      size = segment_size(text);
      write_segment(text.substr(0, size));
    }
  }

  void write_segment(std::string_view segment) {
    write_quote_markers(_depth, _out);
    if (_depth > 0 ? !segment.empty() : needs_stuffing(segment))
      _out.append(' ');
    _out.append(segment);
  }

  // How much of the text goes on one line.
  std::size_t segment_size(std::string_view text) const {
    // Markers take at most half of a line, so that a deep quote cannot multiply the text.
    std::size_t const width = std::max(_width, 2 * (_depth + 1));
    std::size_t const prefix = _depth > 0 ? _depth + 1 : needs_stuffing(text.substr(0, width));
    std::size_t columns = prefix;
    std::size_t after_space = 0;
    for (std::size_t end = 0; end != text.size();) {
      std::size_t const size = character_size(text.substr(end));
      end += size;
      columns += _counts_characters ? 1 : size;
      if (text[end - 1] == ' ' && can_end(text, end))
        after_space = end;
      if (columns < width)
        continue;
      if (after_space != 0)
        return after_space;
      if (end != text.size() && (is_full(prefix + end, text.substr(end)) || (_delsp && can_end(text, end))))
        return end;
    }
    return text.size();
  }

  // Whether a line of so many bytes has no room for one more character.
  bool is_full(std::size_t bytes, std::string_view rest) const {
    return bytes + character_size(rest) + _delsp > longest_mail_line;
  }

  bool can_end(std::string_view text, std::size_t end) const {
    bool const begins_quote = _depth == 0 && end != text.size() && text[end] == '>';
    bool const is_separator = text.substr(0, end) == (_delsp ? "--" : "-- ");
    return end > _first_end && !begins_quote && !is_separator;
  }

  output_t& _out;
  bool const _delsp;
  std::size_t const _width;
  bool const _keeps_unquoted;
  bool const _counts_characters;
  bool _has_broken_lines = false;

  // Of the present line.
  std::size_t _depth = 0;
  std::size_t _first_end = 0;  // the segment must be longer
  std::string_view _trailing_spaces;
};

}  // namespace

bool should_format_flow(char const* first, char const* last, bool& delsp, std::size_t width) {
  delsp = false;
  while (first != last) {
    char const* const feed = find_byte(first, last, '\n');
    bool const may_be_stuffed = *first == ' ' || *first == '>';
    std::size_t const columns = static_cast<std::size_t>(feed - first) + may_be_stuffed;
    if (columns > tolerance && columns - tolerance > width)
      return true;
    first = feed == last ? last : feed + 1;
  }
  return false;
}

template <byte_inserter Out>
bool format_flow(char const* first, char const* last, Out out, bool delsp, std::size_t width, bool keep_unquoted,
                 bool count_characters) {
  output_t output(container_of(out));
  output.expect(static_cast<std::size_t>(last - first));
  flowed_writer_t writer(output, delsp, width, keep_unquoted, count_characters);
  read_lines(first, last, output, [&](std::string_view line) {
    writer.write_line(line);
    return true;
  });
  if (keep_unquoted && first != last && last[-1] != '\n')
    output.append(writer.trailing_spaces());
  return writer.has_broken_lines();
}

template bool format_flow(char const*, char const*, std::back_insert_iterator<std::string>, bool, std::size_t, bool,
                          bool);
template bool format_flow(char const*, char const*, std::back_insert_iterator<std::vector<char>>, bool, std::size_t,
                          bool, bool);

}  // namespace kel
