#include <kelmime/header_parser.h>

#include <algorithm>
#include <iterator>

#include <kel/ascii.h>
#include <kel/text.h>
#include <kelmime/header_parsers.h>

namespace kel::header_parser {

namespace {

std::string_view view_of(header_string_t const& body) {
  return { body.data, body.length };
}

// Where a header line may be folded, as ascending offsets: behind its elements, but not so that a line of blanks remains.
std::vector<std::size_t> places_to_fold(std::string_view line) {
  std::size_t const colon = line.find(':');
  if (colon == line.npos)
    return {};
  std::size_t const value = colon + 1;
  field_parser_t const* parser =
      field_parsers_init::field_parser_for_field_path({ text::lowercase(line.substr(0, colon)), "split" });
  if (!parser)
    parser = field_parsers_init::field_parser_for_string("#any-header.split");
  std::vector<std::size_t> places = parser ? parser->element_ends(line.substr(value)) : std::vector<std::size_t>();
  std::size_t const last_text = line.find_last_not_of(" \t");
  for (std::size_t& place : places)
    place += value;
  std::erase_if(places, [&](std::size_t place) { return place > last_text; });
  return places;
}

// Puts the pieces of a line one after the other.
class folded_line_t {
public:
  folded_line_t(std::string& out, std::size_t soft, std::size_t hard) : _out(out), _soft(soft), _hard(hard) {}

  void add(std::string_view piece) {
    if (_column != 0 && _column + piece.size() > _soft)
      fold_before(piece);
    std::size_t const blanks_at_end = piece.size() - (piece.find_last_not_of(" \t") + 1);
    while (_column + piece.size() > _hard) {
      std::size_t const cut = last_blank(piece.substr(0, piece.size() - blanks_at_end));
      if (cut == piece.npos)
        break;
      append(piece.substr(0, cut));
      piece.remove_prefix(cut);
      fold_before(piece);
    }
    append(piece);
  }

private:
  // The last blank up to which the text fits, or else the first one behind, that stands between two words. The text ends
  // with a word.
  std::size_t last_blank(std::string_view text) const {
    std::size_t const first_word = std::min(text.find_first_not_of(" \t"), text.size());
    std::size_t const room = _hard - std::min(_hard, _column);
    std::size_t const cut = text.find_last_of(" \t", room);
    return cut != text.npos && cut > first_word ? cut : text.find_first_of(" \t", std::max(first_word, room));
  }

  void fold_before(std::string_view piece) {
    _out += '\n';
    _column = 0;
    if (!ascii::is_blank(piece.front()))
      append(" ");
  }

  void append(std::string_view piece) {
    _out += piece;
    _column += piece.size();
  }

  std::string& _out;
  std::size_t _soft;
  std::size_t _hard;
  std::size_t _column = 0;
};

}  // namespace

std::string parse_from_header(std::string_view field_string, header_string_t const& body) {
  return field_parsers_init::apply_field_string(field_string, view_of(body));
}

std::string parse_from_header(std::string_view field_string, std::string const& body) {
  return field_parsers_init::apply_field_string(field_string, body);
}

std::string parse_from_header(std::string_view field_string, char const* body) {
  return field_parsers_init::apply_field_string(field_string, body);
}

std::string parse_from_header(field_path_t const& path, header_string_t const& body) {
  return field_parsers_init::apply_field_path(path, view_of(body));
}

std::vector<std::string> parse_all_from_header(std::string_view field_string, header_string_t const& body) {
  return field_parsers_init::parse_bodies_with_field_path(string_to_field_path(field_string),
                                                          { std::string(view_of(body)) });
}

std::vector<std::string> parse_all_from_header(std::string_view field_string, std::string const& body) {
  return field_parsers_init::parse_bodies_with_field_path(string_to_field_path(field_string), { body });
}

std::vector<std::string> parse_all_from_header(std::string_view field_string, char const* body) {
  return parse_all_from_header(field_string, std::string(body));
}

std::pair<char const*, char const*> locate_header(std::string_view name, char const* first, char const* last) {
  char const* const start = std::search(first, last, name.begin(), name.end());
  if (start == last)
    return { last, last };
  char const* end = start;
  do {
    end = std::find(end, last, '\n');
    end += end == last ? 0 : 1;
  } while (end != last && ascii::is_blank(*end));
  return { start, end };
}

template <byte_inserter Out>
Out wrap(char const* first, char const* last, Out out, std::size_t soft, std::size_t hard) {
  std::string_view const line(first, static_cast<std::size_t>(last - first));
  auto& container = container_of(out);
  if (line.empty() || (line.size() < soft && line.size() <= hard)) {
    container.insert(container.end(), first, last);
    return out;
  }
  std::string text;
  folded_line_t folded(text, soft, hard);
  std::size_t start = 0;
  for (std::size_t const place : places_to_fold(line)) {
    folded.add(line.substr(start, place - start));
    start = place;
  }
  folded.add(line.substr(start));
  container.insert(container.end(), text.begin(), text.end());
  return out;
}

template KELMIME_EXPORT std::back_insert_iterator<std::string> wrap(char const*, char const*,
                                                                    std::back_insert_iterator<std::string>, std::size_t,
                                                                    std::size_t);
template KELMIME_EXPORT std::back_insert_iterator<std::vector<char>> wrap(char const*, char const*,
                                                                          std::back_insert_iterator<std::vector<char>>,
                                                                          std::size_t, std::size_t);

}  // namespace kel::header_parser
