#include "outline.h"

#include <algorithm>
#include <utility>

#include <kelmime/field_path.h>

#include "text.h"

namespace kel::tool {

namespace {

// The library has asked these questions while it decoded and has recorded what was ambiguous: they are asked without
// making the same record again.
std::string stated(body_part_t& part, std::string_view path, char const* fallback) {
  auto const values = values_of(part, path);
  return values.empty() ? fallback : values.front();
}

statements_t statements_of(body_part_t& body) {
  return { .type = lowercased(stated(body, "content-type.type", "text") + "/" +
                              stated(body, "content-type.subtype", "plain")),
           .charset = stated(body, "content-type.parameter.split.charset", ""),
           .encoding = lowercased(trimmed(stated(body, "content-transfer-encoding", "7bit"))),
           .disposition = lowercased(trimmed(stated(body, "content-disposition.type", ""))),
           .name = body.get_filename(),
           .content_id = without_brackets(stated(body, "content-id", "")) };
}

}  // namespace

std::string_view deviation_t::operator[](std::string const& key) const {
  auto const found = record->find(key);
  return found == record->end() ? std::string_view() : std::string_view(found->second);
}

opened_message_t::opened_message_t(message_t const& message)
    : _root(parse_body(message.bytes.data(), message.bytes.data() + message.bytes.size())) {
  number_parts();
  ask_for_unique_headers();
  read_statements({});
}

void opened_message_t::unseal() {
  decrypt_and_verify_signatures(*_root);
  outline_t const before = std::exchange(_parts, {});
  number_parts();
  read_statements(before);
}

// Those of known parts are not read again: that could make records again. Known parts stand in the same order.
void opened_message_t::read_statements(outline_t const& known) {
  auto next = known.begin();
  for (part_t& part : _parts) {
    statements_t& statements = part;
    if (next != known.end() && next->body == part.body)
      statements = *next++;
    else
      statements = statements_of(*part.body);
  }
}

part_t const* opened_message_t::part_by_number(std::string_view number) const {
  auto const found = std::ranges::find(_parts, number, &part_t::number);
  return found == _parts.end() || number.empty() ? nullptr : &*found;
}

std::vector<deviation_t> opened_message_t::deviations() const {
  std::vector<deviation_t> found;
  for (part_t const& part : _parts) {
    bool const is_root = &part == &_parts.front();
    for (auto const& record : part.body->errors().records())
      found.push_back({ is_root ? std::string_view() : std::string_view(part.number), &record });
  }
  return found;
}

// A walk with a path of its own instead of recursion: trees are deep where somebody wants to harm us.
void opened_message_t::number_parts() {
  struct step_t {
    std::size_t part;
    std::list<body_part_t>::iterator next;
    std::list<body_part_t>::iterator end;
  };
  auto const children_of = [](std::size_t number, body_part_t& body) {
    return step_t{ number, body.subparts().begin(), body.subparts().end() };
  };

  _parts.push_back({ {}, _root.get() });
  std::vector<step_t> path = { children_of(0, *_root) };
  while (!path.empty()) {
    step_t& step = path.back();
    if (step.next == step.end) {
      path.pop_back();
      continue;
    }
    part_t& parent = _parts[step.part];
    std::size_t const child = _parts.size();
    body_part_t& body = *step.next++;
    parent.children.push_back(child);
    std::string number = parent.number + (parent.number.empty() ? "" : ".") + std::to_string(parent.children.size());
    _parts.push_back({ {}, &body, std::move(number), path.size() });
    path.push_back(children_of(child, body));
  }
  if (_parts.size() == 1)
    _parts.front().number = "1";
}

// RFC 5322 section 3.6 allows these once. The library says so when it is asked for the value, and it is asked once, so
// that every verb tells of the same deviations.
void opened_message_t::ask_for_unique_headers() {
  for (char const* const name : { "date", "from", "sender", "reply-to", "to", "cc", "bcc", "message-id", "in-reply-to",
                                  "references", "subject" })
    _root->get_header(name, unset_string);
}

std::vector<header_pair_t> headers_in_order(body_part_t& part) {
  std::vector<header_pair_t> headers;
  mime_errors_handler_t ignored;  // the part has these records already
  std::string_view const block = part.raw_headers();
  parse_headers(block.data(), block.data() + block.size(), headers, ignored, "",
                [&part] { return part.get_guessed_charset(); });
  std::erase_if(headers, [](auto const& header) { return header.name.starts_with('#'); });
  return headers;
}

std::vector<std::string> values_of(body_part_t& part, std::string_view path) {
  std::vector<std::string> values;
  part.get_header_bodies(string_to_field_path(path), values);
  return values;
}

std::string without_brackets(std::string_view id) {
  std::string text = trimmed(id);
  if (text.size() >= 2 && text.front() == '<' && text.back() == '>')
    text = text.substr(1, text.size() - 2);
  return text;
}

}  // namespace kel::tool
