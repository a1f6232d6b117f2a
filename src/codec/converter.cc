#include <codec/converter.h>

#include <algorithm>
#include <array>
#include <string>

#include <codec/charset_name.h>
#include <codec/iconv_converter.h>
#include <codec/single_byte.h>
#include <codec/utf8.h>
#include <kel/text.h>

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

// The charsets of a message are few; the oldest entry makes room for the next.
class converter_cache_t {
public:
  converter_t* find(std::string const& from, std::string const& to) {
    auto const known =
        std::ranges::find_if(_entries, [&](entry_t const& entry) { return entry.from == from && entry.to == to; });
    bool const is_known = known != _entries.end();
    if (is_known && !has_byte_order_mark(from))
      return known->converter.get();

    auto converter = open_converter(from, to);
    if (!converter)
      return nullptr;
    entry_t& entry = is_known ? *known : _entries[_next++ % _entries.size()];
    entry = { from, to, std::move(converter) };
    return entry.converter.get();
  }

private:
  struct entry_t {
    std::string from;
    std::string to;
    std::unique_ptr<converter_t> converter;
  };

  std::array<entry_t, 8> _entries;
  std::size_t _next = 0;
};

}  // namespace

converter_t* find_converter(std::string_view from_charset, std::string_view to_charset) {
  static thread_local converter_cache_t cache;
  return cache.find(opened_charset_name(from_charset), opened_charset_name(text::lowercase(to_charset)));
}

}  // namespace kel
