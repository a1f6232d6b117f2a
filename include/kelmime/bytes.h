// Byte ranges and byte outputs: what every codec, decoder and scanner of the library takes and fills.
#pragma once

#include <concepts>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace kel {

// The formatter takes the angle brackets of a concept for comparisons.
// clang-format off

// A position in contiguous bytes: a pointer, or an iterator of a string, a string view or a byte vector.
template <typename In>
concept byte_iterator = std::contiguous_iterator<In> && std::same_as<std::iter_value_t<In>, char>;

// The two outputs that exist: appending to a string and appending to a byte vector.
template <typename Out>
concept byte_inserter = std::same_as<Out, std::back_insert_iterator<std::string>> ||
                        std::same_as<Out, std::back_insert_iterator<std::vector<char>>>;

// clang-format on

// Bytes owned by somebody else.
struct range_t {
  char const* begin = nullptr;
  char const* end = nullptr;

  bool operator==(range_t const&) const = default;
};

// The pointer behind a position, so that each function has one body for all iterators.
template <byte_iterator In>
constexpr char const* pointer_to(In position) {
  return std::to_address(position);
}

// Bytes are compared as bytes: every table and every shift goes through this.
constexpr std::uint8_t byte_value(char c) {
  return static_cast<std::uint8_t>(c);
}

// Whether a byte is none of ASCII.
constexpr bool is_high(char c) {
  return byte_value(c) >= 0x80;
}

// The container behind an inserter: whoever writes many bytes appends them in blocks.
template <typename Container>
Container& container_of(std::back_insert_iterator<Container> out) {
  struct opened_t : std::back_insert_iterator<Container> {
    explicit opened_t(std::back_insert_iterator<Container> const& inserter)
        : std::back_insert_iterator<Container>(inserter) {}
    Container& opened() const { return *this->container; }
  };
  return opened_t(out).opened();
}

}  // namespace kel
