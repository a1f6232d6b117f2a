// Words in which the tests of header reading are written.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <helpers/exact_copy.h>
#include <helpers/repeated.h>
#include <kelmime/headers.h>
#include <kelmime/mime_errors_handler.h>

namespace kel::test {

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

inline std::unique_ptr<block_t> read_block(std::string_view text, std::string const& charset = "", std::string const& guess = "") {
  auto block = std::make_unique<block_t>();
  exact_copy_t const bytes(text);
  auto const guess_charset = [&] { return guess; };
  char const* const body = parse_headers(bytes.begin(), bytes.end(), block->pairs, block->errors, charset, guess_charset);
  block->body = static_cast<std::size_t>(body - bytes.begin());
  return block;
}

}  // namespace kel::test
