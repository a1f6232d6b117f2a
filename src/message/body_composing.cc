// Composing: the operations of a mail program on a draft, or on a message that was received or opened.
//
// The shapes that a draft takes, each part only where it is needed:
//
//    multipart/mixed               attachments
//      multipart/alternative       text that is there as HTML too
//        text/plain
//        multipart/related         resources that the HTML shows
//          text/html
//          image/png ...
//      application/pdf ...
//
// "The content" below is what stands where the multipart/alternative stands here.
#include <kelmime/body.h>

#include <algorithm>

#include <kel/ascii.h>
#include <kel/path.h>
#include <kel/text.h>
#include <base/fatal.h>
#include <base/utf8.h>
#include <codec/line_ends.h>
#include <header/parameters.h>
#include <kelmime/body_parser.h>
#include <kelmime/hex.h>
#include <kelmime/mime.h>
#include <message/protected_content.h>

namespace kel {

namespace {

// --- Types -------------------------------------------------------------------------------------------------------

struct media_type_t {
  std::string type;
  std::string subtype;
};

bool is_token(std::string_view word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
    return ascii::is_print(c) && c != ' ' && std::string_view("()<>@,;:\\\"/[]?=").find(c) == std::string_view::npos;
  });
}

// What bytes of a stated type can be sent as. Text is UTF-8, and containers are more than bytes.
media_type_t sendable_type(std::string const& stated, std::string const& name, std::string_view bytes) {
  std::string const wanted = text::lowercase(stated.empty() ? mime::mime_type_for_filepath(name) : stated);
  std::size_t const slash = std::min(wanted.find('/'), wanted.size());
  media_type_t found = { wanted.substr(0, slash), wanted.substr(std::min(slash + 1, wanted.size())) };
  bool const is_container = found.type == "multipart" || (found.type == "message" && found.subtype != "rfc822");
  bool const is_unreadable = found.type == "text" && !utf8::is_valid(bytes.begin(), bytes.end());
  if (is_container || is_unreadable || !is_token(found.type) || !is_token(found.subtype))
    return { "application", "octet-stream" };
  return found;
}

// --- Names -------------------------------------------------------------------------------------------------------

// A name as it may stand in a Content-ID and, without escapes, in the URL that refers to it (RFC 2392). Different names
// have different ones.
std::string identifier_of(std::string_view name) {
  std::string id;
  for (char const c : name) {
    if (ascii::is_alnum(c) || c == '-' || c == '_' || c == '.')
      id += c;
    else
      id.append("+").append({ text::int_to_hex(byte_value(c) >> 4), text::int_to_hex(byte_value(c)) });
  }
  return id.empty() ? "+" : id;
}

std::string file_name_of(std::string const& name) {
  return path::name(name.substr(name.rfind('\\') + 1));
}

bool is_attached(body_part_t& part) {
  return part.get_header_lowercased("content-disposition.type", "") == "attachment";
}

bool is_shown_text(body_part_t& part) {
  return (part.is_plain() || part.is_html()) && !is_attached(part);
}

}  // namespace

// --- Composing ---------------------------------------------------------------------------------------------------

// The texts may stand in the parts that are replaced.
void body_part_t::set_text_body(std::string const& given_text, std::string const& given_markup,
                                std::string const& given_html, bool is_signed) {
  std::string const text = given_text, markup = given_markup, html = given_html;
  body_part_t& content = content_part();
  if (html == unset_string) {
    content.replace_content_by_text(text, markup, is_signed);
    return;
  }
  if (body_part_t* const plain = content.find_text({ "text/plain" })) {
    plain->set_plain_text(text, markup, is_signed);
  } else if (content.find_text({ "text/html" })) {
    content.wrap_content("alternative", unset_string);
    content.insert_subpart(0, "text", "plain", unset_string, nullptr, nullptr, false)
        .set_plain_text(text, markup, is_signed);
  } else {
    content.set_plain_text(text, markup, is_signed);
  }
  set_html_body(html);
}

void body_part_t::set_plain_text(std::string const& text, std::string const& markup, bool is_signed) {
  _to_be_signed = _to_be_signed || is_signed;
  // The blanks at the ends of lines that flowing needs mean something in a markup language.
  bool const may_flow = markup == unset_string;
  std::string const parameters = may_flow ? unset_string : header::parameter_text("markup", markup);
  set_body("text", "plain", parameters, text.data(), text.data() + text.size(), may_flow);
}

// HTML goes, and what it shows; what else stands among it stays, as attachments.
void body_part_t::replace_content_by_text(std::string const& text, std::string const& markup, bool is_signed) {
  std::list<body_part_t> attachments;
  take_attachments(attachments);
  set_plain_text(text, markup, is_signed);
  if (attachments.empty())
    return;
  wrap_content("mixed", unset_string);
  for (body_part_t& attachment : attachments)
    adopt(attachment);
  _subparts.splice(_subparts.end(), attachments);
  update_mime_encoding();
}

void body_part_t::take_attachments(std::list<body_part_t>& attachments) {
  if (!is_multi_part())
    return;
  decode_body();
  bool const is_related = mime_type() == "multipart/related";
  for (auto child = _subparts.begin(); child != _subparts.end();) {
    auto const next = std::next(child);
    bool const is_shown = is_related && !is_attached(*child);
    if (child->is_multi_part() && !is_protection(child->mime_type()))
      child->take_attachments(attachments);
    else if (!is_shown && !is_shown_text(*child))
      attachments.splice(attachments.end(), _subparts, child);
    child = next;
  }
}

void body_part_t::set_html_body(std::string const& given_html) {
  std::string const html = given_html;
  body_part_t& content = content_part();
  body_part_t* part = content.find_text({ "text/html" });
  bool const is_first_html = !part;
  if (!part && content.has_text()) {
    content.wrap_content("alternative", unset_string);
    part = &content.insert_subpart(content.num_subparts(), "text", "html", unset_string, nullptr, nullptr, false);
  }
  (part ? *part : content).set_body("text", "html", unset_string, html.data(), html.data() + html.size(), false);
  body_part_t* const group = is_first_html && !_related_parts.empty() ? content.group_of_html() : nullptr;
  if (!group)
    return;
  for (auto const& [name, bytes] : _related_parts)
    group->attach_related(name, bytes);
}

body_part_t& body_part_t::add_attachment(std::string_view bytes, std::string const& name, std::string const& type) {
  std::string const file_name = file_name_of(name);
  auto const [main_type, subtype] = sendable_type(type, file_name, bytes);
  std::string const message = main_type == "message" ? with_lf(bytes) : "";
  if (main_type == "message")
    bytes = message;
  body_part_t& container = attachment_container();
  if (!container.has_subparts(/*decode*/ container.has_body()))
    container.insert_text_part();
  std::string const parameters = file_name.empty() ? unset_string : header::parameter_text("name", file_name);
  body_part_t& part = container.push_body_part();
  container.content_changed();
  part.set_body(main_type, subtype, parameters, bytes.data(), bytes.data() + bytes.size(), /*flow*/ false);
  part.set_header("content-disposition",
                  "attachment" + (file_name.empty() ? "" : "; " + header::parameter_text("filename", file_name)));
  return part;
}

body_part_t* body_part_t::add_attachment(std::string const& path) {
  std::string const bytes = path::content(path);
  if (bytes == unset_string) {
    warning("Unable to read attachment '%s'\n", printable(path).c_str());
    return nullptr;
  }
  return &add_attachment(bytes, path::name(path), "");
}

std::string body_part_t::add_related_part(std::string const& name, std::string_view bytes) {
  std::string const file_name = file_name_of(name);
  _related_parts[file_name] = bytes;
  if (body_part_t* const group = content_part().group_of_html())
    group->attach_related(file_name, bytes);
  return identifier_of(file_name);
}

std::string body_part_t::text_body(bool canonical) {
  body_part_t& content = inside_protection();
  body_part_t* part = content.find_text({ "text/plain" });
  if (!part)
    part = content.find_text({ "text/html" });
  if (!part)
    return {};
  if (canonical && part->_canonicalized_text != unset_string)
    return part->_canonicalized_text;
  return std::string(part->decoded_body());
}

// --- Finding text ------------------------------------------------------------------------------------------------

// The first text of one of the types, inside of protection too, but not of attachments and messages. Null when there is none.
body_part_t* body_part_t::find_text(std::initializer_list<std::string_view> mime_types) {
  if (!has_body())
    return nullptr;
  if (std::find(mime_types.begin(), mime_types.end(), mime_type()) != mime_types.end())
    return is_attached(*this) ? nullptr : this;
  if (!is_multi_part())
    return nullptr;
  for (body_part_t& child : subparts()) {
    if (body_part_t* const found = child.inside_protection().find_text(mime_types))
      return found;
  }
  return nullptr;
}

bool body_part_t::has_text() {
  body_part_t* const plain = find_text({ "text/plain" });
  return plain && !sequence_isspace(plain->decoded_begin(), plain->decoded_end());
}

// Whether some HTML stands here under no protection of its own.
bool body_part_t::has_html() {
  if (!has_body() || !is_multi_part())
    return has_body() && is_html() && !is_attached(*this);
  return std::any_of(subparts().begin(), subparts().end(),
                     [](body_part_t& child) { return &child.inside_protection() == &child && child.has_html(); });
}

// The first HTML, as `find_text` finds it, and the innermost multipart/related around it in the same protection: one in this
// part, or the one given.
body_part_t::found_html_t body_part_t::find_html(body_part_t* group) {
  if (!has_body())
    return {};
  std::string const type = mime_type();
  if (type == "text/html" && !is_attached(*this))
    return { this, group };
  if (!is_multi_part())
    return {};
  if (type == "multipart/related")
    group = this;
  for (body_part_t& child : subparts()) {
    body_part_t& inside = child.inside_protection();
    found_html_t const found = inside.find_html(&inside == &child ? group : nullptr);
    if (found.html)
      return found;
  }
  return {};
}

// --- Shapes ------------------------------------------------------------------------------------------------------

// What a draft or an opened message protects, through all layers; the part itself where it protects nothing. What is edited
// there is sealed with the rest; beside it, it would go out in the clear.
body_part_t& body_part_t::inside_protection() {
  body_part_t* const content = has_body() ? protected_content(*this) : nullptr;
  return content && (_needs_sealing || is_regular_protection(*this)) ? content->inside_protection() : *this;
}

// Where the text of the message is: what attachments and a signature stand beside. A message without text gets an empty one
// in front. Messages may be nested deeply, so what was not found is not looked for again further inside.
body_part_t& body_part_t::content_part() {
  body_part_t* part = &inside_protection();
  bool may_hold_text = true;
  bool may_hold_html = true;
  while (part->has_body() && !is_shown_text(*part)) {
    std::string const type = part->mime_type();
    if (type == "multipart/alternative" && may_hold_text) {
      may_hold_text = part->find_text({ "text/plain", "text/html" });
      if (may_hold_text)
        return *part;
    } else if (type == "multipart/related" && may_hold_html) {
      may_hold_html = part->has_html();
      if (may_hold_html)
        return *part;
    }
    if (!part->may_begin_with_content())
      return part->insert_text_in_front();
    body_part_t& front = part->_subparts.front();
    part = &front.inside_protection();
    may_hold_html = may_hold_html || part != &front;  // what is protected was not looked into
  }
  return *part;
}

bool body_part_t::may_begin_with_content() {
  if (!is_multi_part() || mime_type() == "multipart/encrypted" || subparts().empty())
    return false;
  body_part_t& front = _subparts.front();
  return is_shown_text(front) || front.is_multi_part() || &front.inside_protection() != &front;
}

body_part_t& body_part_t::insert_text_in_front() {
  if (mime_type() != "multipart/mixed")
    wrap_content("mixed", unset_string);
  return insert_text_part();
}

body_part_t& body_part_t::insert_text_part() {
  body_part_t& text = insert_subpart(0, "text", "plain", unset_string, nullptr, nullptr, false);
  text.set_plain_text("", unset_string, false);
  return text;
}

// The part that takes attachments: a multipart/mixed, or the group of a text that refers to its attachments.
body_part_t& body_part_t::attachment_container() {
  body_part_t* const container = attachments_body_part();
  if (container) {
    if (container->is_html_group())
      container->wrap_content("mixed", unset_string);
    return *container;
  }
  if (!has_body())
    set_plain_text("", unset_string, false);
  body_part_t& content = inside_protection();
  content.wrap_content("mixed", unset_string);
  return content;
}

// What begins with a text in a markup language is the group of that.
bool body_part_t::is_html_group() {
  if (mime_type() != "multipart/related" || !has_body())
    return false;
  bool const is_markup_group = num_subparts() > 0 && !_subparts.front().markup().empty();
  return !is_markup_group && find_text({ "text/html" });
}

// The multipart/related around the HTML of this content, made where there is none yet. Null without HTML.
body_part_t* body_part_t::group_of_html() {
  auto const [html, group] = find_html(nullptr);
  if (!html || group)
    return group;
  html->wrap_content("related", header::parameter_text("type", "text/html"));
  return html;
}

// To this group, in place of the resource of that name if there is one.
void body_part_t::attach_related(std::string const& name, std::string_view bytes) {
  std::string const id = "<" + identifier_of(name) + ">";
  body_part_t* const replaced = child_with_content_id(id);
  body_part_t& part = replaced ? *replaced : push_body_part();
  content_changed();
  auto const [type, subtype] = sendable_type("", name, bytes);
  part.set_body(type, subtype, header::parameter_text("name", name), bytes.data(), bytes.data() + bytes.size(), false);
  part.set_header("content-id", id);
  part.set_header("content-disposition", "inline; " + header::parameter_text("filename", name));
  _known_ids.ids.insert(id);
  _known_ids.num_subparts = _subparts.size();
}

// Null when there is none. The identifiers are kept, since a message may get many resources, one after the other; children
// that came or went in other ways show in the number.
body_part_t* body_part_t::child_with_content_id(std::string const& id) {
  auto const content_id = [](body_part_t const& child) {
    auto const stated = child._headers.find("content-id");
    return stated == child._headers.end() ? std::string() : stated->second;
  };
  if (_known_ids.num_subparts != num_subparts()) {
    _known_ids = {};
    for (body_part_t const& child : _subparts)
      _known_ids.ids.insert(content_id(child));
  }
  if (!_known_ids.ids.contains(id))
    return nullptr;
  auto const found = std::find_if(_subparts.rbegin(), _subparts.rend(),
                                  [&](body_part_t const& child) { return content_id(child) == id; });
  return found == _subparts.rend() ? nullptr : &*found;
}

}  // namespace kel
