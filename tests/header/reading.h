// Words in which the tests of header reading are written.
#pragma once

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/headers.h>
#include <kelmime/mime_errors_handler.h>

namespace kel::test {

// A text in a heap block of just its size, so that a sanitizer sees the first byte too far.
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

using texts_t = std::vector<std::string>;

// One text for each record: its description, or another of its values.
inline texts_t listed(mime_errors_handler_t const& errors, std::string const& key = "description") {
  texts_t values;
  for (mime_error_t const& record : errors.records())
    values.push_back(record.contains(key) ? record.at(key) : "-");
  return values;
}

// A header block as it was read.
struct block_t {
  std::vector<header_pair_t> pairs;
  mime_errors_handler_t errors;
  std::size_t body = 0;  // where it begins

  std::string value(std::string_view name) const {
    auto const found = std::ranges::find(pairs, name, &header_pair_t::name);
    return found == pairs.end() ? "(none)" : found->value;
  }

  // "subject=x; to=y"
  std::string text() const {
    std::string all;
    for (header_pair_t const& pair : pairs)
      all += (all.empty() ? "" : "; ") + pair.name + "=" + pair.value;
    return all;
  }
};

inline std::unique_ptr<block_t> read_block(std::string_view text, std::string const& charset = "") {
  auto block = std::make_unique<block_t>();
  exact_copy_t const bytes(text);
  auto const no_guess = [] { return std::string(); };
  char const* const body = parse_headers(bytes.begin(), bytes.end(), block->pairs, block->errors, charset, no_guess);
  block->body = static_cast<std::size_t>(body - bytes.begin());
  return block;
}

inline std::string repeated(std::string_view piece, std::size_t bytes) {
  std::string text;
  for (text.reserve(bytes + piece.size()); text.size() < bytes;)
    text += piece;
  return text;
}

// What linear work on some megabytes never needs, and quadratic work always exceeds.
constexpr std::chrono::seconds patience(20);

template <typename Work>
bool is_done_in_time(Work work) {
  auto const start = std::chrono::steady_clock::now();
  work();
  return std::chrono::steady_clock::now() - start < patience;
}

}  // namespace kel::test
