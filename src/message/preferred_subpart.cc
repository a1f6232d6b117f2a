// Which child of a multipart is shown.
#include <kelmime/body.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include <kel/ascii.h>
#include <kel/preferences.h>
#include <kel/text.h>
#include <base/fatal.h>

namespace kel {

namespace {

std::size_t preferred_of_related(body_part_t& part, mime_errors_handler_t& errors) {
  std::size_t const count = part.num_subparts();
  if (preferences::boolean("PwNeverDisplayHTML") || !part.subpart(0).uses_html_header())
    return count;
  auto const missing = std::count_if(std::next(part.subparts().begin()), part.subparts().end(),
                                     [](body_part_t const& child) { return !child.exists_header("content-id"); });
  if (missing == 0)
    return 0;
  report(&errors, text::format("Missing %td “Content-ID” header(s) for multipart/related subparts", missing));
  return count;
}

bool is_blank_plain_text(body_part_t& part) {
  std::string_view const body = part.raw_body();
  return part.is_plain() && body.find_first_not_of("\n\t ") == std::string_view::npos;
}

bool is_displayable(std::string const& type, std::string const& subtype) {
  if (type == "text")
    return subtype == "plain" || subtype == "html" || subtype == "richtext" || subtype == "enriched";
  return type == "message" || type == "multipart" || type == "image" || (type == "application" && subtype == "pdf");
}

std::size_t preferred_of_alternative(body_part_t& part) {
  std::vector<body_part_t*> children;
  for (body_part_t& child : part.subparts())
    children.push_back(&child);
  bool const prefers_plain = preferences::boolean("PwPreferPlainText") && !is_blank_plain_text(*children.front());

  auto const secured = std::find_if(children.begin(), children.end(),
                                    [](body_part_t const* child) { return child->has_security_status(); });
  if (secured != children.end())
    return static_cast<std::size_t>(secured - children.begin());

  bool has_calendar = false;
  for (std::size_t i = children.size(); i-- > 0;) {
    std::string const type = children[i]->type();
    std::string const subtype = children[i]->get_header_lowercased("content-type.subtype", "plain");
    if (type == "text" && subtype == "calendar") {
      warning("Unable to handle alternative in multipart of MIME type: '%s/%s'\n", type.c_str(), subtype.c_str());
      has_calendar = true;
    }
    // An invitation's HTML is passed over together with its calendar part: only its plain text says all of it.
    bool const is_unwanted_html = i > 0 && type == "text" && subtype == "html" && (prefers_plain || has_calendar);
    if (is_displayable(type, subtype) && !is_unwanted_html)
      return i;
  }
  return children.size();
}

}  // namespace

std::size_t default_preferred_subpart(body_part_t& part, mime_errors_handler_t& errors) {
  std::size_t const count = part.num_subparts();
  if (!part.is_multi_part())
    return count;
  if (count == 0) {
    if (!part.is_headers_only())
      warning("No subparts of multi part in message\n");
    return count;
  }
  std::string const subtype = part.get_header_lowercased("content-type.subtype", "plain");
  if (subtype == "related")
    return preferred_of_related(part, errors);
  return subtype == "alternative" ? preferred_of_alternative(part) : count;
}

std::size_t body_part_t::get_preferred_subpart() {
  return _preferred_subpart != no_preference ? _preferred_subpart : default_preferred_subpart(*this, _errors);
}

void body_part_t::set_preferred_subpart(std::size_t index) {
  if (index < num_subparts())
    _preferred_subpart = index;
}

// Looks one level into an alternative and along the roots of nested related groups, so that asking at every level of a
// deep tree stays cheap.
bool body_part_t::uses_html_header() {
  std::string const kind = mime_type();
  if (kind == "multipart/related")
    return num_subparts() > 0 && _subparts.front().uses_html_header();
  if (kind == "multipart/alternative") {
    decode_body();
    return std::any_of(_subparts.begin(), _subparts.end(), [](body_part_t& child) {
      return child.is_html() || (child.mime_type() == "multipart/related" && child.uses_html_header());
    });
  }
  return kind == "text/html";
}

body_part_t* body_part_t::equivalent_plain_text_alternative() {
  if (!_parent || _parent->mime_type() != "multipart/alternative")
    return nullptr;
  body_part_t* plain = nullptr;
  for (body_part_t& sibling : _parent->_subparts) {
    if (&sibling == this)
      return plain;
    if (sibling.is_plain())
      plain = &sibling;
  }
  return nullptr;
}

}  // namespace kel
