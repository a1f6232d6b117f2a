// Trees and records as one line of text, for comparison.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <helpers/exact_copy.h>
#include <kelmime/body.h>

namespace kel::test {

// "multipart/mixed[text/plain(12) image/png(68)]": types, and the decoded size of each leaf.
inline std::string describe(body_part_t& part) {
  std::string text = part.mime_type();
  if (part.subparts().empty())
    return text + "(" + std::to_string(part.decoded_body().size()) + ")";
  text += "[";
  for (body_part_t& child : part.subparts())
    text += (text.back() == '[' ? "" : " ") + describe(child);
  return text + "]";
}

// The descriptions of a part's own records.
inline std::vector<std::string> records(body_part_t& part) {
  std::vector<std::string> descriptions;
  for (mime_error_t const& record : part.errors().records())
    descriptions.push_back(record.at("description"));
  return descriptions;
}

// The records of a whole tree, one a line: position, description.
inline std::string all_records(body_part_t& part, std::string const& position = "") {
  part.decode_body();
  std::string text;
  for (std::string const& description : records(part))
    text += (position.empty() ? "root" : position) + ": " + description.substr(0, description.find('\n')) + "\n";
  int number = 0;
  for (body_part_t& child : part.subparts())
    text += all_records(child, position + "." + std::to_string(++number));
  return text;
}

inline std::shared_ptr<body_part_t> message_of(std::string_view text) {
  std::vector<char> bytes(text.begin(), text.end());
  return create_body_part(bytes, false);
}

}  // namespace kel::test
