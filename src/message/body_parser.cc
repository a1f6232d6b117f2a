// Unfolding: from raw bytes to decoded bytes and children, one level at a time.
#include <kelmime/body_parser.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include <kel/text.h>
#include <base/fatal.h>
#include <codec/conversion.h>
#include <codec/line_ends.h>
#include <header/parameters.h>
#include <kelmime/body.h>
#include <kelmime/charset.h>
#include <kelmime/decoding.h>
#include <kelmime/format_flowed.h>
#include <kelmime/limits.h>
#include <message/message_bytes.h>
#include <message/multipart.h>
#include <message/tree_budget.h>

namespace kel {

namespace {

bool is_one_of(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool is_known_encoding(std::string_view encoding) {
  return is_one_of(encoding, { "7bit", "8bit", "binary", "quoted-printable", "base64", "x-uuencode" });
}

// Text and messages are read in LF form: every CR goes, wherever it stands.
void remove_carriage_returns(char const* first, char const* last, std::vector<char>& decoded) {
  if (decoded.empty()) {
    if (!std::memchr(first, '\r', static_cast<std::size_t>(last - first)))
      return;
    decoded.assign(first, last);
  }
  decoded.erase(std::remove(decoded.begin(), decoded.end(), '\r'), decoded.end());
}

// Whether a charset may stand in a header block that is written for a part without one.
bool is_parameter_text(std::string const& charset) {
  return !charset.empty() && std::none_of(charset.begin(), charset.end(), [](char c) { return byte_value(c) < 32; });
}

}  // namespace

// --- Functions on ranges -----------------------------------------------------------------------------------------

void decode(char const* first, char const* last, bool top_level, std::string& type, std::string& subtype,
            std::string encoding, std::string const& disposition, std::string const& charset,
            std::vector<char>& decoded, mime_errors_handler_t* errors) {
  if (!is_known_encoding(encoding)) {
    if (text::lowercase(encoding) == charset) {
      report(errors, "Encoding '" + encoding +
                         "' is unknown, but seems to be the charset of the message (7bit encoding assumed instead)");
      encoding = "7bit";
    } else {
      report(errors,
             "Encoding '" + encoding + "' is unknown. Now treated as application/octet-stream with a binary encoding");
      type = "application";
      subtype = "octet-stream";
      encoding = "binary";
    }
  }
  // Every other subtype of message is data to us, delivery reports included.
  if (type == "message" && subtype != "rfc822") {
    type = "application";
    subtype = "octet-stream";
  }
  if (is_one_of(encoding, { "quoted-printable", "base64" }) && is_one_of(type, { "multipart", "message" })) {
    std::string const refusal = "Encoding '" + encoding + "' not allowed for body parts of type '" + type + "'";
    report(errors, refusal + (top_level ? " (7bit assumed)" : " (allowing it anyways)"));
    if (top_level)
      encoding = "7bit";
  }
  bool const is_readable = is_one_of(type, { "text", "message" });
  mime_decode(first, last, std::back_inserter(decoded), encoding, errors, /*binary*/ !is_readable);
  if (is_readable && disposition != "attachment")
    remove_carriage_returns(first, last, decoded);
}

void decode_text(char const* first, char const* last, std::vector<char>& decoded, std::string const& subtype,
                 bool flowed, bool delsp, std::string& charset, std::function<std::string()> const& guesser,
                 mime_errors_handler_t* errors) {
  std::vector<char> utf8;
  if (!decoded.empty()) {
    first = decoded.data();
    last = first + decoded.size();
  }
  convert_to_utf8(first, last, std::back_inserter(utf8), charset, guesser, errors);
  // The second pass is wanted: its output is dropped, only what it reports is kept.
  if (!is_silent_conversion({ utf8.data(), utf8.size() }, charset)) {
    std::vector<char> dropped;
    convert_to_utf8(utf8.begin(), utf8.end(), std::back_inserter(dropped), charset, guesser, errors);
  }
  // A vector of its own: the one that held the transfer-decoded bytes may be several times as large.
  std::vector<char> canonical;
  decode_to_canonical_format(utf8.data(), utf8.data() + utf8.size(), subtype, flowed, delsp,
                             std::back_inserter(canonical), errors);
  decoded.swap(canonical);
}

void decode_to_canonical_format(char const* first, char const* last, std::string const& subtype, bool flowed,
                                bool delsp, std::back_insert_iterator<std::vector<char>> out,
                                mime_errors_handler_t* errors) {
  if (subtype == "plain") {
    if (delsp && !flowed) {
      report(errors, "Ignoring 'delsp=yes' since 'format!=flowed");  // no closing quote: a text that is known so
      delsp = false;
    }
    format_deflow(first, last, out, flowed, delsp, /*keep_unquoted*/ false);
    return;
  }
  if (subtype == "html" && flowed)
    report(errors, "Ignoring 'format=flowed' which should not be used for text/html");
  if (subtype == "html" && delsp)
    report(errors, "Ignoring 'delsp=yes' which should not be used for text/html");
  std::vector<char>& text = container_of(out);
  text.insert(text.end(), first, last);
}

// --- The part ----------------------------------------------------------------------------------------------------

void body_part_t::decode_body() {
  if (_is_decoded || !_subparts.empty())
    return;
  _is_decoded = true;
  if (!_body_begin || !_raw_end) {
    stop("%p,%p,%p\n", static_cast<void const*>(_raw_begin), static_cast<void const*>(_body_begin),
         static_cast<void const*>(_raw_end));
  }
  std::string type = get_header_lowercased("content-type.type", "text");
  std::string subtype = get_header_lowercased("content-type.subtype", "plain");
  std::string const encoding = transfer_encoding();
  std::string const disposition = get_header_lowercased("content-disposition.type", "");
  std::string charset = get_header_lowercased("content-type.parameter.split.charset", "");
  std::string const content_type = type + "/" + subtype;
  error_context_t const guard(&_errors, { "content-type", content_type }, { "content-transfer-encoding", encoding });

  if (_budget->is_spent()) {
    report_spent();
    return;
  }
  std::vector<char> decoded;
  kel::decode(_body_begin, _raw_end, /*top_level*/ !_parent, type, subtype, encoding, disposition, charset, decoded,
              &_errors);
  _holds_utf8_text = type == "text" && disposition != "attachment";
  if (_holds_utf8_text)
    decode_leaf_text(subtype, charset, decoded);
  if (!store_decoded(std::move(decoded)))
    return;
  if (type == "message")
    unfold_message();
  else if (type == "multipart")
    unfold_multipart(subtype, charset);
}

// The stated encoding; without the comment or the trailing blanks that may stand beside a known one.
std::string body_part_t::transfer_encoding() {
  std::string const stated = get_header_lowercased("content-transfer-encoding", "7bit");
  std::string const mechanism = header::transfer_encoding_mechanism(stated);
  return is_known_encoding(mechanism) ? mechanism : stated;
}

// Whether other words would be read in this text if no header hinted at its charset, or one at UTF-8.
bool body_part_t::is_read_by_guess() {
  std::string const stated = get_header_lowercased("content-type.parameter.split.charset", "");
  bool const is_guessing = _source_body.begin && is_text() && claims_ascii(stated) &&
                           get_header_lowercased("content-disposition.type", "") != "attachment";
  std::string const guess = is_guessing ? get_guessed_charset() : "";
  if (guess.empty())
    return false;
  std::string bytes;
  if (!mime_decode(_source_body.begin, _source_body.end, std::back_inserter(bytes), transfer_encoding(), nullptr,
                   false))
    bytes.assign(_source_body.begin, _source_body.end);
  auto const read_with = [&](std::string const& hint) {
    std::string text, charset = stated;
    convert_to_utf8(
        bytes.begin(), bytes.end(), std::back_inserter(text), charset, [&] { return hint; }, nullptr);
    return text;
  };
  std::string const text = read_with(guess);
  return text != read_with("") || text != read_with("utf-8");
}

void body_part_t::decode_leaf_text(std::string const& subtype, std::string charset, std::vector<char>& decoded) {
  if (_body_begin == _raw_end && !_is_headers_only && has_id())
    warning("Decoding empty text body for id %d\n", _unique_id);
  bool const flowed = get_header_lowercased("content-type.parameter.split.format", "") == "flowed";
  bool const delsp = get_header_lowercased("content-type.parameter.split.delsp", "") == "yes";
  decode_text(
      _body_begin, _raw_end, decoded, subtype, flowed, delsp, charset, [this] { return get_guessed_charset(); },
      &_errors);
}

// False when the tree may not hold that much more: the raw body then stands for itself.
bool body_part_t::store_decoded(std::vector<char>&& bytes) {
  if (bytes.empty())
    return true;
  if (_budget && !_budget->take_decoded(bytes.size())) {
    report_spent();
    _holds_utf8_text = false;
    return false;
  }
  _decoded_body = std::make_shared<std::vector<char> const>(std::move(bytes));
  return true;
}

void body_part_t::report_spent() {
  report(&_errors, "The decoded message is too large for its size, this part is left as it stands");
}

bool body_part_t::may_unfold() {
  if (_level < limits::nested_levels)
    return true;
  report(&_errors, "Body parts are nested too deeply, this one is left as it stands");
  return false;
}

// What children of decoded bytes look into: the same bytes with LF line ends, as all text is here. Null when the tree may
// not hold that much more.
std::shared_ptr<message_bytes_t> body_part_t::text_of_container() {
  if (decoded_view().find("\r\n") == std::string_view::npos)
    return std::make_shared<message_bytes_t>(_decoded_body);
  std::string const text = with_lf(decoded_view());
  if (_budget->take_decoded(text.size()))
    return std::make_shared<message_bytes_t>(std::make_shared<std::vector<char>>(text.begin(), text.end()));
  report_spent();
  return nullptr;
}

void body_part_t::unfold_message() {
  if (_is_headers_only || !may_unfold())
    return;
  if (!_decoded_body)
    append_child(_bytes, { _body_begin, _raw_end });
  else if (auto const bytes = text_of_container())
    append_child(bytes, { bytes->begin(), bytes->end() });
}

// The outermost multipart is split as it stands. A nested one whose transfer encoding was undone is split after that, and
// the preamble that was read from its encoded form is forgotten.
void body_part_t::unfold_multipart(std::string const& subtype, std::string const& charset) {
  if (!may_unfold())
    return;
  auto bytes = _bytes;
  range_t body = { _body_begin, _raw_end };
  bool const is_encoded = _parent && _decoded_body;
  if (is_encoded) {
    bytes = text_of_container();
    if (!bytes)
      return;
    body = { bytes->begin(), bytes->end() };
    _headers.erase("#mime-preamble");
  }
  std::string const boundary = get_header("content-type.parameter.split.boundary", "");
  auto const ranges = parse_subparts(body.begin, body.end, boundary, &_errors, bytes->delimiter_index());
  bool const has_delimiter = !ranges.empty() && ranges.front().end != body.end;
  if (!has_delimiter) {
    adopt_as_plain_text(body, charset);
    return;
  }
  keep_outside_text(ranges.front(), ranges.back());
  _lacks_subparts = !adopt_ranges(subtype == "signed", ranges, bytes);
  _is_split = !_lacks_subparts && !is_encoded;
}

// Text outside the body parts goes into virtual headers, unless it is white space or stored already.
void body_part_t::keep_outside_text(range_t preamble, range_t epilogue) {
  if (!sequence_isspace(epilogue.begin, epilogue.end)) {
    if (!exists_header("#mime-epilogue"))
      add_header("#mime-epilogue", { epilogue.begin, epilogue.end });
    report(&_errors, "Non-empty MIME epilogue", { epilogue.begin, epilogue.end });
  }
  if (!sequence_isspace(preamble.begin, preamble.end) && !exists_header("#mime-preamble"))
    add_header("#mime-preamble", { preamble.begin, preamble.end });
}

// False when not every range could become a child.
bool body_part_t::adopt_ranges(bool is_signed, std::vector<range_t> const& ranges,
                               std::shared_ptr<message_bytes_t> const& bytes) {
  for (std::size_t i = 1; i + 1 < ranges.size(); ++i) {
    body_part_t* const child = append_child(bytes, ranges[i]);
    if (!child)
      return false;
    child->_to_be_signed = _to_be_signed || (is_signed && i == 1);
  }
  return true;
}

void body_part_t::adopt_as_plain_text(range_t body, std::string const& charset) {
  std::string const content_type = get_header("content-type", "");
  if (sequence_isspace(body.begin, body.end)) {
    report(&_errors, "Multipart body part with no subparts", content_type);
    return;
  }
  report(&_errors, "Non-empty body found in multipart with no subparts. Treated as if it was text/plain", content_type);
  // Single quotes, since that is how these parts have always been labelled.
  std::string const parameter = is_parameter_text(charset) ? "; charset='" + charset + "'" : "";
  std::string const block = "Content-Type: text/plain" + parameter + "\n\n";
  if (!_budget->take_decoded(block.size() + static_cast<std::size_t>(body.end - body.begin))) {
    report_spent();
    return;
  }
  auto data = std::make_shared<std::vector<char>>(block.begin(), block.end());
  data->insert(data->end(), body.begin, body.end);
  append_child(std::make_shared<message_bytes_t>(data), { data->data(), data->data() + data->size() });
}

// Null when the tree has as many parts as it may have.
body_part_t* body_part_t::append_child(std::shared_ptr<message_bytes_t> const& bytes, range_t range) {
  if (!_budget->take_part()) {
    report(&_errors, "Too many body parts in this message, the further ones are not listed");
    return nullptr;
  }
  body_part_t& child = _subparts.emplace_back();
  child.init_child(*this, bytes, range.begin, range.end);
  child._to_be_signed = _to_be_signed;
  return &child;
}

std::size_t body_part_t::num_subparts() {
  decode_body();
  return _subparts.size();
}

bool body_part_t::has_subparts(bool decode) {
  if (decode)
    decode_body();
  return !_subparts.empty();
}

body_part_t& body_part_t::subpart(std::size_t index) {
  decode_body();
  if (index >= _subparts.size())
    fatal("Subpart %zd/%zd does not exist\n", index, _subparts.size());
  return *std::next(_subparts.begin(), static_cast<std::ptrdiff_t>(index));
}

std::list<body_part_t>& body_part_t::subparts() {
  decode_body();
  return _subparts;
}

char const* body_part_t::decoded_begin() {
  return decoded_body().data();
}

char const* body_part_t::decoded_end() {
  std::string_view const body = decoded_body();
  return body.data() + body.size();
}

std::string_view body_part_t::decoded_body() {
  decode_body();
  return decoded_view();
}

// What stands decoded so far.
std::string_view body_part_t::decoded_view() const {
  if (_decoded_body)
    return { _decoded_body->data(), _decoded_body->size() };
  return { _source_body.begin, _source_body.end };
}

}  // namespace kel
