#include <codec/single_byte.h>

#include <base/utf8.h>
#include <codec/iconv_converter.h>
#include <kelmime/bytes.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>

namespace kel {

namespace {

// What a byte becomes when it stands alone; false when it has no meaning alone: it begins a longer sequence, changes a
// state, or is held back because the next byte may combine with it.
bool ask_for_byte(converter_t& converter, char byte, single_byte_table_t::entry_t& entry) {
  std::string utf8;
  std::string held_back;
  char const* cursor = &byte;
  converter.restart();
  stop_t stop;
  {
    output_t out(utf8);
    stop = converter.run(cursor, &byte + 1, out);
  }
  {
    output_t out(held_back);
    converter.finish(out);
  }
  entry = {};
  if (stop == stop_t::illegal)
    return true;
  if (stop != stop_t::at_end || utf8.empty() || utf8.size() > entry.utf8.size() || !held_back.empty())
    return false;
  std::ranges::copy(utf8, entry.utf8.begin());
  entry.length = static_cast<std::uint8_t>(utf8.size());
  return true;
}

std::unique_ptr<single_byte_table_t> make_table(converter_t& converter) {
  auto table = std::make_unique<single_byte_table_t>();
  for (int value = 0; value < 256; ++value) {
    if (!ask_for_byte(converter, static_cast<char>(value), table->entries[static_cast<std::size_t>(value)]))
      return nullptr;
  }
  auto const is_mapped = [](single_byte_table_t::entry_t const& entry) { return entry.length > 0; };
  table->is_fully_mapped = std::ranges::all_of(table->entries, is_mapped);
  table->has_ascii = true;
  for (std::size_t value = 0; value < 128; ++value) {
    auto const& entry = table->entries[value];
    table->has_ascii = table->has_ascii && entry.length == 1 && byte_value(entry.utf8[0]) == value;
  }
  return table;
}

class single_byte_converter_t : public converter_t {
public:
  explicit single_byte_converter_t(single_byte_table_t const& table) : _table(table) {}

  stop_t run(char const*& cursor, char const* last, output_t& out) override {
    out.expect(static_cast<std::size_t>(last - cursor));
    while (last - cursor >= 8) {
      char* const at = out.room(8 * sizeof(entry_t::utf8));
      if (_table.has_ascii && utf8::is_ascii_word(cursor)) {
        std::memcpy(at, cursor, 8);
        out.advance_to(at + 8);
        cursor += 8;
      } else if (!convert_bytes(cursor, cursor + 8, at, out)) {
        return stop_t::illegal;
      }
    }
    char* const at = out.room(8 * sizeof(entry_t::utf8));
    return convert_bytes(cursor, last, at, out) ? stop_t::at_end : stop_t::illegal;
  }

  bool is_certain_to_convert(std::string_view text) const override {
    return _table.is_fully_mapped || (_table.has_ascii && utf8::is_ascii(text));
  }

private:
  using entry_t = single_byte_table_t::entry_t;

  // Each entry is written whole, and the next one over what it has too many.
  bool convert_bytes(char const*& cursor, char const* end, char* at, output_t& out) const {
    while (cursor != end) {
      entry_t const& entry = _table.entries[byte_value(*cursor)];
      if (entry.length == 0)
        break;
      std::memcpy(at, entry.utf8.data(), entry.utf8.size());
      at += entry.length;
      ++cursor;
    }
    out.advance_to(at);
    return cursor == end;
  }

  single_byte_table_t const& _table;
};

}  // namespace

single_byte_table_t const* find_single_byte_table(std::string const& opened_name) {
  static std::mutex mutex;
  static std::map<std::string, std::unique_ptr<single_byte_table_t const>> tables;

  std::lock_guard const lock(mutex);
  auto const known = tables.find(opened_name);
  if (known != tables.end())
    return known->second.get();
  // Names that are no charset are not kept: a message can make up any number of them.
  auto const converter = open_iconv_converter(opened_name, "utf-8");
  return converter ? tables.emplace(opened_name, make_table(*converter)).first->second.get() : nullptr;
}

std::unique_ptr<converter_t> open_single_byte_converter(single_byte_table_t const& table) {
  return std::make_unique<single_byte_converter_t>(table);
}

}  // namespace kel
