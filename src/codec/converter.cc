#include <codec/converter.h>

#include <codec/charset_name.h>
#include <codec/iconv_converter.h>
#include <codec/single_byte.h>
#include <codec/utf8.h>
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

std::unique_ptr<converter_t> open_converter(std::string const& from, std::string const& to) {
  if (from.empty() || to.empty())
    return nullptr;
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
    _latest = from.empty() || has_byte_order_mark(opened_from) ? nullptr : converter;
    _latest_from = from;
    _latest_to = to;
    return converter;
  }

private:
  converter_t* find_opened(std::string const& from, std::string const& to) {
    std::pair const names(from, to);
    auto const known = _converters.find(names);
    if (known != _converters.end() && !has_byte_order_mark(from))
      return known->second.get();
    auto converter = open_converter(from, to);
    return converter ? (_converters[names] = std::move(converter)).get() : nullptr;
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
