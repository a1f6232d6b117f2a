#include <codec/converter.h>

#include <base/utf8.h>
#include <codec/charset_name.h>
#include <codec/iconv_converter.h>
#include <codec/single_byte.h>
#include <kel/text.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>

namespace kel {

namespace {

class utf8_converter_t : public converter_t {
public:
  stop_t run(char const*& cursor, char const* last, output_t& out) override {
    out.expect(static_cast<std::size_t>(last - cursor));
    utf8::validate_t validator;
    // Piece by piece, so that what was validated is still in the cache when it is copied.
    while (cursor != last) {
      char const* const piece_end = cursor + std::min(last - cursor, piece_bytes);
      char const* const end = validator.scan(cursor, piece_end);
      out.append(cursor, end);
      cursor = end;
      if (end != piece_end && !(validator.is_incomplete() && piece_end != last))
        return validator.is_incomplete() ? stop_t::incomplete : stop_t::illegal;
    }
    return stop_t::at_end;
  }

  bool is_certain_to_convert(std::string_view) const override { return true; }

private:
  static constexpr std::ptrdiff_t piece_bytes = 16384;
};

// UTF-16 and UTF-32 whose first bytes tell the byte order. A text without a byte order mark is big-endian (RFC 2781,
// section 4.3); the C library would take it to be in the order of this machine.
class byte_order_converter_t : public converter_t {
public:
  struct marks_t {
    std::string_view big_endian;
    std::string_view little_endian;
  };

  byte_order_converter_t(marks_t marks, std::unique_ptr<converter_t> big_endian,
                         std::unique_ptr<converter_t> little_endian)
      : _marks(marks), _big_endian(std::move(big_endian)), _little_endian(std::move(little_endian)) {}

  void restart() override { _chosen = nullptr; }

  stop_t run(char const*& cursor, char const* last, output_t& out) override {
    if (!_chosen)
      choose(cursor, last);
    return _chosen->run(cursor, last, out);
  }

  void finish(output_t& out) override {
    if (_chosen)
      _chosen->finish(out);
  }

private:
  void choose(char const*& cursor, char const* last) {
    std::string_view const text(cursor, last);
    bool const is_little_endian = text.starts_with(_marks.little_endian);
    if (is_little_endian || text.starts_with(_marks.big_endian))
      cursor += _marks.big_endian.size();
    _chosen = is_little_endian ? _little_endian.get() : _big_endian.get();
    _chosen->restart();
  }

  marks_t const _marks;
  std::unique_ptr<converter_t> const _big_endian;
  std::unique_ptr<converter_t> const _little_endian;
  converter_t* _chosen = nullptr;  // null before the first bytes of a text
};

std::unique_ptr<converter_t> open_byte_order_converter(std::string const& from, std::string const& to) {
  using namespace std::literals;
  auto big_endian = open_iconv_converter(from + "be", to);
  auto little_endian = open_iconv_converter(from + "le", to);
  if (!big_endian || !little_endian)
    return nullptr;
  auto const marks = from == "utf-16" ? byte_order_converter_t::marks_t{ "\xFE\xFF"sv, "\xFF\xFE"sv }
                                      : byte_order_converter_t::marks_t{ "\0\0\xFE\xFF"sv, "\xFF\xFE\0\0"sv };
  return std::make_unique<byte_order_converter_t>(marks, std::move(big_endian), std::move(little_endian));
}

std::unique_ptr<converter_t> open_converter(std::string const& from, std::string const& to) {
  if (from.empty() || to.empty())
    return nullptr;
  if (from == "utf-16" || from == "utf-32")
    return open_byte_order_converter(from, to);
  if (to == "utf-8") {
    if (from == "utf-8")
      return std::make_unique<utf8_converter_t>();
    if (single_byte_table_t const* const table = find_single_byte_table(from))
      return open_single_byte_converter(*table);
  }
  return open_iconv_converter(from, to);
}

// Keeps every converter that was opened: there are as many as the C library knows names, and opening one again costs
// up to a tenth of a millisecond, which a message that names another charset in every word would make us pay each time.
class converter_cache_t {
public:
  converter_t* find(std::string_view from, std::string_view to) {
    if (_latest && from == _latest_from && to == _latest_to)
      return _latest;

    std::string const opened_from = opened_charset_name(text::lowercase(from));
    std::string const opened_to = opened_charset_name(text::lowercase(to));
    converter_t* const converter = find_opened(opened_from, opened_to);
    // The locale may change.
    _latest = from.empty() || to.empty() ? nullptr : converter;
    _latest_from = from;
    _latest_to = to;
    return converter;
  }

private:
  converter_t* find_opened(std::string const& from, std::string const& to) {
    std::pair const names(from, to);
    auto const known = _converters.find(names);
    if (known != _converters.end())
      return known->second.get();
    auto converter = open_converter(from, to);
    return converter ? _converters.emplace(names, std::move(converter)).first->second.get() : nullptr;
  }

  std::map<std::pair<std::string, std::string>, std::unique_ptr<converter_t>> _converters;
  std::string _latest_from;
  std::string _latest_to;
  converter_t* _latest = nullptr;  // what the latest names mean, when it may be used again
};

}  // namespace

converter_t* find_converter(std::string_view from_charset, std::string_view to_charset) {
  static thread_local converter_cache_t cache;
  return cache.find(from_charset, to_charset);
}

}  // namespace kel
