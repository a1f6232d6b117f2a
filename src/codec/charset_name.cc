#include <codec/charset_name.h>

#include <kel/ascii.h>
#include <kel/text.h>

#include <langinfo.h>

#include <algorithm>
#include <array>
#include <span>

namespace kel {

namespace {

constexpr std::size_t longest_name = 64;

// No charsets of mail: what their bytes mean depends on the machine or on the program.
constexpr auto internal_forms =
    std::to_array<std::string_view>({ "c99", "char", "internal", "java", "ucs-2-internal", "ucs-2-swapped",
                                      "ucs-4-internal", "ucs-4-swapped", "wchar_t" });

constexpr auto names_of_utf_8 = std::to_array<std::string_view>({ "utf-8", "utf8", "iso-ir-193" });

// The C library lets these have values above U+10FFFF, which UTF-8 cannot express.
constexpr auto names_of_ucs_4 = std::to_array<std::string_view>(
    { "10646-1:1993", "csucs4", "iso-10646", "osf00010104", "osf00010105", "osf00010106", "ucs-4", "ucs-4be", "ucs4" });

constexpr auto beginnings_with_byte_order = std::to_array<std::string_view>(
    { "utf-16", "utf16", "utf-32", "utf32", "ucs", "unicode", "csunicode", "iso-10646" });

bool contains(std::span<std::string_view const> names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

// The C library ignores these, so that names would have any number of spellings.
bool is_ignored(char c) {
  return c == '(' || c == ')' || c == '+';
}

bool is_name_character(char c) {
  return (c >= 'a' && c <= 'z') || ascii::is_digit(c) || c == ':' || c == '.' || c == '_' || c == '-' || is_ignored(c);
}

}  // namespace

std::string opened_charset_name(std::string_view name) {
  std::string opened = name.empty() ? text::lowercase(nl_langinfo(CODESET)) : std::string(name);
  if (opened.size() > longest_name || !std::ranges::all_of(opened, is_name_character))
    return "";
  std::erase_if(opened, is_ignored);
  if (contains(internal_forms, opened))
    return "";
  if (contains(names_of_utf_8, opened))
    return "utf-8";
  if (contains(names_of_ucs_4, opened))
    return "utf-32be";
  return opened == "ucs-4le" ? "utf-32le" : opened;
}

bool has_byte_order_mark(std::string_view opened_name) {
  return std::ranges::any_of(beginnings_with_byte_order,
                             [&](std::string_view beginning) { return opened_name.starts_with(beginning); });
}

}  // namespace kel
