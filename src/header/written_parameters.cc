// The forms of RFC 2231 for parameters that need one:
//
//   name*=utf-8''Gr%C3%BC%C3%9Fe       a text that is not ASCII
//   name*0="long "; name*1="text"      one that is longer than a line
//   name*0*=utf-8''...; name*1*=...    both
//
// Deliberately without a plain form for old readers beside it: of readers that know both forms, some take whichever comes
// first, and some the plain one always.
#include <header/written_parameters.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <vector>

#include <base/utf8.h>
#include <header/encoded_words.h>
#include <header/escaped.h>
#include <header/parameter_editing.h>
#include <kel/ascii.h>
#include <kelmime/bytes.h>
#include <kelmime/hex.h>

namespace kel::header {

namespace {

constexpr std::size_t longest_text = 76;  // with a blank before it and a semicolon behind it, 78

// A longer name leaves its sections no room.
constexpr std::size_t longest_name_of_sections = 40;

constexpr bool is_control(char c) {
  return !is_high(c) && !ascii::is_print(c);
}

// Whether a text cannot stand in quotes.
bool needs_extended_form(std::string_view text, bool encode) {
  return (encode && std::ranges::any_of(text, is_control)) || needs_encoded_words(text, encode);
}

// What an extended value consists of besides "%" and digits (RFC 2231, section 7).
constexpr bool is_attribute_byte(char c) {
  return ascii::is_alnum(c) || std::string_view("!#$&+-.^_`{|}~").find(c) != std::string_view::npos;
}

std::string percent_encoded(std::string_view text) {
  std::string result;
  for (char const c : text) {
    if (is_attribute_byte(c)) {
      result += c;
    } else {
      result += '%';
      text::int_to_hex(byte_value(c), std::back_inserter(result), 2);
    }
  }
  return result;
}

// The first character of a text; of bytes that are no UTF-8, perhaps a few.
std::string_view first_character(std::string_view text) {
  constexpr std::size_t longest_character = 4;
  std::size_t end = 1;
  while (end < std::min(text.size(), longest_character) && (byte_value(text[end]) & 0xC0) == 0x80)
    ++end;
  return text.substr(0, end);
}

std::string in_sections(std::string_view name, std::string_view text, bool is_extended) {
  std::string result;
  for (std::size_t number = 0; !text.empty(); ++number) {
    std::string section = std::string(name) + "*" + std::to_string(number) + (is_extended ? "*=" : "=\"");
    section += is_extended && number == 0 ? "utf-8''" : "";
    std::size_t const room = longest_text - (is_extended ? 0 : 1);
    while (!text.empty()) {
      std::string_view const character = first_character(text);
      std::string const written = is_extended ? percent_encoded(character) : escaped(character);
      if (section.size() + written.size() > room)
        break;
      section += written;
      text.remove_prefix(character.size());
    }
    result.append(number == 0 ? "" : "; ").append(section).append(is_extended ? "" : "\"");
  }
  return result;
}

bool can_be_cut(std::string_view name) {
  return name != "boundary" && name.size() <= longest_name_of_sections;
}

// All parameters of one name.
class group_t {
public:
  explicit group_t(bool encode) : _encode(encode) {}

  void add_place(std::size_t index, std::string_view text) {
    _places.push_back(index);
    _is_long |= text.size() > longest_text;
    _is_misread |= needs_extended_form(text, _encode);
  }
  void add_value(std::string_view value) { _values.push_back(value); }

  void rewrite(std::string_view name, new_texts_t& texts) const {
    bool const cuts = can_be_cut(name) && _values.size() == 1;
    if (!_is_misread && !(cuts && _is_long))
      return;
    for (std::size_t const place : _places)
      texts[place] = "";
    // Beside an extended form, readers ignore the others.
    bool const is_extended =
        std::ranges::any_of(_values, [this](auto text) { return needs_extended_form(text, _encode); });
    std::string& text = *texts[_places.front()];
    for (std::string_view const value : _values)
      text.append(text.empty() ? "" : "; ").append(written(name, value, is_extended, cuts));
  }

private:
  static std::string written(std::string_view name, std::string_view value, bool is_extended, bool cuts) {
    std::string text =
        is_extended ? std::string(name) + "*=utf-8''" + percent_encoded(value) : parameter_text(name, value);
    return cuts && text.size() > longest_text ? in_sections(name, value, is_extended) : text;
  }

  bool _encode;
  std::vector<std::size_t> _places;  // among the written parameters
  std::vector<std::string_view> _values;
  bool _is_long = false;
  bool _is_misread = false;
};

}  // namespace

bool holds_parameters(std::string_view name) {
  return name == "content-type" || name == "content-disposition";
}

std::string with_written_parameters(std::string_view stored, bool encode) {
  std::string const value = encode ? utf8::with_replacements(stored) : std::string(stored);
  std::vector<written_parameter_t> const written = written_parameters(value);
  structured_value_t const read = parse_structured_value(value);
  std::map<std::string_view, group_t> groups;
  for (std::size_t i = 0; i < written.size(); ++i)
    groups.try_emplace(written[i].name, encode).first->second.add_place(i, written[i].text);
  for (auto const& [name, text] : read.parameters)
    groups.try_emplace(name, encode).first->second.add_value(text);
  new_texts_t texts(written.size());
  for (auto const& [name, group] : groups)
    group.rewrite(name, texts);
  std::string const changed = with_new_texts(value, written, texts);
  std::string const& result = reads_the_same(parse_structured_value(changed), read) ? changed : value;
  return needs_encoded_words(result, encode) ? in_encoded_words_between(result, "()/;=", encode) : result;
}

}  // namespace kel::header
