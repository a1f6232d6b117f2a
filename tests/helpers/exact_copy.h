// Bytes in a heap block of just their size, so that a sanitizer sees the first byte too far.
#pragma once

#include <algorithm>
#include <memory>
#include <string_view>

namespace kel::test {

class exact_copy_t {
public:
  explicit exact_copy_t(std::string_view text) : _bytes(new char[text.size()]), _size(text.size()) {
    std::ranges::copy(text, _bytes.get());
  }
  char const* begin() const { return _bytes.get(); }
  char const* end() const { return _bytes.get() + _size; }

private:
  std::unique_ptr<char[]> _bytes;
  std::size_t _size;
};

// Runs a function of two pointers on such a copy.
template <typename Run>
auto on_exact_copy(std::string_view text, Run run) {
  exact_copy_t const copy(text);
  return run(copy.begin(), copy.end());
}

}  // namespace kel::test
