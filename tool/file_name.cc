#include "file_name.h"

#include "utf8.h"

namespace kel::tool {

namespace {

constexpr std::size_t longest_name = 255;
constexpr std::size_t longest_extension = 32;
constexpr std::string_view replacement = "\xef\xbf\xbd";

// Separators of this system and of those that a file may travel to.
bool is_forbidden(char32_t value) {
  return is_control(value) || is_reordering(value) || value == U'/' || value == U'\\' || value == U':';
}

std::string with_safe_characters(std::string_view wanted) {
  std::string name;
  for (std::size_t position = 0; position < wanted.size();) {
    character_t const character = take_character(wanted, position);
    if (!character.is_valid)
      name += replacement;
    else if (is_forbidden(character.value))
      name += '_';
    else
      name += character.bytes;
  }
  return name;
}

std::string_view trimmed(std::string_view text) {
  std::size_t const first = text.find_first_not_of(' ');
  return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// ".pdf" of "report.pdf"; nothing for a name that begins with its only dot, and for an extension that is a sentence.
std::string_view extension_of(std::string_view name) {
  std::size_t const dot = name.rfind('.');
  bool const is_extension = dot != name.npos && dot > 0 && name.size() - dot <= longest_extension;
  return is_extension ? name.substr(dot) : std::string_view();
}

std::string with_suffix(std::string_view name, std::string_view suffix) {
  std::string_view const extension = extension_of(name);
  std::string_view const stem = name.substr(0, name.size() - extension.size());
  std::string result(cut(stem, longest_name - suffix.size() - extension.size()));
  return result.append(suffix).append(extension);
}

}  // namespace

std::string safe_file_name(std::string_view wanted) {
  std::string name(trimmed(with_safe_characters(wanted)));
  if (name.empty())
    return "Attachment";
  // Hidden files and options of other programs; this takes care of "." and ".." too.
  if (name.front() == '.' || name.front() == '-')
    name.front() = '_';
  return with_suffix(name, "");
}

std::string numbered_file_name(std::string_view name, std::size_t number) {
  return with_suffix(name, "-" + std::to_string(number));
}

}  // namespace kel::tool
