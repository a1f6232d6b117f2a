#include <kelmime/header_parser.h>

#include <algorithm>
#include <iterator>

#include <header/fold.h>
#include <kel/ascii.h>
#include <kel/text.h>
#include <kelmime/header_parsers.h>

namespace kel::header_parser {

namespace {

std::string_view view_of(header_string_t const& body) {
  return { body.data, body.length };
}

// Knows where the elements of a header are; null where nothing is known.
field_parser_t const* parser_of(std::string_view line) {
  std::string const name = text::lowercase(line.substr(0, line.find(':')));
  field_parser_t const* const parser = field_parsers_init::field_parser_for_field_path({ name, "split" });
  return parser ? parser : field_parsers_init::field_parser_for_string("#any-header.split");
}

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
  field_parser_t const* const parser = needs_folding(line, soft, hard) ? parser_of(line) : nullptr;
  std::string text;
  if (parser)
    parser->wrap(line, std::back_inserter(text), soft, hard);
  else
    fold_line(line, {}, text, soft, hard);
  auto& container = container_of(out);
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
