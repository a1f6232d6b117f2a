#include <security/inline_blocks.h>

#include <algorithm>
#include <array>
#include <optional>

#include <kel/ascii.h>
#include <kel/regexp.h>
#include <security/long_lines.h>

namespace kel {

namespace {

constexpr std::string_view signed_begin = "-----BEGIN PGP SIGNED MESSAGE-----";
constexpr std::string_view signature_begin = "-----BEGIN PGP SIGNATURE-----";
constexpr std::string_view signature_end = "-----END PGP SIGNATURE-----";
constexpr std::string_view message_begin = "-----BEGIN PGP MESSAGE-----";
constexpr std::string_view message_end = "-----END PGP MESSAGE-----";

bool is_blank(std::string_view line) {
  return std::ranges::all_of(line, ascii::is_space);
}

// Above signed text. Only names of digests, since GnuPG believes other lines: "NotDashEscaped: ..." has it read the text in
// another way.
bool is_hash_header(std::string_view line) {
  static regexp::pattern_t const pattern(R"(\AHash:( (MD|SHA|RIPEMD)[0-9-]{1,7},?)+\Z)");
  return bool(regexp::search(pattern, line));
}

// Under the dashes. What follows the colon is the writer's.
bool is_armour_header(std::string_view line) {
  constexpr std::array<std::string_view, 5> names = { "Version: ", "Comment: ", "Hash: ", "Charset: ", "MessageID: " };
  return std::ranges::any_of(names, [&](std::string_view name) { return line.starts_with(name); });
}

// The one header line that programs add by themselves, and that has no room for words.
bool is_version_of_gnupg(std::string_view line) {
  static regexp::pattern_t const pattern(
      R"(\AVersion: GnuPG[A-Za-z0-9/]{0,12} v[0-9.]{1,10}( \([A-Za-z0-9/-]{1,16}\))?\Z)");
  return bool(regexp::search(pattern, line));
}

bool is_base_64(std::string_view line) {
  return std::ranges::all_of(line, [](char c) { return ascii::is_alnum(c) || c == '+' || c == '/' || c == '='; });
}

//   outside ─ BEGIN SIGNED ─► hashes ─ empty line ─► signed_text ─ BEGIN SIGNATURE ─► headers
//   outside ─ BEGIN MESSAGE ────────────────────────────────────────────────────────► headers
//   headers ─ empty line ─► data ─ checksum ─► end ─► outside
class block_scanner_t {
public:
  explicit block_scanner_t(std::string_view text) : _text(text) {}

  inline_blocks_t scan() {
    for (std::size_t begin = 0; begin < _text.size();) {
      std::size_t const end = std::min(_text.find('\n', begin), _text.size());
      read(begin, _text.substr(begin, end - begin));
      begin = end + 1;
    }
    bool const is_closed = _place == place_t::outside;
    _found.is_alone = is_closed && !_has_other_text && _found.blocks.size() == 1;
    _found.is_all = _found.is_alone && !_has_words_in_header;
    return std::move(_found);
  }

private:
  enum class place_t { outside, hashes, signed_text, headers, data, end };

  void read(std::size_t begin, std::string_view line) {
    if (line == signed_begin || line == message_begin) {
      _has_other_text = _has_other_text || _place != place_t::outside;
      _begin = begin;
      _is_encrypted = line == message_begin;
      _place = _is_encrypted ? place_t::headers : place_t::hashes;
      return;
    }
    switch (_place) {
      case place_t::outside: expect(is_blank(line)); return;
      case place_t::hashes:
        if (is_blank(line))
          _place = place_t::signed_text;
        else
          expect(is_hash_header(line));
        return;
      case place_t::signed_text:
        if (line == signature_begin)
          _place = place_t::headers;
        else
          expect(!line.starts_with("-----") && !is_checked_in_part(line));  // "- " stands before dashes
        return;
      case place_t::headers:
        if (is_blank(line))
          _place = place_t::data;
        else if (!close(begin, line))
          read_header(line);
        return;
      case place_t::data:
        if (close(begin, line))
          return;
        expect(is_base_64(line));
        if (line.starts_with('='))
          _place = place_t::end;
        return;
      case place_t::end: expect(close(begin, line)); return;
    }
  }

  void read_header(std::string_view line) {
    expect(is_armour_header(line));
    _has_words_in_header = _has_words_in_header || !is_version_of_gnupg(line);
  }

  bool close(std::size_t begin, std::string_view line) {
    if (line != (_is_encrypted ? message_end : signature_end))
      return false;
    std::size_t const end = std::min(begin + line.size() + 1, _text.size());
    _found.blocks.push_back({ _is_encrypted, _text.substr(_begin, end - _begin) });
    _place = place_t::outside;
    return true;
  }

  void expect(bool is_regular) { _has_other_text = _has_other_text || !is_regular; }

  std::string_view _text;
  inline_blocks_t _found;
  place_t _place = place_t::outside;
  std::size_t _begin = 0;  // of the open block
  bool _is_encrypted = false;
  bool _has_other_text = false;
  bool _has_words_in_header = false;
};

}  // namespace

inline_blocks_t find_inline_blocks(std::string_view text) {
  return block_scanner_t(text).scan();
}

}  // namespace kel
