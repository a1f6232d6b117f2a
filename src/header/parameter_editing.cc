#include <header/parameter_editing.h>

#include <algorithm>
#include <utility>

#include <header/escaped.h>
#include <kel/ascii.h>

namespace kel::header {

namespace {

constexpr std::string_view white_space = " \t\n\v\f\r";

// What a value without quotes consists of (RFC 2045, section 5.1), but for the bytes that RFC 2231 gives a meaning: some
// readers look for it in every value without quotes.
constexpr bool is_token_byte(char c) {
  return ascii::is_print(c) && c != ' ' && std::string_view("()<>@,;:\\\"/[]?='*%").find(c) == std::string_view::npos;
}

std::string_view without_white_space_at_end(std::string_view text) {
  return text.substr(0, text.find_last_not_of(white_space) + 1);
}

// The text in front of a parameter that goes: its semicolon goes with it.
std::string_view without_semicolon(std::string_view text) {
  std::string_view const rest = without_white_space_at_end(text);
  return rest.ends_with(';') ? without_white_space_at_end(rest.substr(0, rest.size() - 1)) : text;
}

// Whether a semicolon has to be written, since what follows would be taken for a part of the new text.
bool lacks_semicolon(std::string_view rest) {
  std::size_t const next = rest.find_first_not_of(white_space);
  return next != rest.npos && rest[next] != ';';
}

void set_parameter(structured_value_t& value, std::string_view name, std::string_view text) {
  auto const is_it = [&](parameter_t const& parameter) { return parameter.name == name; };
  auto const first = std::ranges::find_if(value.parameters, is_it);
  if (first == value.parameters.end()) {
    value.parameters.push_back({ std::string(name), std::string(text) });
    return;
  }
  first->value = text;
  value.parameters.erase(std::remove_if(first + 1, value.parameters.end(), is_it), value.parameters.end());
}

std::string text_of(structured_value_t const& value) {
  std::string text = value.type;
  if (!value.subtype.empty())
    text.append("/").append(value.subtype);
  for (auto const& [name, parameter] : value.parameters)
    text.append(text.empty() ? "" : "; ").append(parameter_text(name, parameter));
  return text;
}

std::string with_appended(std::string_view value, std::string const& text) {
  std::string result(without_white_space_at_end(value));
  if (!result.empty())
    result += result.ends_with(';') ? " " : "; ";
  return result += text;
}

}  // namespace

std::string with_new_texts(std::string_view value, std::vector<written_parameter_t> const& written,
                           new_texts_t const& texts) {
  std::string result;
  std::size_t copied = 0;
  for (std::size_t i = 0; i < written.size(); ++i) {
    if (!texts[i])
      continue;
    std::size_t const begin = static_cast<std::size_t>(written[i].text.data() - value.data());
    std::string_view const before = value.substr(copied, begin - copied);
    result += texts[i]->empty() ? without_semicolon(before) : before;
    result.append(before.ends_with(';') && !texts[i]->empty() ? " " : "").append(*texts[i]);
    copied = begin + written[i].text.size();
    if (lacks_semicolon(value.substr(copied)))
      result += ';';
  }
  return result.append(value.substr(copied));
}

bool reads_the_same(structured_value_t const& a, structured_value_t const& b) {
  auto const sorted = [](std::vector<parameter_t> parameters) {
    std::ranges::stable_sort(parameters, {}, &parameter_t::name);
    return parameters;
  };
  return a.type == b.type && a.subtype == b.subtype && sorted(a.parameters) == sorted(b.parameters);
}

// A value so broken that the new parameter would be read as something else is written anew, from what was read in it.
std::string with_parameter(std::string_view value, std::string_view name, std::string_view text) {
  std::vector<written_parameter_t> const written = written_parameters(value);
  std::string const new_text = parameter_text(name, text);
  new_texts_t texts(written.size());
  bool is_set = false;
  for (std::size_t i = 0; i < written.size(); ++i) {
    if (written[i].name == name)
      texts[i] = std::exchange(is_set, true) ? "" : new_text;
  }
  std::string const result = is_set ? with_new_texts(value, written, texts) : with_appended(value, new_text);
  structured_value_t wanted = parse_structured_value(value);
  set_parameter(wanted, name, text);
  return reads_the_same(parse_structured_value(result), wanted) ? result : text_of(wanted);
}

std::string parameter_text(std::string_view name, std::string_view text) {
  std::string result = std::string(name) + "=";
  if (!text.empty() && std::ranges::all_of(text, is_token_byte))
    return result.append(text);
  return result + '"' + escaped(text) + '"';
}

}  // namespace kel::header
