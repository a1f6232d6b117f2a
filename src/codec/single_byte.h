// Charsets in which every byte is a character: Windows-125x, KOI8, ISO-8859 and many others.
#pragma once

#include <codec/converter.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace kel {

// The UTF-8 form of each byte. A length of 0 marks a byte that means nothing.
struct single_byte_table_t {
  struct entry_t {
    std::array<char, 4> utf8;
    std::uint8_t length;
  };
  std::array<entry_t, 256> entries;
  bool has_ascii;        // the bytes below 128 are ASCII
  bool is_fully_mapped;  // every byte has a meaning
};

// The table of a charset, made once per process from iconv's own answers; null when the charset is unknown, or when its
// characters are not single bytes that can be looked at one by one. Tables live until the process ends.
single_byte_table_t const* find_single_byte_table(std::string const& opened_name);

std::unique_ptr<converter_t> open_single_byte_converter(single_byte_table_t const& table);

}  // namespace kel
