// A stretch of bytes that parts look into: the message itself, or the decoded body of a part.
//
// Parts share it, so that the bytes live as long as anybody looks at them. It also keeps the index of its dash lines:
// deep trees ask for it at every level, and the bytes are scanned once.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <message/delimiter_index.h>

namespace kel {

class message_bytes_t {
public:
  // Bytes that the caller keeps alive.
  message_bytes_t(char const* begin, char const* end) : _begin(begin), _end(end) {}

  explicit message_bytes_t(std::shared_ptr<std::vector<char> const> owner)
      : _owner(std::move(owner)), _begin(_owner->data()), _end(_owner->data() + _owner->size()) {}

  char const* begin() const { return _begin; }
  char const* end() const { return _end; }

  // Built at the first call; copies of a tree may ask from several threads.
  delimiter_index_t const& delimiter_index() {
    std::call_once(_indexed, [this] { _index.emplace(_begin, _end); });
    return *_index;
  }

private:
  std::shared_ptr<std::vector<char> const> _owner;
  char const* _begin;
  char const* _end;
  std::once_flag _indexed;
  std::optional<delimiter_index_t> _index;
};

}  // namespace kel
