// Decoding the text of a message ahead of display.
#include <kelmime/body.h>

#include <utility>

namespace kel {

namespace {

html_rendering_t& html_rendering() {
  static html_rendering_t rendering;
  return rendering;
}

void prepare_html(body_part_t& html, body_part_t* plain) {
  if (plain && plain->markup() == "markdown")
    return;
  html.canonicalize_html();
  if (plain && html.get_canonicalized_text() != unset_string && html_rendering().compare)
    html_rendering().compare(html, *plain);
}

// `plain` is the text/plain alternative of the part, where it has one.
void decode_text_bodies(body_part_t& part, body_part_t* plain) {
  bool const is_container = part.is_multi_part() || part.is_message();
  bool const is_inline_text =
      part.is_text() && part.get_header_lowercased("content-disposition.type", "inline") == "inline";
  if (!is_container && !is_inline_text)
    return;
  part.decode_body();
  if (part.is_html())
    prepare_html(part, plain);
  bool const offers_alternatives = part.mime_type() == "multipart/alternative";
  body_part_t* last_plain = nullptr;
  for (body_part_t& child : part.subparts()) {
    decode_text_bodies(child, last_plain);
    if (offers_alternatives && child.is_plain())
      last_plain = &child;
  }
}

}  // namespace

void set_html_rendering(html_rendering_t rendering) {
  html_rendering() = std::move(rendering);
}

void body_part_t::canonicalize_html() {
  if (html_rendering().canonicalize)
    _canonicalized_text = html_rendering().canonicalize(*this);
}

void decode_text_bodies(body_part_t& part) {
  decode_text_bodies(part, part.equivalent_plain_text_alternative());
}

}  // namespace kel
