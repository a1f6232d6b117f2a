// Views of header names and values inside bytes owned elsewhere.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <kelmime/export.h>

namespace kel {

// The first byte and the number of bytes; null and 0 for the empty view. The bytes stay the owner's and must outlive
// the view. No terminating zero is expected, but comparisons end at a zero byte as those of C strings do: "a\0b"
// equals "a\0c".
struct KELMIME_EXPORT header_string_t {
  char const* data = nullptr;
  std::uint32_t length = 0;

  void reset();

  // Views of the same first byte are equal whatever their lengths: whoever compares positions needs no more.
  bool operator==(header_string_t const& other) const;

  // A null view equals no string, not even the empty one.
  bool operator==(std::string const& text) const;
  bool operator==(char const* text) const;
};

// A view of the text's bytes. Of a text above 4 GiB it shows the beginning.
KELMIME_EXPORT header_string_t to_hstring(std::string_view text);

// 0 for views of the same first byte; else the order of the bytes that both have, and the shorter view first (-1 or 1)
// when those are equal.
KELMIME_EXPORT int hstrcmp(header_string_t const& a, header_string_t const& b);

// The same without regard to ASCII case.
KELMIME_EXPORT int hstrcasecmp(header_string_t const& a, header_string_t const& b);

// Equal lengths and equal bytes without regard to ASCII case.
KELMIME_EXPORT bool case_insensitive_compare(header_string_t const& a, header_string_t const& b);

// Two bytes that are equal once their ASCII letters are lower-cased.
KELMIME_EXPORT bool case_insensitive_compare2(char a, char b);

KELMIME_EXPORT bool operator<(header_string_t const& a, header_string_t const& b);

}  // namespace kel
