// Moving content from one part to another as it stands: with its layers open, its edits, and the identifiers and addresses
// of the parts in it.
#include <kelmime/body.h>

#include <utility>

#include <message/transfer_encodings.h>

namespace kel {

// Makes this part a multipart whose only child is what it was.
void body_part_t::wrap_content(std::string const& subtype, std::string const& parameters) {
  body_part_t inner;
  move_content_to(inner);
  set_body("multipart", subtype, parameters, nullptr, nullptr, false);
  adopt_content(std::move(inner));
  update_mime_encoding();
}

void body_part_t::move_content_to(body_part_t& inner) {
  move_body_to(inner);
  for (auto header = _headers.begin(); header != _headers.end();) {
    auto const next = std::next(header);
    if (header->first.starts_with("content-") || header->first.starts_with("#mime-"))
      inner._headers.insert(_headers.extract(header));
    header = next;
  }
  _content_headers = {};
  inner._description = std::exchange(_description, {});
}

// Whether the transfer encoding of a container is undone depends on the place of the part, so one that states an encoding is
// put together without before it moves.
void body_part_t::settle_container() {
  bool const is_container = (is_multi_part() || is_message()) && has_subparts(/*decode*/ has_body());
  if (is_container && changes_bytes(transfer_encoding()))
    content_changed();
}

// To a part that has none.
void body_part_t::move_body_to(body_part_t& other) {
  settle_container();
  drop_raw_bytes();
  other._subparts.splice(other._subparts.end(), _subparts);
  other._bytes = _bytes;
  other._budget = _budget;
  other._source_body = std::exchange(_source_body, {});
  other._decoded_body = std::exchange(_decoded_body, {});
  other._is_decoded = _is_decoded;
  other._is_split = std::exchange(_is_split, false);
  other._lacks_subparts = std::exchange(_lacks_subparts, false);
  other._holds_utf8_text = std::exchange(_holds_utf8_text, false);
  other._preferred_subpart = std::exchange(_preferred_subpart, no_preference);
  other._guessed_charset = _guessed_charset;
  other._canonicalized_text = std::exchange(_canonicalized_text, unset_string);
  other._to_be_signed = _to_be_signed;
  other._needs_sealing = std::exchange(_needs_sealing, false);
  other._seals_anew = std::exchange(_seals_anew, false);
  other._security_level_set = std::exchange(_security_level_set, false);
  other._has_preamble_part = std::exchange(_has_preamble_part, false);
  other._has_changed = true;
}

body_part_t& body_part_t::adopt_content(body_part_t&& content) {
  body_part_t& child = adopt(_subparts.emplace_back(std::move(content)));
  child.adopt_subparts();
  return child;
}

}  // namespace kel
