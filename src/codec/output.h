// Where codecs write. Bytes are collected in a block that stays in the cache and go to the container a block at a time,
// so that no codec is compiled per container and no byte of the container is filled before it is written.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace kel {

class output_t {
public:
  static constexpr std::size_t block_bytes = 8192;

  template <typename Container>
  explicit output_t(Container& container)
      : _container(&container), _append(append_to<Container>), _reserve(reserve_in<Container>) {}
  // Running out of memory here ends the process.
  ~output_t() { flush(); }
  output_t(output_t const&) = delete;
  output_t& operator=(output_t const&) = delete;

  // Says how many bytes will come, as far as that is known.
  void expect(std::size_t bytes) { _reserve(_container, bytes); }

  // A place for at least `bytes` bytes, at most a block. What is written there counts after `advance_to`.
  char* room(std::size_t bytes) {
    if (static_cast<std::size_t>(room_end() - _at) < bytes)
      flush();
    return _at;
  }
  char* room_end() { return _block.data() + _block.size(); }
  void advance_to(char* at) { _at = at; }

  void append(char c) {
    *room(1) = c;
    ++_at;
  }

  void append(std::string_view bytes) {
    if (bytes.empty())
      return;  // perhaps a null pointer, which memcpy must not see
    if (bytes.size() > static_cast<std::size_t>(room_end() - _at)) {
      flush();
      if (bytes.size() > _block.size() / 2) {
        _append(_container, bytes);
        return;
      }
    }
    std::memcpy(_at, bytes.data(), bytes.size());
    _at += bytes.size();
  }

  void append(char const* first, char const* last) { append(std::string_view(first, last)); }

private:
  void flush() {
    _append(_container, { _block.data(), _at });
    _at = _block.data();
  }

  template <typename Container>
  static void append_to(void* container, std::string_view bytes) {
    auto& target = *static_cast<Container*>(container);
    target.insert(target.end(), bytes.begin(), bytes.end());
  }

  // Doubles at least, so that many small texts in one container cost no more than a large one.
  template <typename Container>
  static void reserve_in(void* container, std::size_t bytes) {
    auto& target = *static_cast<Container*>(container);
    if (target.capacity() - target.size() < bytes)
      target.reserve(target.size() + std::max(bytes, target.size()));
  }

  void* _container;
  void (*_append)(void*, std::string_view);
  void (*_reserve)(void*, std::size_t);
  std::array<char, block_bytes> _block;  // not cleared
  char* _at = _block.data();
};

}  // namespace kel
