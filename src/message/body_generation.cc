// Writing a tree as a message.
//
// What a part came from is the best way to write it, so three cases are told apart:
//
//   untouched        the part and everything below has its raw bytes: they are copied
//   body untouched   only headers were set: new header lines, the body as it came, whatever its encoding or charset
//   anything else    written anew from the decoded content, under headers that are made to fit it
//
// An ordinary multipart whose headers were set is put together from its children and not copied: what stood around them
// is the preamble, which the application may have changed, and the epilogue, which is never written.
#include <kelmime/body.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

#include <kel/ascii.h>
#include <kel/date.h>
#include <kel/format_string.h>
#include <kel/regexp.h>
#include <kel/uuid.h>
#include <base/fatal.h>
#include <base/utf8.h>
#include <codec/line_lengths.h>
#include <header/parameters.h>
#include <kelmime/encoding.h>
#include <kelmime/format_flowed.h>
#include <kelmime/header_generation.h>
#include <kelmime/headers.h>
#include <kelmime/rfc822_date_parser.h>
#include <message/boundary.h>
#include <message/delimiter_index.h>
#include <message/multipart.h>
#include <message/protected_content.h>
#include <message/quoted_printable_body.h>
#include <message/transfer_encodings.h>

namespace kel {

namespace {

constexpr std::array<std::string_view, 16> first_headers = {
  "from",
  "to",
  "cc",
  "bcc",
  "subject",
  "date",
  "reply-to",
  "message-id",
  "in-reply-to",
  "references",
  "mime-version",
  "content-description",
  "content-disposition",
  "content-id",
  "content-type",
  "content-transfer-encoding",
};

constexpr std::array<std::string_view, 6> resent_headers = { "resent-from", "resent-to",   "resent-cc",
                                                             "resent-bcc",  "resent-date", "resent-message-id" };

// The headers that tell how to read a body, in the order in which a signed part shows them.
constexpr std::array<std::string_view, 3> entity_headers = { "content-type", "content-transfer-encoding",
                                                             "content-disposition" };

bool is_applicable(std::string_view encoding) {
  return encoding == "7bit" || encoding == "8bit" || encoding == "quoted-printable" || encoding == "base64";
}

// Bytes under an encoding that cannot be applied are as they stand: binary, or never decoded.
void append_encoded(std::string_view bytes, std::string const& encoding, bool has_lines, std::vector<char>& out) {
  if (encoding == "quoted-printable")
    append_quoted_printable(bytes, has_lines, std::back_inserter(out));
  else if (is_applicable(encoding))
    encode(bytes.begin(), bytes.end(), std::back_inserter(out), encoding);
  else
    out.insert(out.end(), bytes.begin(), bytes.end());
}

void append(std::string_view text, std::vector<char>& out) {
  out.insert(out.end(), text.begin(), text.end());
}

// Whether a boundary can stand in a header and in a delimiter line.
bool is_usable_boundary(std::string_view boundary) {
  return !boundary.empty() && std::all_of(boundary.begin(), boundary.end(), [](char c) { return ascii::is_print(c); });
}

// Behind the leading lines "Resent-..." and the lines that continue them.
char const* end_of_resent_block(char const* line, char const* end) {
  bool is_inside = false;
  for (;;) {
    std::string_view const rest(line, end);
    is_inside = rest.starts_with("Resent-") || (is_inside && (rest.starts_with(' ') || rest.starts_with('\t')));
    if (!is_inside)
      return line;
    char const* const feed = std::find(line, end, '\n');
    line = feed == end ? end : feed + 1;
  }
}

}  // namespace

// One run of the writer. It notes each multipart that it puts together, since only after the run it is certain whether a
// reader will find the same children: their content may hold the delimiter line.
struct body_part_t::writing_t {
  using offsets_t = std::pair<std::size_t, std::size_t>;  // in `out`

  struct written_multipart_t {
    body_part_t* part;
    std::string boundary;
    std::vector<offsets_t> children;
    offsets_t body;
  };

  void text(std::string_view bytes) { append(bytes, out); }

  bool is_read_as_written(delimiter_index_t const& index, written_multipart_t const& multipart) const {
    char const* const begin = out.data();
    auto const ranges = parse_subparts(begin + multipart.body.first, begin + multipart.body.second, multipart.boundary,
                                       /*errors*/ nullptr, index);
    auto const is_child = [&](range_t const& range, offsets_t const& child) {
      return range.begin == begin + child.first && range.end == begin + child.second;
    };
    return ranges.size() == multipart.children.size() + 2 &&
           std::equal(ranges.begin() + 1, ranges.end() - 1, multipart.children.begin(), is_child);
  }

  // The parts that need another boundary. One index of the dash lines serves all levels.
  std::vector<body_part_t*> ambiguous_multiparts() const {
    std::vector<body_part_t*> found;
    if (multiparts.empty())
      return found;
    delimiter_index_t const index(out.data() + start, out.data() + out.size());
    for (written_multipart_t const& multipart : multiparts) {
      if (!is_read_as_written(index, multipart))
        found.push_back(multipart.part);
    }
    return found;
  }

  std::vector<char>& out;
  std::size_t start;
  std::vector<written_multipart_t> multiparts = {};
  std::map<body_part_t const*, std::vector<char>> signed_entities = {};  // to be written as they were signed
};

// --- What can be copied ------------------------------------------------------------------------------------------

// False for a part that was made and not filled yet.
bool body_part_t::has_body() const {
  return _is_decoded || _raw_begin || !_subparts.empty();
}

bool body_part_t::are_subparts_untouched() const {
  return std::all_of(_subparts.begin(), _subparts.end(), [](body_part_t const& child) { return child.is_untouched(); });
}

bool body_part_t::is_untouched() const {
  return _raw_begin && !_seals_anew && are_subparts_untouched();
}

bool body_part_t::is_body_untouched() const {
  return _source_body.begin && !_is_split && are_subparts_untouched();
}

// --- One run -----------------------------------------------------------------------------------------------------

// Writes, and once more with new boundaries where the content of a multipart held its delimiter line.
void body_part_t::generate(message_inserter_t inserter, step_t step) {
  if (!is_untouched())
    rewrite_guessed_text();
  writing_t writing{ container_of(inserter), container_of(inserter).size() };
  (this->*step)(writing);
  auto const ambiguous = writing.ambiguous_multiparts();
  if (ambiguous.empty())
    return;
  for (body_part_t* const part : ambiguous)
    part->renew_boundary();
  writing.out.resize(writing.start);
  writing.multiparts.clear();
  (this->*step)(writing);
}

// Headers are written in UTF-8, so that they hint at no charset any more. Text that was read by such a hint is written in UTF-8,
// too, except where it is signed.
void body_part_t::rewrite_guessed_text() {
  bool const has_hint = !get_guessed_charset().empty();
  if (is_protection(mime_type()) || (!has_hint && is_untouched()))
    return;
  if (has_hint && is_read_by_guess())
    content_changed();
  if (has_body() && (is_multi_part() || is_message())) {
    for (body_part_t& child : subparts())
      child.rewrite_guessed_text();
  }
}

void body_part_t::generate_rfc822(message_inserter_t out) {
  generate(out, &body_part_t::write);
}

void body_part_t::generate_rfc822() {
  std::vector<char> bytes;
  generate_rfc822(std::back_inserter(bytes));
  if (generation_failure() != unset_string)
    return;  // what could not be sealed was not written
  body_part_t* const parent = _parent;
  std::size_t const level = _level;
  init(bytes);
  _parent = parent;
  _level = level;
}

void body_part_t::generate_rfc822_headers(message_inserter_t out) {
  writing_t writing{ container_of(out), 0 };
  prepare_headers();
  write_header_block(writing);
}

void body_part_t::generate_rfc822_body(message_inserter_t out) {
  generate(out, &body_part_t::write_body);
}

void body_part_t::generate_rfc822_body_with_headers(message_inserter_t out) {
  generate(out, &body_part_t::write_signed_entity);
}

// --- Parts -------------------------------------------------------------------------------------------------------

void body_part_t::write(writing_t& writing) {
  if (auto const entity = writing.signed_entities.find(this); entity != writing.signed_entities.end())
    writing.text({ entity->second.data(), entity->second.size() });
  else if (!is_untouched())
    write_anew(writing);
  else if (is_resent() && has_new_resent_headers())
    write_resent(writing);
  else
    writing.text(raw_data());
}

// A message that was resent before came with such headers: only others make it different.
bool body_part_t::has_new_resent_headers() {
  headers_t received;
  mime_errors_handler_t known_errors;  // parsing the whole part has recorded them already
  parse_headers(_raw_begin, _body_begin, received, known_errors, "", [this] { return get_guessed_charset(); });
  return std::any_of(resent_headers.begin(), resent_headers.end(), [&](std::string_view name) {
    auto const [first, last] = _headers.equal_range(std::string(name));
    auto const [received_first, received_last] = received.equal_range(std::string(name));
    return !std::equal(first, last, received_first, received_last);
  });
}

void body_part_t::write_resent(writing_t& writing) {
  for (std::string_view const name : resent_headers)
    write_headers(writing, name);
  writing.text({ end_of_resent_block(_raw_begin, _body_begin), _raw_end });
}

bool body_part_t::is_sealed_multipart() {
  std::string const type = mime_type();
  return type == "multipart/signed" || type == "multipart/encrypted";
}

bool body_part_t::can_be_written() {
  if (is_untouched() || !has_body())
    return true;
  if (is_sealed_multipart() && num_subparts() != 2)
    return false;
  if (_lacks_subparts && !is_body_untouched())
    return false;
  return std::all_of(_subparts.begin(), _subparts.end(), [](body_part_t& child) { return child.can_be_written(); });
}

void body_part_t::write_anew(writing_t& writing) {
  std::string const content_type = mime_type();
  if (is_sealed_multipart() && num_subparts() != 2) {
    fatal("Unexpected number of bodyparts (%zu) when generating for multipart/%s.\n", num_subparts(),
          printable(content_type.substr(content_type.find('/') + 1)).c_str());
  }
  if (content_type == "multipart/mixed" || content_type == "multipart/related")
    apply_markdown_rule();
  seal_layer(writing);
  prepare_headers();
  write_header_block(writing);
  writing.text("\n");
  write_body(writing);
}

void body_part_t::seal_layer(writing_t& writing) {
  bool const is_layer = is_envelope(mime_type()) || (is_sealed_multipart() && num_subparts() == 2);
  if (!is_layer || is_untouched())
    return;
  if (auto entity = seal())
    writing.signed_entities.insert_or_assign(&_subparts.front(), std::move(*entity));
}

// A Markdown text that refers to each attachment by its Content-ID makes the group "related", any other one "mixed".
void body_part_t::apply_markdown_rule() {
  if (_subparts.empty() || _subparts.front().markup() != "markdown")
    return;
  static regexp::pattern_t const mixed("mixed");
  static regexp::pattern_t const related("related");
  std::string const text = _subparts.front().text_body(/*canonical*/ false);
  bool is_related = true;
  for (auto child = std::next(_subparts.begin()); child != _subparts.end(); ++child) {
    std::string const reference = "cid:" + child->get_header("content-id.split", "");
    is_related = is_related && text.find(reference) != text.npos;
  }
  std::string const content_type = get_header("content-type", "");
  std::string const wanted = is_related ? format_string::replace(content_type, mixed, "related")
                                        : format_string::replace(content_type, related, "mixed");
  if (wanted != content_type)
    set_header("content-type", wanted);
}

void body_part_t::write_signed_entity(writing_t& writing) {
  seal_layer(writing);
  prepare_headers();
  for (std::string_view const name : entity_headers)
    write_headers(writing, name);
  writing.text("\n");
  if (is_untouched())
    writing.text(raw_body());
  else
    write_body(writing);
}

// --- Headers -----------------------------------------------------------------------------------------------------

void body_part_t::write_headers(writing_t& writing, std::string_view name) const {
  auto const [first, last] = _headers.equal_range(std::string(name));
  for (auto header = first; header != last; ++header)
    generate_rfc822_header(header->first, header->second, std::back_inserter(writing.out));
}

void body_part_t::write_header_block(writing_t& writing) const {
  for (std::string_view const name : first_headers)
    write_headers(writing, name);
  for (auto const& [name, value] : _headers) {
    if (std::find(first_headers.begin(), first_headers.end(), name) == first_headers.end())
      generate_rfc822_header(name, value, std::back_inserter(writing.out));
  }
}

// Headers that must say what the body is going to be. A body that is written as it came has the right ones.
void body_part_t::prepare_headers() {
  if (!has_body())
    return;
  if (is_multi_part() && !can_name_boundary())
    content_changed();
  if (is_body_untouched())
    return;
  std::string const encoding = transfer_encoding();
  if (is_multi_part() || is_message())
    prepare_container_headers(encoding);
  else
    prepare_leaf_headers(encoding);
}

// Delimiter lines may be copied only under a header that names them. A multipart without a boundary has none.
bool body_part_t::can_name_boundary() {
  std::string const boundary = get_header("content-type.parameter.split.boundary", "");
  return boundary.empty() || is_usable_boundary(boundary);
}

// Containers are never encoded. One that says so, and was read without undoing it, may go on saying so.
void body_part_t::prepare_container_headers(std::string const& encoding) {
  if (changes_bytes(encoding) && !_is_split)
    store_header("content-transfer-encoding", wanted_container_encoding());
  if (is_multi_part() && !is_usable_boundary(get_header("content-type.parameter.split.boundary", "")))
    renew_boundary();
}

// Text is kept in UTF-8, whatever it was read from; attached text is bytes.
void body_part_t::prepare_leaf_headers(std::string const& encoding) {
  if (encoding == "x-uuencode")
    store_header("content-transfer-encoding", "base64");
  if (!_holds_utf8_text || !is_text())
    return;
  std::string_view const text = decoded_view();
  bool const is_ascii = utf8::is_ascii(text);
  std::string const charset = get_header_lowercased("content-type.parameter.split.charset", "us-ascii");
  if (charset != "utf-8" && !(is_ascii && charset == "us-ascii")) {
    std::string const content_type = get_header("content-type", "text/plain");
    store_header("content-type", header::with_parameter(content_type, "charset", "utf-8"));
  }
  if (!is_ascii && encoding == "7bit")
    store_header("content-transfer-encoding", "8bit");
}

void body_part_t::renew_boundary() {
  std::string const content_type = get_header("content-type", "");
  store_header("content-type", header::with_parameter(content_type, "boundary", new_boundary()));
}

bool body_part_t::holds_8bit() const {
  auto const stated = _headers.lower_bound("content-transfer-encoding");
  return stated != _headers.end() && stated->first == "content-transfer-encoding" && stated->second == "8bit";
}

std::string body_part_t::wanted_container_encoding() {
  bool const has_8bit =
      std::any_of(_subparts.begin(), _subparts.end(), [](body_part_t const& child) { return child.holds_8bit(); });
  return has_8bit ? "8bit" : unset_string;
}

void body_part_t::update_mime_encoding() {
  for (body_part_t* part = this; part && part->is_multi_part(); part = part->_parent)
    part->label_container();
}

// A container of 8-bit parts says so (RFC 2045, section 6.4).
void body_part_t::label_container() {
  std::string const wanted = wanted_container_encoding();
  if (get_header("content-transfer-encoding", unset_string) != wanted)
    set_header("content-transfer-encoding", wanted);
}

// --- Bodies ------------------------------------------------------------------------------------------------------

void body_part_t::write_body(writing_t& writing) {
  if (!has_body())
    return;
  decode_body();
  if (is_body_untouched()) {
    writing.text({ _source_body.begin, _source_body.end });
    return;
  }
  prepare_headers();
  std::string const content_type = mime_type();
  if (is_text())
    write_text(writing);
  else if (content_type == "message/rfc822" && _subparts.size() == 1)
    _subparts.front().write(writing);
  else if (is_multi_part())
    write_multipart(writing);
  else if (!is_message())
    append_encoded(decoded_view(), transfer_encoding(), /*has_lines*/ false, writing.out);
}

void body_part_t::write_text(writing_t& writing) {
  std::string_view text = decoded_view();
  std::string const encoding = transfer_encoding();
  if (!_holds_utf8_text || !is_plain() || !is_format_flowed()) {
    append_encoded(text, encoding, _holds_utf8_text, writing.out);
    return;
  }
  bool const delsp = get_header_lowercased("content-type.parameter.split.delsp", "no") == "yes";
  std::string flowed;
  format_flow(text.begin(), text.end(), std::back_inserter(flowed), delsp, flowed_width, /*keep_unquoted*/ false,
              /*count_characters*/ false);
  append_encoded(flowed, encoding, /*has_lines*/ true, writing.out);
}

void body_part_t::write_multipart(writing_t& writing) {
  std::string const boundary = get_header("content-type.parameter.split.boundary", "");
  writing_t::written_multipart_t written{ this, boundary, {}, { writing.out.size(), 0 } };
  if (auto const preamble = _headers.find("#mime-preamble"); preamble != _headers.end())
    writing.text(preamble->second);
  for (body_part_t& child : _subparts) {
    writing.text("\n--" + boundary + "\n");
    std::size_t const begin = writing.out.size();
    child.write(writing);
    written.children.emplace_back(begin, writing.out.size());
  }
  writing.text("\n--" + boundary + "--\n");
  written.body.second = writing.out.size();
  if (!_subparts.empty())
    writing.multiparts.push_back(std::move(written));
}

// --- Identity and date -------------------------------------------------------------------------------------------

void body_part_t::generate_message_id(bool force) {
  if (!force && exists_header("message-id"))
    return;
  std::string const id = create_message_id(uuid_t().to_s(), get_header("from", "unknown"));
  set_header(is_resent() ? "resent-message-id" : "message-id", "<" + id + ">");
}

void body_part_t::touch(long time) {
  if (time == 0) {
    time = static_cast<long>(std::time(nullptr));
    if (is_dated_after(time))
      return;
  }
  set_header(is_resent() ? "resent-date" : "date", date_in_local_zone(time, "%a, %d %b %Y %H:%M:%S %z"));
  for (char const* const name : { "#date", "#date-received", "#date-sent" })
    _updated_headers.insert(name);
  generate_message_id(/*force*/ true);
  if (!is_resent())
    drop_raw_bytes();
}

bool body_part_t::is_dated_after(long time) {
  if (!exists_header("date"))
    return false;
  std::string const value = _headers.lower_bound("date")->second;
  mime_errors_handler_t dropped;
  rfc822_date_t const date(value.data(), value.data() + value.size(), dropped);
  auto const seconds = seconds_since_epoch(date.canonical_format(), "%F %T");
  return seconds && *seconds > time;
}

void body_part_t::insert_mime_preamble_body_part() {
  if (_has_preamble_part)
    return;
  if (has_body())
    decode_body();
  body_part_t& preamble = _subparts.emplace_back();
  preamble.init(_body_begin, _body_begin);
  preamble._parent = this;
  _has_preamble_part = true;
}

}  // namespace kel
