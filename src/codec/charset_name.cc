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

constexpr auto names_of_utf_8 =
    std::to_array<std::string_view>({ "utf-8", "utf8", "iso-ir-193", "osf05010001", "unicode-1-1-utf-8", "utf8mb4" });

// UCS-2 is the part of UTF-16 without surrogates.
constexpr auto names_of_utf_16 =
    std::to_array<std::string_view>({ "utf-16", "utf16", "csunicode", "iso-10646-ucs-2", "osf00010100", "osf00010101",
                                      "osf00010102", "ucs-2", "ucs2", "unicode" });

// The C library lets UCS-4 have values above U+10FFFF, which UTF-8 cannot express.
constexpr auto names_of_utf_32 =
    std::to_array<std::string_view>({ "utf-32", "utf32", "10646-1:1993", "csucs4", "iso-10646", "iso-10646-ucs-4",
                                      "osf00010104", "osf00010105", "osf00010106", "ucs-4", "ucs4" });

struct spelling_t {
  std::string_view in_mail;
  std::string_view in_the_c_library;
};

constexpr spelling_t spellings[] = {
  { "cp-1250", "cp1250" },
  { "cp-1251", "cp1251" },
  { "cp-1252", "cp1252" },
  { "cp-850", "cp850" },
  { "csbig5", "big5" },
  { "gb_2312-80", "gb18030" },
  { "iso-8859-6-e", "iso-8859-6" },  // RFC 1556: the suffix tells in which direction lines are laid out
  { "iso-8859-6-i", "iso-8859-6" },
  { "iso-8859-8-e", "iso-8859-8" },
  { "iso-8859-8-i", "iso-8859-8" },
  { "ksc_5601", "euc-kr" },
  { "macroman", "macintosh" },
  { "unicode-1-1-utf-7", "utf-7" },
  { "windows-949", "uhc" },
  { "x-cp1250", "cp1250" },
  { "x-cp1251", "cp1251" },
  { "x-cp1252", "cp1252" },
  { "x-euc-jp", "euc-jp" },
  { "x-gbk", "gbk" },
  { "x-mac-cyrillic", "mac-cyrillic" },
  { "x-mac-roman", "macintosh" },
  { "x-sjis", "windows-31j" },
};

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
  if (contains(names_of_utf_16, opened))
    return "utf-16";
  if (contains(names_of_utf_32, opened))
    return "utf-32";
  if (opened == "ucs-4be" || opened == "ucs-4le")
    return "utf-32" + opened.substr(5);
  return opened;
}

std::string_view other_spelling_of(std::string_view opened_name) {
  auto const known = std::ranges::find(spellings, opened_name, &spelling_t::in_mail);
  return known == std::end(spellings) ? "" : known->in_the_c_library;
}

}  // namespace kel
