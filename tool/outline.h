// A message unfolded and numbered: every part in message order, with what its headers state.
//
// Numbers: the children of the root are "1", "2", the children of part 2 are "2.1", "2.2", and a message enclosed in part 2
// is "2.1". A root without children is "1" itself.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <kelmime/body.h>
#include <kelmime/headers.h>

#include "input.h"

namespace kel::tool {

// As the headers state it, empty where they state nothing.
struct statements_t {
  std::string type;         // lower case, "text/plain" by default
  std::string charset;      // as written
  std::string encoding;     // lower case, "7bit" by default
  std::string disposition;  // lower case
  std::string name;         // without folders
  std::string content_id;   // without angle brackets
};

struct part_t : statements_t {
  body_part_t* body = nullptr;
  std::string number = {};  // empty for a root that has children
  std::size_t depth = 0;
  std::vector<std::size_t> children = {};  // indices into the outline

  bool is_text() const { return type.starts_with("text/"); }
  bool is_multipart() const { return type.starts_with("multipart/"); }
  bool is_message() const { return type == "message/rfc822"; }

  // Whether it has children that it did not come with: what was decrypted, or unpacked.
  bool is_unsealed() const { return !children.empty() && !is_multipart() && !is_message(); }
};

// Parts in message order, a parent before its children; the root is the first.
using outline_t = std::vector<part_t>;

// A deviation from the standards, and the part where it was met.
struct deviation_t {
  std::string_view part;  // the number, empty for the root
  mime_error_t const* record;

  // A value of the record, empty when it has none.
  std::string_view operator[](std::string const& key) const;
  bool is_low() const { return (*this)["priority"] == "low"; }
};

// A message with all its parts decoded. The bytes of the message must live longer.
class opened_message_t {
public:
  explicit opened_message_t(message_t const& message);

  // Verifies what is signed, and decrypts what is encrypted: that joins the outline below what held it. Runs other programs,
  // but none for a message where nothing is protected.
  void unseal();

  body_part_t& root() const { return *_root; }
  outline_t const& parts() const { return _parts; }
  part_t const* part_by_number(std::string_view number) const;

  // Everything that was tolerated, in the order of the parts. What is asked of the tree later can add to it.
  std::vector<deviation_t> deviations() const;

private:
  void number_parts();
  void read_statements(outline_t const& known);
  void ask_for_unique_headers();

  std::shared_ptr<body_part_t> _root;
  outline_t _parts;
};

// The headers of a part in message order, without those that the library adds ("#date").
std::vector<header_pair_t> headers_in_order(body_part_t& part);

// All values under a field path, in message order. Nothing is recorded, however many there are.
std::vector<std::string> values_of(body_part_t& part, std::string_view path);

// The value without white space and angle brackets around it.
std::string without_brackets(std::string_view id);

}  // namespace kel::tool
