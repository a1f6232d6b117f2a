#include <security/inline_blocks.h>

#include <algorithm>
#include <array>
#include <optional>

#include <kel/ascii.h>

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

// "Version: 2". What follows the colon is the writer's.
bool is_armour_header(std::string_view line) {
  constexpr std::array<std::string_view, 5> names = { "Version: ", "Comment: ", "Hash: ", "Charset: ", "MessageID: " };
  return std::ranges::any_of(names, [&](std::string_view name) { return line.starts_with(name); });
}

bool is_base_64(std::string_view line) {
  return std::ranges::all_of(line, [](char c) { return ascii::is_alnum(c) || c == '+' || c == '/' || c == '='; });
}

//   outside ─ BEGIN SIGNED ─► signed_text ─ BEGIN SIGNATURE ─► headers ─ empty line ─► data ─ checksum ─► end ─► outside
//   outside ─ BEGIN MESSAGE ─────────────────────────────────►
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
    _found.is_all = is_closed && !_has_other_text && _found.blocks.size() == 1;
    return std::move(_found);
  }

private:
  enum class place_t { outside, signed_text, headers, data, end };

  void read(std::size_t begin, std::string_view line) {
    if (line == signed_begin || line == message_begin) {
      _has_other_text = _has_other_text || _place != place_t::outside;
      _begin = begin;
      _is_encrypted = line == message_begin;
      _place = _is_encrypted ? place_t::headers : place_t::signed_text;
      return;
    }
    switch (_place) {
      case place_t::outside: expect(is_blank(line)); return;
      case place_t::signed_text:
        if (line == signature_begin)
          _place = place_t::headers;
        else
          expect(!line.starts_with("-----"));  // in signed text "- " stands before dashes
        return;
      case place_t::headers:
        if (is_blank(line))
          _place = place_t::data;
        else if (!close(begin, line))
          expect(is_armour_header(line));
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
};

}  // namespace

inline_blocks_t find_inline_blocks(std::string_view text) {
  return block_scanner_t(text).scan();
}

}  // namespace kel
