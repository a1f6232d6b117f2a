// Filling a draft: the content of one part, and the operations of a mail program that end in that.
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
#include <fstream>
#include <utility>

#include <codec/line_ends.h>
#include <kel/ascii.h>
#include <kel/path.h>
#include <kel/preferences.h>
#include <kel/regexp.h>
#include <kel/text.h>
#include <base/fatal.h>
#include <base/utf8.h>
#include <header/parameters.h>
#include <kelmime/format_flowed.h>
#include <kelmime/header_generation.h>
#include <kelmime/hex.h>
#include <kelmime/mime.h>
#include <kelmime/reencode.h>
#include <kelmime/transfer_encoding_choice.h>
#include <message/boundary.h>
#include <message/protected_content.h>

namespace kel {

namespace {

constexpr std::size_t flowed_width = 72;
constexpr std::size_t longest_line = 998;
constexpr std::size_t longest_flowed_line = 990;  // a longer one was broken inside a word

bool is_ascii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), is_high);
}

bool has_trailing_blanks(std::string_view text) {
  static regexp::pattern_t const blanks_at_line_end("[\t ]+$");
  return static_cast<bool>(regexp::search(blanks_at_line_end, text));
}

bool is_blank(std::string_view text) {
  return text.find_first_not_of(" \t\n") == text.npos;
}

void write_debug_file(char const* path, std::string_view text) {
  std::ofstream(path, std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
}

// A debugging aid: flowing must lose nothing.
void check_flow(std::string_view text, std::string const& flowed, bool delsp) {
  if (!preferences::boolean("PwStrictDebugMode"))
    return;
  std::string deflowed;
  format_deflow(flowed.begin(), flowed.end(), std::back_inserter(deflowed), /*flowed*/ true, delsp,
                /*keep_unquoted*/ false);
  if (deflowed.size() == text.size())
    return;
  write_debug_file("/tmp/postwick_test1.txt", text);
  write_debug_file("/tmp/postwick_test2.txt", deflowed);
  fatal("Could not flow/deflow 1-1: %zu != %zu\n", text.size(), deflowed.size());
}

// The choice by content asks for lines that end. One that does not end may be too long all the same (RFC 5322, section
// 2.1.1).
std::string fitting_encoding(std::string const& type, std::string const& subtype, std::string_view body, bool flow) {
  auto const options = flow ? encoding_options::ignore_signature_blanks : encoding_options::none;
  std::string const& encoding = which_mime_encoding(body.data(), body.data() + body.size(), type, subtype, options);
  bool const is_literal = encoding == "7bit" || encoding == "8bit";
  bool const is_too_long = type == "text" && is_literal && max_line_length(body.begin(), body.end()) > longest_line;
  return is_too_long ? "quoted-printable" : encoding;
}

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

}  // namespace

// --- One part ----------------------------------------------------------------------------------------------------

void body_part_t::set_body(std::string const& type, std::string const& subtype, std::string const& parameters,
                           char const* first, char const* last, bool flow) {
  store_content(type, { first, last });
  std::string_view const body(_decoded_body->data(), _decoded_body->size());
  std::string content_type = type + "/" + subtype;
  std::string encoding;
  if (type == "multipart") {
    content_type += "; " + header::parameter_text("boundary", new_boundary());
    set_header("#mime-preamble", std::string(body));
  } else if (type == "text") {
    flow = describe_text(subtype, body, flow, content_type, encoding);
  }
  if (parameters != unset_string)
    content_type += "; " + parameters;
  bool const is_default =
      content_type == "text/plain" && !is_child_of({ "application/pkcs7-mime", "multipart/signed" });
  set_header("content-type", is_default ? unset_string : content_type);
  if (encoding.empty() && !(is_child_of({ "multipart/encrypted" }) && is_ascii(body)))
    encoding = fitting_encoding(type, subtype, body, flow);
  set_header("content-transfer-encoding", encoding == "7bit" ? unset_string : encoding);
  if (type == "message" && subtype == "rfc822")
    unfold_content();
  finish_content();
}

// Forgets what the part was and keeps the bytes, which may be its own, as its decoded body.
void body_part_t::store_content(std::string const& type, std::string_view body) {
  auto kept = std::make_shared<std::vector<char> const>(body.begin(), body.end());
  if (type == "multipart" && has_body())
    decode_body();
  else
    _subparts.clear();
  _has_changed = true;
  _raw_begin = _body_begin = _raw_end = nullptr;
  _source_body = {};
  _is_split = false;
  _decoded_body = std::move(kept);
  _is_decoded = true;
  _holds_utf8_text = type == "text";
  _canonicalized_text = unset_string;
  _needs_sealing = false;
  _seals_anew = false;
}

// Adds the parameters of a text to its Content-Type, and decides on an encoding where the bytes alone do not. Answers
// whether the text may still be flowed.
bool body_part_t::describe_text(std::string const& subtype, std::string_view text, bool flow, std::string& content_type,
                                std::string& encoding) {
  if (!is_ascii(text))
    content_type += "; charset=utf-8";
  if (_to_be_signed) {
    if (is_ascii(text) && has_trailing_blanks(text))
      encoding = "quoted-printable";
    return false;
  }
  bool delsp = false;
  if (!flow || subtype != "plain" || !should_format_flow(text.data(), text.data() + text.size(), delsp, flowed_width))
    return flow;
  std::string flowed;
  format_flow(text.begin(), text.end(), std::back_inserter(flowed), delsp, flowed_width, /*keep_unquoted*/ false,
              /*count_characters*/ false);
  // A word as long as a line would be broken for good: such a text goes out as it is.
  if (max_line_length(flowed.begin(), flowed.end()) > longest_flowed_line)
    return flow;
  check_flow(text, flowed, delsp);
  content_type += delsp ? "; format=flowed; delsp=yes" : "; format=flowed";
  encoding = which_mime_encoding(flowed.data(), flowed.data() + flowed.size(), "text", subtype,
                                 encoding_options::ignore_trailing_blanks);
  return flow;
}

bool body_part_t::is_child_of(std::initializer_list<std::string_view> mime_types) {
  return _parent && std::find(mime_types.begin(), mime_types.end(), _parent->mime_type()) != mime_types.end();
}

// The bytes become a message of their own, the only child.
void body_part_t::unfold_content() {
  take_body(std::make_shared<std::vector<char>>(_decoded_body->begin(), _decoded_body->end()));
  decode_body();
  drop_raw_bytes();
}

void body_part_t::finish_content() {
  if (_parent) {
    if (holds_8bit() != _parent->holds_8bit())  // otherwise nothing would change
      _parent->update_mime_encoding();
    return;
  }
  set_header("mime-version", "1.0");
  touch(0);
  set_header("x-mailer", get_x_mailer_value());
}

// --- Composing ---------------------------------------------------------------------------------------------------

// The texts may stand in the parts that are replaced.
void body_part_t::set_text_body(std::string const& given_text, std::string const& given_markup,
                                std::string const& given_html, bool is_signed) {
  std::string const text = given_text, markup = given_markup, html = given_html;
  body_part_t& content = content_part();
  body_part_t* const plain = content.find_text("plain");
  if (html == unset_string) {
    content.replace_content_by_text(text, markup, is_signed);
    return;
  }
  if (plain) {
    plain->set_plain_text(text, markup, is_signed);
  } else if (content.find_text("html")) {
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
    if (child->is_multi_part())
      child->take_attachments(attachments);
    else if (!is_shown && !child->is_content())
      attachments.splice(attachments.end(), _subparts, child);
    child = next;
  }
}

void body_part_t::set_html_body(std::string const& given_html) {
  std::string const html = given_html;
  body_part_t& content = content_part();
  body_part_t* part = content.find_text("html");
  bool const is_first_html = !part;
  if (!part && content.has_text()) {
    content.wrap_content("alternative", unset_string);
    part = &content.insert_subpart(content.num_subparts(), "text", "html", unset_string, nullptr, nullptr, false);
  }
  (part ? *part : content).set_body("text", "html", unset_string, html.data(), html.data() + html.size(), false);
  if (!is_first_html)
    return;
  for (auto const& [name, bytes] : _related_parts)
    attach_related(content, name, bytes);
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
  attach_related(content_part(), file_name, bytes);
  return identifier_of(file_name);
}

std::string body_part_t::text_body(bool canonical) {
  body_part_t& content = inside_protection();
  body_part_t* part = content.find_text("plain");
  if (!part)
    part = content.find_text("html");
  if (!part)
    return {};
  if (canonical && part->_canonicalized_text != unset_string)
    return part->_canonicalized_text;
  return std::string(part->decoded_body());
}

// --- Finding text ------------------------------------------------------------------------------------------------

// The first part of the subtype of text, inside of protection too, but not of attachments and messages. Null when there is
// none.
body_part_t* body_part_t::find_text(std::string const& subtype) {
  if (!has_body())
    return nullptr;
  if (mime_type() == "text/" + subtype)
    return is_attached(*this) ? nullptr : this;
  if (!is_multi_part())
    return nullptr;
  for (body_part_t& child : subparts()) {
    if (body_part_t* const found = child.inside_protection().find_text(subtype))
      return found;
  }
  return nullptr;
}

// The innermost multipart/related around the first HTML. Null when there is none.
body_part_t* body_part_t::find_related_group() {
  if (!is_multi_part())
    return nullptr;
  for (body_part_t& child : subparts()) {
    if (!child.find_text("html"))
      continue;
    body_part_t* const inner = child.find_related_group();
    return inner || mime_type() != "multipart/related" ? inner : this;
  }
  return nullptr;
}

// Whether this is the text of a message, in all its forms, and not a group of the text with something else.
bool body_part_t::is_content() {
  std::string const type = mime_type();
  if (type == "text/plain" || type == "text/html")
    return !is_attached(*this);
  bool const has_text = find_text("plain") || find_text("html");
  return (type == "multipart/alternative" && has_text) || (type == "multipart/related" && find_related_group());
}

bool body_part_t::has_text() {
  body_part_t* const plain = find_text("plain");
  return plain && !is_blank(plain->decoded_body());
}

// --- Shapes ------------------------------------------------------------------------------------------------------

// What a draft or an opened message protects, through all layers; the part itself where it protects nothing. What is edited
// there is sealed with the rest; beside it, it would go out in the clear.
body_part_t& body_part_t::inside_protection() {
  body_part_t* const content = has_body() ? protected_content(*this) : nullptr;
  return content && (_needs_sealing || is_regular_protection(*this)) ? content->inside_protection() : *this;
}

// Where the text of the message is: what attachments and a signature stand beside. A message without text gets an empty one
// in front.
body_part_t& body_part_t::content_part() {
  body_part_t& inside = inside_protection();
  if (&inside != this)
    return inside.content_part();
  if (!has_body() || is_content())
    return *this;
  std::string const type = mime_type();
  bool const may_hold_content = is_multi_part() && type != "multipart/encrypted" && !subparts().empty();
  if (may_hold_content) {
    body_part_t& front = _subparts.front();
    if (front.is_content() || front.is_multi_part() || &front.inside_protection() != &front)
      return front.content_part();
  }
  if (type != "multipart/mixed")
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
    bool const is_html_group = container->mime_type() == "multipart/related" && container->find_related_group();
    if (!is_html_group)
      return *container;
    container->wrap_content("mixed", unset_string);
    return *container;
  }
  if (!has_body())
    set_plain_text("", unset_string, false);
  body_part_t& content = inside_protection();
  content.wrap_content("mixed", unset_string);
  return content;
}

// Beside the HTML of the content, if there is any.
void body_part_t::attach_related(body_part_t& content, std::string const& name, std::string_view bytes) {
  body_part_t* const html = content.find_text("html");
  if (!html)
    return;
  body_part_t* group = content.find_related_group();
  if (!group) {
    html->wrap_content("related", header::parameter_text("type", "text/html"));
    group = html;
  }
  std::string const id = "<" + identifier_of(name) + ">";
  body_part_t* part = nullptr;
  for (body_part_t& child : group->subparts()) {
    auto const stated = child._headers.find("content-id");
    if (stated != child._headers.end() && stated->second == id)
      part = &child;
  }
  if (!part)
    part = &group->push_body_part();
  group->content_changed();
  auto const [type, subtype] = sendable_type("", name, bytes);
  part->set_body(type, subtype, header::parameter_text("name", name), bytes.data(), bytes.data() + bytes.size(), false);
  part->set_header("content-id", id);
  part->set_header("content-disposition", "inline; " + header::parameter_text("filename", name));
}

// Makes this part a multipart whose only child is what it was.
void body_part_t::wrap_content(std::string const& subtype, std::string const& parameters) {
  drop_raw_bytes();
  // Inside, a transfer encoding of a container would be undone that was not undone here.
  std::string const encoding = transfer_encoding();
  bool const is_stated = encoding == "base64" || encoding == "quoted-printable" || encoding == "x-uuencode";
  if (is_stated && (is_multi_part() || is_message()))
    forget_source_body();
  body_part_t inner;
  move_content_to(inner);
  set_body("multipart", subtype, parameters, nullptr, nullptr, false);
  body_part_t& child = _subparts.emplace_back(std::move(inner));
  child._parent = this;
  child._level = _level + 1;
  child.adopt_subparts();
  update_mime_encoding();
}

void body_part_t::move_content_to(body_part_t& inner) {
  for (auto header = _headers.begin(); header != _headers.end();) {
    auto const next = std::next(header);
    if (header->first.starts_with("content-") || header->first.starts_with("#mime-"))
      inner._headers.insert(_headers.extract(header));
    header = next;
  }
  _content_headers = {};
  inner._subparts.splice(inner._subparts.end(), _subparts);
  inner._bytes = _bytes;
  inner._budget = _budget;
  inner._source_body = std::exchange(_source_body, {});
  inner._decoded_body = std::exchange(_decoded_body, {});
  inner._is_decoded = _is_decoded;
  inner._is_split = std::exchange(_is_split, false);
  inner._lacks_subparts = std::exchange(_lacks_subparts, false);
  inner._holds_utf8_text = std::exchange(_holds_utf8_text, false);
  inner._preferred_subpart = std::exchange(_preferred_subpart, no_preference);
  inner._guessed_charset = _guessed_charset;
  inner._description = std::exchange(_description, {});
  inner._canonicalized_text = std::exchange(_canonicalized_text, unset_string);
  inner._to_be_signed = _to_be_signed;
  inner._has_preamble_part = std::exchange(_has_preamble_part, false);
  inner._has_changed = true;
}

}  // namespace kel
