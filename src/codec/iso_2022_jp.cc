#include <codec/iso_2022_jp.h>

#include <codec/find_byte.h>

#include <algorithm>

namespace kel::iso_2022_jp {

namespace {

constexpr unsigned bit(variant_t variant) {
  return 1u << static_cast<unsigned>(variant);
}

constexpr unsigned jp = bit(variant_t::jp);
constexpr unsigned jp_1 = bit(variant_t::jp_1);
constexpr unsigned jp_2 = bit(variant_t::jp_2);
constexpr unsigned jp_3 = bit(variant_t::jp_3);
constexpr unsigned jp_4 = bit(variant_t::jp_4);
constexpr unsigned all = jp | jp_1 | jp_2 | jp_3 | jp_4;

struct sequence_t {
  std::string_view bytes;  // after the ESC
  unsigned variants;
};

constexpr sequence_t sequences[] = {
  { "(B", all },           // ASCII
  { "(J", all },           // JIS X 0201, Roman
  { "$@", all },           // JIS X 0208-1978
  { "$B", all },           // JIS X 0208-1983
  { "$(D", jp_1 | jp_2 },  // JIS X 0212
  { "$A", jp_2 },          // GB 2312
  { "$(C", jp_2 },         // KS C 5601
  { ".A", jp_2 },          // upper half of ISO-8859-1
  { ".F", jp_2 },          // upper half of ISO-8859-7
  { "N", jp_2 },           // one character of the upper half
  { "(I", jp_3 | jp_4 },   // JIS X 0201, Katakana
  { "$(O", jp_3 | jp_4 },  // JIS X 0213, plane 1
  { "$(P", jp_3 | jp_4 },  // JIS X 0213, plane 2
  { "$(Q", jp_4 },         // JIS X 0213-2004, plane 1
};

struct name_t {
  std::string_view charset;
  variant_t variant;
};

constexpr name_t names[] = {
  { "iso-2022-jp", variant_t::jp },     { "iso2022jp", variant_t::jp },       { "csiso2022jp", variant_t::jp },
  { "iso-2022-jp-1", variant_t::jp_1 }, { "iso-2022-jp-2", variant_t::jp_2 }, { "iso2022jp2", variant_t::jp_2 },
  { "csiso2022jp2", variant_t::jp_2 },  { "iso-2022-jp-3", variant_t::jp_3 }, { "iso2022jp3", variant_t::jp_3 },
  { "iso-2022-jp-4", variant_t::jp_4 },
};

// Whether more bytes could make a sequence of what stands after the ESC.
bool is_cut_off(variant_t variant, std::string_view rest) {
  return std::ranges::any_of(sequences, [&](sequence_t const& sequence) {
    return (sequence.variants & bit(variant)) && sequence.bytes.starts_with(rest);
  });
}

}  // namespace

std::optional<variant_t> variant_of(std::string_view charset) {
  for (name_t const& name : names) {
    if (name.charset == charset)
      return name.variant;
  }
  return {};
}

std::string_view superset_of(std::string_view charset) {
  if (charset == "iso-2022-jp-1")
    return "iso-2022-jp-2";
  if (charset == "iso-2022-jp-4")
    return "iso-2022-jp-3";  // the C library reads ESC "$(Q" there, too
  return "";
}

known_range_t known_range(variant_t variant, char const* first, char const* window_end, char const* last) {
  while (first < window_end) {
    char const* const at = find_byte(first, window_end, escape);
    if (at == window_end)
      break;
    std::string_view const rest(at + 1, last);
    auto const known = std::ranges::find_if(sequences, [&](sequence_t const& sequence) {
      return (sequence.variants & bit(variant)) && rest.starts_with(sequence.bytes);
    });
    if (known == std::end(sequences))
      return { at, is_cut_off(variant, rest) ? stop_t::incomplete : stop_t::illegal };
    first = at + 1 + known->bytes.size();
  }
  return { std::max(first, window_end), stop_t::at_end };
}

}  // namespace kel::iso_2022_jp
