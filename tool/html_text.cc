#include "html_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace kel::tool {

namespace {

using std::string_view;

char lowercased(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool is_letter(char c) {
  return lowercased(c) >= 'a' && lowercased(c) <= 'z';
}

bool is_letter_or_digit(char c) {
  return is_letter(c) || (c >= '0' && c <= '9');
}

bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool equals_ignoring_case(string_view text, string_view lower) {
  return std::ranges::equal(text, lower, {}, lowercased);
}

void append_utf8(std::string& out, std::uint32_t value) {
  auto const byte = [&](std::uint32_t bits) { out += static_cast<char>(bits); };
  if (value < 0x80) {
    byte(value);
  } else if (value < 0x800) {
    byte(0xc0 | value >> 6);
    byte(0x80 | (value & 0x3f));
  } else if (value < 0x10000) {
    byte(0xe0 | value >> 12);
    byte(0x80 | (value >> 6 & 0x3f));
    byte(0x80 | (value & 0x3f));
  } else {
    byte(0xf0 | value >> 18);
    byte(0x80 | (value >> 12 & 0x3f));
    byte(0x80 | (value >> 6 & 0x3f));
    byte(0x80 | (value & 0x3f));
  }
}

struct named_character_t {
  string_view name;
  std::uint32_t value;
};

constexpr std::array named_characters = {
  named_character_t{ "amp", '&' },      named_character_t{ "lt", '<' },        named_character_t{ "gt", '>' },
  named_character_t{ "quot", '"' },     named_character_t{ "apos", '\'' },     named_character_t{ "nbsp", ' ' },
  named_character_t{ "copy", 0xa9 },    named_character_t{ "reg", 0xae },      named_character_t{ "laquo", 0xab },
  named_character_t{ "raquo", 0xbb },   named_character_t{ "middot", 0xb7 },   named_character_t{ "auml", 0xe4 },
  named_character_t{ "ouml", 0xf6 },    named_character_t{ "uuml", 0xfc },     named_character_t{ "Auml", 0xc4 },
  named_character_t{ "Ouml", 0xd6 },    named_character_t{ "Uuml", 0xdc },     named_character_t{ "szlig", 0xdf },
  named_character_t{ "agrave", 0xe0 },  named_character_t{ "eacute", 0xe9 },   named_character_t{ "egrave", 0xe8 },
  named_character_t{ "ccedil", 0xe7 },  named_character_t{ "ndash", 0x2013 },  named_character_t{ "mdash", 0x2014 },
  named_character_t{ "lsquo", 0x2018 }, named_character_t{ "rsquo", 0x2019 },  named_character_t{ "ldquo", 0x201c },
  named_character_t{ "rdquo", 0x201d }, named_character_t{ "bull", 0x2022 },   named_character_t{ "hellip", 0x2026 },
  named_character_t{ "euro", 0x20ac },  named_character_t{ "trade", 0x2122 },  named_character_t{ "zwnj", 0x200c },
  named_character_t{ "shy", 0xad },     named_character_t{ "thinsp", 0x2009 }, named_character_t{ "pound", 0xa3 },
};

// The character that a reference means, without its "&" and ";"; 0 for none that we know.
std::uint32_t referenced_character(string_view reference) {
  if (!reference.starts_with('#')) {
    auto const found = std::ranges::find(named_characters, reference, &named_character_t::name);
    return found == named_characters.end() ? 0 : found->value;
  }
  reference.remove_prefix(1);
  bool const is_hexadecimal = reference.starts_with('x') || reference.starts_with('X');
  if (is_hexadecimal)
    reference.remove_prefix(1);
  std::uint32_t value = 0;
  auto const end = reference.data() + reference.size();
  auto const result = std::from_chars(reference.data(), end, value, is_hexadecimal ? 16 : 10);
  bool const is_character = value <= 0x10ffff && (value < 0xd800 || value >= 0xe000);
  return result.ec == std::errc() && result.ptr == end && is_character ? value : 0;
}

// Elements that stand on lines of their own, and those that leave an empty line besides.
constexpr std::array<string_view, 15> blocks = { "address", "article", "aside",   "center", "dd",
                                                 "div",     "dt",      "footer",  "form",   "header",
                                                 "li",      "main",    "section", "table",  "tr" };
constexpr std::array<string_view, 14> paragraphs = { "blockquote", "body", "dl", "h1", "h2", "h3",  "h4",
                                                     "h5",         "h6",   "hr", "ol", "p",  "pre", "ul" };
// Elements whose content is no text.
constexpr std::array<string_view, 4> hidden = { "script", "style", "title", "template" };

template <std::size_t size>
bool is_among(std::array<string_view, size> const& names, string_view name) {
  return std::ranges::find(names, name) != names.end();
}

class renderer_t {
public:
  explicit renderer_t(string_view html) : _rest(html) {}

  std::string render() {
    while (!_rest.empty()) {
      if (_rest.front() == '<')
        take_markup();
      else if (_rest.front() == '&')
        take_reference();
      else
        take_text();
    }
    if (!_text.empty())
      _text += '\n';
    return std::move(_text);
  }

private:
  void take_text() {
    std::size_t const length = std::min(_rest.find_first_of("<&"), _rest.size());
    for (char const c : _rest.substr(0, length)) {
      if (is_space(c)) {
        _wants_blank = true;
      } else {
        make_room();
        _text += c;
      }
    }
    _rest.remove_prefix(length);
  }

  void take_reference() {
    constexpr std::size_t longest = 32;
    std::size_t const end = _rest.substr(0, longest).find(';');
    std::uint32_t const value = end == _rest.npos ? 0 : referenced_character(_rest.substr(1, end - 1));
    if (value == ' ') {
      _wants_blank = true;
    } else {
      make_room();
      append_utf8(_text, value ? value : '&');
    }
    _rest.remove_prefix(value ? end + 1 : 1);
  }

  void take_markup() {
    if (_rest.starts_with("<!--")) {
      skip_past("-->", 4);
    } else if (_rest.starts_with("<!") || _rest.starts_with("<?")) {
      skip_past(">", 2);
    } else if (_rest.size() > 1 && (_rest[1] == '/' || is_letter(_rest[1]))) {
      take_tag();
    } else {
      make_room();
      _text += '<';
      _rest.remove_prefix(1);
    }
  }

  void take_tag() {
    bool const is_closing = _rest[1] == '/';
    std::size_t const name_begin = is_closing ? 2 : 1;
    auto const name_end =
        std::find_if_not(_rest.begin() + static_cast<std::ptrdiff_t>(name_begin), _rest.end(), is_letter_or_digit);
    std::string name(_rest.begin() + static_cast<std::ptrdiff_t>(name_begin), name_end);
    std::ranges::transform(name, name.begin(), lowercased);
    _rest.remove_prefix(end_of_tag());

    if (!is_closing && is_among(hidden, name))
      skip_element(name);
    else if (name == "br")
      ++_wanted_breaks;
    else if (is_among(blocks, name))
      _wanted_breaks = std::max<std::size_t>(_wanted_breaks, 1);
    else if (is_among(paragraphs, name))
      _wanted_breaks = 2;
    else if (name == "td" || name == "th")
      _wants_blank = true;
    if (name == "li" && !is_closing)
      _wants_bullet = true;
  }

  // The length of the tag at the front. A ">" inside quotes does not end it; where quotes are left open, the first ">" does.
  // Each kind of quote can be left open once only, so the whole stays linear.
  std::size_t end_of_tag() const {
    for (std::size_t i = 1; i < _rest.size(); ++i) {
      if (_rest[i] == '>')
        return i + 1;
      if (_rest[i] == '"' || _rest[i] == '\'') {
        i = _rest.find(_rest[i], i + 1);
        if (i == _rest.npos)
          break;
      }
    }
    std::size_t const end = _rest.find('>');
    return end == _rest.npos ? _rest.size() : end + 1;
  }

  void skip_past(string_view closing, std::size_t from) {
    std::size_t const end = _rest.find(closing, from);
    _rest.remove_prefix(end == _rest.npos ? _rest.size() : end + closing.size());
  }

  void skip_element(string_view name) {
    for (std::size_t i = _rest.find("</"); i != _rest.npos; i = _rest.find("</", i + 2)) {
      if (equals_ignoring_case(_rest.substr(i + 2, name.size()), name)) {
        _rest.remove_prefix(i);
        return;
      }
    }
    _rest = {};
  }

  // Writes the white space and the bullet that were wanted before the text that comes now.
  void make_room() {
    if (_text.empty())
      ;  // nothing to keep apart from
    else if (_wanted_breaks > 0)
      _text.append(std::min<std::size_t>(_wanted_breaks, 2), '\n');
    else if (_wants_blank)
      _text += ' ';
    if (_wants_bullet)
      _text += "- ";
    _wanted_breaks = 0;
    _wants_blank = false;
    _wants_bullet = false;
  }

  string_view _rest;
  std::string _text;
  std::size_t _wanted_breaks = 0;
  bool _wants_blank = false;
  bool _wants_bullet = false;
};

}  // namespace

std::string html_to_text(string_view html) {
  return renderer_t(html).render();
}

}  // namespace kel::tool
