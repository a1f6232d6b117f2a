// iconv behind a gate.
//
// The gate looks ahead in windows and tells how far the input may be handed to iconv, and why not further: escape
// sequences of ISO-2022-JP and UTF-8 pass through one. Windows begin small and grow, so that a conversion that stops
// early has not looked at much more than it converted: texts of bad lines begin one conversion per line.
#include <codec/iconv_converter.h>

#include <base/utf8.h>
#include <codec/charset_name.h>
#include <codec/iso_2022_jp.h>

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <string_view>

namespace kel {

namespace {

// iconv's descriptor, which is -1 when it is none.
class descriptor_t {
public:
  descriptor_t(std::string const& from, std::string const& to) : _descriptor(iconv_open(to.c_str(), from.c_str())) {}
  ~descriptor_t() {
    if (is_open() && iconv_close(_descriptor) != 0)
      std::fputs("Error: Could not deallocate iconv conversion descriptor.\n", stderr);
  }
  descriptor_t(descriptor_t const&) = delete;
  descriptor_t& operator=(descriptor_t const&) = delete;

  bool is_open() const { return _descriptor != invalid(); }

  stop_t run(char const*& cursor, char const* last, output_t& out) {
    while (true) {
      char* input = const_cast<char*>(cursor);  // iconv's signature is older than const; it does not write there
      std::size_t input_left = static_cast<std::size_t>(last - cursor);
      char* at = out.room(out.block_bytes / 2);
      char* const before = at;
      std::size_t room = static_cast<std::size_t>(out.room_end() - at);
      std::size_t const result = iconv(_descriptor, &input, &input_left, &at, &room);
      int const error = errno;
      bool const is_stuck = input == cursor && at == before;
      cursor = input;
      out.advance_to(at);
      if (result != failed)
        return stop_t::at_end;
      if (error == EILSEQ)
        return stop_t::illegal;
      if (error == EINVAL)
        return stop_t::incomplete;
      if (error != E2BIG || is_stuck)
        return stop_t::other;
    }
  }

  // Forgets what is held back and returns to the initial shift state.
  void reset() { iconv(_descriptor, nullptr, nullptr, nullptr, nullptr); }

  // Writes what is held back and returns to the initial shift state.
  void finish(output_t& out) {
    char* at = out.room(out.block_bytes / 2);
    std::size_t room = static_cast<std::size_t>(out.room_end() - at);
    iconv(_descriptor, nullptr, nullptr, &at, &room);
    out.advance_to(at);
  }

private:
  static constexpr std::size_t failed = static_cast<std::size_t>(-1);
  static iconv_t invalid() { return reinterpret_cast<iconv_t>(-1); }

  iconv_t _descriptor;
};

struct passed_t {
  char const* end;
  stop_t reason;
};

// How much of [first, window_end) may pass in a text that ends at `last`. Where nothing is wrong the end may lie a few
// bytes beyond the window or before it, but not at `first`.
using gate_t = std::function<passed_t(char const* first, char const* window_end, char const* last)>;

passed_t pass_everything(char const*, char const*, char const* last) {
  return { last, stop_t::at_end };
}

passed_t pass_utf8(char const* first, char const* window_end, char const* last) {
  utf8::validate_t validator;
  char const* const end = validator.scan(first, window_end);
  if (end == window_end || (validator.is_incomplete() && window_end != last))
    return { end, stop_t::at_end };
  return { end, validator.is_incomplete() ? stop_t::incomplete : stop_t::illegal };
}

gate_t gate_for(std::string_view from) {
  if (from == "utf-8")
    return pass_utf8;
  if (auto const variant = iso_2022_jp::variant_of(from)) {
    return [variant = *variant](char const* first, char const* window_end, char const* last) -> passed_t {
      auto const [end, reason] = iso_2022_jp::known_range(variant, first, window_end, last);
      return { end, reason };
    };
  }
  return pass_everything;
}

// Whether letters of this charset wait for a combining mark and it has no shift states.
bool is_composing(std::string_view from) {
  constexpr std::string_view names[] = {
    "big5-hkscs",    "big5hkscs",    "cp1255", "cp1258",    "euc-jisx0213", "ms-hebr",         "shift_jisx0213",
    "shiftjisx0213", "windows-1255", "tcvn",   "tcvn-5712", "tcvn5712-1",   "tcvn5712-1:1993", "windows-1258",
  };
  return std::ranges::find(names, from) != std::end(names);
}

class iconv_converter_t : public converter_t {
public:
  iconv_converter_t(std::string const& from, std::string const& to, gate_t gate)
      : _descriptor(from, to), _gate(std::move(gate)), _is_composing(is_composing(from)) {}

  bool is_open() const { return _descriptor.is_open(); }

  void restart() override {
    _descriptor.reset();
    _passed = { nullptr, stop_t::at_end };
    _window = smallest_window;
  }

  stop_t run(char const*& cursor, char const* last, output_t& out) override {
    while (cursor != last) {
      if (!_passed.end || _passed.end <= cursor)
        look_ahead(cursor, last);
      stop_t const stop = _descriptor.run(cursor, _passed.end, out);
      if (stop == stop_t::illegal || stop == stop_t::other)
        return stop;
      if (_passed.reason != stop_t::at_end) {
        // A character that is cut off by what the gate holds back is not one that the end of the text cuts off.
        return stop == stop_t::incomplete ? stop_t::illegal : _passed.reason;
      }
      if (stop == stop_t::incomplete) {
        if (_passed.end == last)
          return stop;
        look_ahead(cursor, last);
      }
    }
    return stop_t::at_end;
  }

  void release(output_t& out) override {
    if (_is_composing)
      _descriptor.finish(out);
  }

  void finish(output_t& out) override { _descriptor.finish(out); }

private:
  static constexpr std::ptrdiff_t smallest_window = 64;
  static constexpr std::ptrdiff_t largest_window = 16384;

  void look_ahead(char const* cursor, char const* last) {
    _passed = _gate(cursor, cursor + std::min(last - cursor, _window), last);
    _window = std::min(_window * 2, largest_window);
  }

  descriptor_t _descriptor;
  gate_t _gate;
  bool const _is_composing;
  passed_t _passed = {};
  std::ptrdiff_t _window = smallest_window;
};

}  // namespace

std::unique_ptr<converter_t> open_iconv_converter(std::string const& from, std::string const& to) {
  for (std::string_view const name :
       { std::string_view(from), iso_2022_jp::superset_of(from), other_spelling_of(from) }) {
    if (name.empty())
      continue;
    auto converter = std::make_unique<iconv_converter_t>(std::string(name), to, gate_for(from));
    if (converter->is_open())
      return converter;
  }
  return nullptr;
}

}  // namespace kel
