// Setting the content of one part: its bytes, and the Content-Type and Content-Transfer-Encoding that fit them.
#include <kelmime/body.h>

#include <algorithm>
#include <fstream>
#include <utility>

#include <kel/preferences.h>
#include <base/fatal.h>
#include <base/utf8.h>
#include <codec/line_ends.h>
#include <codec/line_lengths.h>
#include <header/parameters.h>
#include <kelmime/format_flowed.h>
#include <kelmime/header_generation.h>
#include <kelmime/reencode.h>
#include <kelmime/transfer_encoding_choice.h>
#include <message/boundary.h>

namespace kel {

namespace {

constexpr std::size_t longest_flowed_line = 990;  // a longer one was broken inside a word

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
  bool const is_too_long =
      type == "text" && is_literal && max_line_length(body.begin(), body.end()) > longest_mail_line;
  return is_too_long ? "quoted-printable" : encoding;
}

}  // namespace

void body_part_t::set_body(std::string const& type, std::string const& subtype, std::string const& parameters,
                           char const* first, char const* last, bool flow) {
  bool const is_new = !has_body();
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
  if (encoding.empty() && !(is_child_of({ "multipart/encrypted" }) && utf8::is_ascii(body)))
    encoding = fitting_encoding(type, subtype, body, flow);
  set_header("content-transfer-encoding", encoding == "7bit" ? unset_string : encoding);
  if (type == "message" && subtype == "rfc822")
    unfold_content();
  finish_content(is_new);
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
  forget_outcome();
}

// Adds the parameters of a text to its Content-Type, and decides on an encoding where the bytes alone do not. Answers
// whether the text may still be flowed.
bool body_part_t::describe_text(std::string const& subtype, std::string_view text, bool flow, std::string& content_type,
                                std::string& encoding) {
  if (!utf8::is_ascii(text))
    content_type += "; charset=utf-8";
  if (_to_be_signed) {
    if (utf8::is_ascii(text) && has_blanks_at_line_ends(text))
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

// Makes what is around the part fit it. A new part that needs no 8bit leaves the label of its container true, and many are
// added to one container, so its other children are not looked through for each of them.
void body_part_t::finish_content(bool is_new) {
  if (_parent) {
    bool const may_change_label = holds_8bit() ? !_parent->holds_8bit() : !is_new && _parent->holds_8bit();
    if (may_change_label)
      _parent->update_mime_encoding();
    return;
  }
  set_header("mime-version", "1.0");
  touch(0);
  generate_message_id(/*force*/ false);  // under a date that lies in the future too
  set_header("x-mailer", get_x_mailer_value());
}

}  // namespace kel
