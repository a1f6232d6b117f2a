// The parsers behind field paths: one step of a path, and the registry that knows which step belongs to which path.
#pragma once

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/address.h>
#include <kelmime/export.h>
#include <kelmime/field_path.h>
#include <kelmime/header_string.h>

namespace kel {

// One step of a field path: takes one string and yields none, one or many. Parsers belong to the registry and live as
// long as the process.
class KELMIME_EXPORT field_parser_t {
public:
  // How a captured text becomes a value. All captures of a parser share one type.
  enum class type_t : unsigned {
    text = 0,            // as it stands, with the escapes removed where the capture is marked quoted
    formatted_date = 1,  // `formatted_date`
    relative_date = 2,   // not for captures: converting one ends the process; see the function "#relative"
    formatted_size = 3,  // `formatted_size`
    no_tabs = 4,         // trailing spaces removed, tabs turned into spaces
    function = 5,        // no pattern; the specifier names a function
  };

  using string_sink_t = std::back_insert_iterator<std::vector<std::string>>;
  using char_function_t = std::function<header::match_t(char const*& cursor, char const* end)>;
  using transform_char_function_t = std::function<std::string(char const* first, char const* last)>;
  using transform_function_t = std::function<std::string(std::string const& value)>;

  // A parser of regular expression `specifier` whose group `capture_index` is the value, or, for the type `function`, a
  // parser of the function named `specifier`. The functions that exist from the start are "split", "name", "address",
  // "protocol", "server", "path", "mailto", "#relative" and "#local"; any other name does nothing until one of the
  // setters gives it behaviour. An empty regular expression ends the process.
  field_parser_t(std::string const& specifier, std::size_t capture_index, type_t type, bool quoted);
  ~field_parser_t();
  field_parser_t(field_parser_t const&) = delete;
  field_parser_t& operator=(field_parser_t const&) = delete;

  // Adds an alternative group, tried after those added before. A type other than the parser's ends the process.
  void add_capture_index(std::size_t index, type_t type, bool quoted);

  // Behaviour for a function specifier. Not to be called while another thread asks for values. A transform that returns
  // `unset_string` yields no value.
  void set_char_function(char_function_t function);
  void set_transform_char_function(transform_char_function_t function);
  void set_transform_function(transform_function_t function);
  bool has_function() const;

  // Appends what this parser extracts from one string.
  void parse_field(std::string_view value, string_sink_t out) const;

  // The same for each string of a range.
  template <std::input_iterator In>
  void parse_fields(In first, In last, string_sink_t out) const {
    for (; first != last; ++first) {
      if (_specifier.empty())
        *out++ = *first;
      else
        parse_field(*first, out);
    }
  }

  // The first extracted value, or `unset_string`.
  std::string parse_field(header_string_t const& value) const;
  std::string parse_field(std::string const& value) const;
  std::string parse_field(char const* value) const { return parse_field(std::string(value)); }

  // Appends one unfolded header line, folded between the elements that this parser finds in its value; the rules are those of
  // `header_parser::wrap`, which chooses the parser by the name.
  void wrap(std::string_view line, std::back_insert_iterator<std::string> out, std::size_t soft,
            std::size_t hard) const;

private:
  struct pattern_t;

  // Hands each value to `take` until that returns false.
  template <typename Take>
  void extract(std::string_view value, Take take) const;
  template <typename Take>
  void walk_elements(std::string_view value, Take take) const;
  template <typename Take>
  void walk_matches(std::string_view value, Take take) const;
  std::string first_value(std::string_view value) const;
  std::string captured(std::string_view text, std::size_t index) const;

  transform_char_function_t _transform_char_function;
  transform_function_t _transform_function;
  char_function_t _char_function;
  std::string _specifier;
  std::unique_ptr<pattern_t> _pattern;
  type_t _type;
  std::vector<std::size_t> _capture_indices;
  std::set<std::size_t> _quoted_indices;
};

// The one registry of the process. It is built when the first of these functions is called, from whichever thread, out of
// the resource "specifiers.plist" and the user's copy of it in "Resources" below the application's support folder, whose
// parsers and shorthands replace the equally named ones. A missing or unreadable resource ends the process.
namespace field_parsers_init {

// Builds the registry now.
KELMIME_EXPORT void init();

// The parser of the step that ends at a path, or null. "subject#lc.x" has the parsers of "subject.x".
KELMIME_EXPORT field_parser_t* field_parser_for_field_path(field_path_t const& path);
KELMIME_EXPORT field_parser_t* field_parser_for_string(std::string_view text);

// Replaces a short form such as "content-type.charset" by the path that it stands for; other paths stay as they are.
KELMIME_EXPORT void expand_implicit_field_path(field_path_t& path);

// The shortest form of a path.
KELMIME_EXPORT field_path_t compact_field_path(field_path_t const& path);

// All values that a path has in a list of header bodies, in order.
KELMIME_EXPORT std::vector<std::string> parse_bodies_with_field_path(field_path_t const& path,
                                                                     std::vector<std::string> bodies);

// The first value of each step, or `unset_string`. Steps without a parser leave the value as it is.
KELMIME_EXPORT std::string apply_field_path(field_path_t const& path, std::string_view body);
KELMIME_EXPORT std::string apply_field_string(std::string_view text, std::string_view body);

// Every path that can be written, each in its shortest form.
KELMIME_EXPORT std::set<field_path_t> get_field_paths();

// Shorthands name groups of paths. "any-address#lc" is the shorthand "any-address" with "#lc" at each header name.
KELMIME_EXPORT bool is_shorthand(std::string_view name);
KELMIME_EXPORT std::vector<field_path_t> get_field_paths_for_shorthand(std::string const& name);

// The parsers of a named function, so that an application can give it behaviour. An unknown name ends the process.
KELMIME_EXPORT std::vector<field_parser_t*> const& get_field_parsers_for_function(std::string const& name);

}  // namespace field_parsers_init

}  // namespace kel
