// Building parts from bytes, and what their headers say.
#include <kelmime/body.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>
#include <iterator>

#include <kel/ascii.h>
#include <kel/path.h>
#include <kel/text.h>
#include <kel/timer.h>
#include <base/fatal.h>
#include <header/parameters.h>
#include <kelmime/body_parser.h>
#include <kelmime/charset.h>
#include <kelmime/cleanup_header_body.h>
#include <kelmime/field_path.h>
#include <kelmime/header_parser.h>
#include <kelmime/header_parsers.h>
#include <kelmime/headers.h>
#include <kelmime/mime.h>
#include <message/message_bytes.h>
#include <message/tree_budget.h>

namespace kel {

namespace {

bool is_virtual(std::string_view name) {
  return name.starts_with('#');
}

// Headers that the application keeps even when they hold nothing.
bool is_kept_when_empty(std::string_view name) {
  return name == "#flags" || name == "#imap-keywords" || name == "##tags";
}

// Markers that the application puts on a part without changing it.
bool is_marker(std::string_view name) {
  return name == "#root-body-part" || name == "#parse-error";
}

std::string current_utc_time() {
  std::time_t const now = std::time(nullptr);
  std::tm fields{};
  gmtime_r(&now, &fields);
  char text[sizeof "-2147481748-12-31 23:59:60"];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
  return text;
}

struct mime_version_t {
  int major = -1;
  int minor = -1;
};

// An integer as `scanf` takes it: white space and a sign may stand before it.
bool read_integer(char const*& cursor, char const* end, int& value) {
  cursor = std::find_if_not(cursor, end, ascii::is_space);
  if (cursor != end && *cursor == '+')
    ++cursor;
  auto const [after, problem] = std::from_chars(cursor, end, value);
  cursor = after;
  return problem == std::errc();
}

// Reads "1.0"; what cannot be read stays -1.
mime_version_t parse_mime_version(std::string const& text) {
  mime_version_t version;
  char const* const end = text.data() + text.size();
  char const* cursor = text.data();
  if (read_integer(cursor, end, version.major) && cursor != end && *cursor == '.')
    read_integer(++cursor, end, version.minor);
  return version;
}

// The last component of a path, for the separators of all systems that send mail: a backslash separates only where the
// name is clearly a Windows path, since elsewhere it may belong to the name.
std::string last_path_component(std::string const& name) {
  bool const has_drive = name.size() > 2 && ascii::is_alpha(name[0]) && name[1] == ':' && name[2] == '\\';
  if (has_drive || name.starts_with("\\\\"))
    return path::name(name.substr(name.rfind('\\') + 1));
  return path::name(name);
}

std::string usable_name(std::string const& name) {
  std::string const last = last_path_component(name);
  return last == "." || last == ".." ? std::string() : last;
}

}  // namespace

std::shared_ptr<body_part_t> parse_body(char const* begin, char const* end) {
  auto part = std::make_shared<body_part_t>();
  part->init(begin, end);
  return part;
}

std::shared_ptr<body_part_t> copy_body_part(std::vector<char>& data) {
  auto part = std::make_shared<body_part_t>();
  part->init(data);
  return part;
}

std::shared_ptr<body_part_t> create_body_part(std::vector<char>& data, bool decode) {
  timer_t const timer(decode ? "create_body_part and decode" : "create_body_part");
  auto part = copy_body_part(data);
  if (decode)
    decode_text_bodies(*part);
  return part;
}

std::shared_ptr<body_part_t> create_body_part_from_headers(std::vector<char>& data) {
  auto part = copy_body_part(data);
  part->set_is_headers_only(true);
  return part;
}

// --- Parsing -----------------------------------------------------------------------------------------------------

void body_part_t::init() {
  _bytes.reset();
  _budget.reset();
  _raw_begin = _body_begin = _raw_end = nullptr;
  _source_body = {};
  _level = 0;
  fold_up();
  _parent = nullptr;
  _original_data.reset();
  _headers.clear();
  _content_headers = {};
  _errors = {};
  _description.clear();
  _unique_id = -1;
  _is_headers_only = false;
  _has_changed = false;
  _preferred_subpart = no_preference;
  _has_preamble_part = false;
  _undecoded_senders.reset();
  _has_text_around_blocks = false;
  _needs_sealing = false;
  _seals_anew = false;
  _selected_string = unset_string;
}

void body_part_t::init(char const* begin, char const* end) {
  init();
  _bytes = std::make_shared<message_bytes_t>(begin, end);
  _budget = std::make_shared<tree_budget_t>(static_cast<std::size_t>(end - begin));
  parse_block(begin, end);
}

void body_part_t::init(std::vector<char>& data) {
  init();
  _original_data = std::make_shared<std::vector<char>>();
  _original_data->swap(data);
  _bytes = std::make_shared<message_bytes_t>(_original_data);
  _budget = std::make_shared<tree_budget_t>(_original_data->size());
  parse_block(_original_data->data(), _original_data->data() + _original_data->size());
  if (!exists_header("#date-received"))
    add_header("#date-received", current_utc_time());
}

void body_part_t::init_child(body_part_t& parent, std::shared_ptr<message_bytes_t> const& bytes, char const* begin,
                             char const* end) {
  init();
  _bytes = bytes;
  _budget = parent._budget;
  _level = parent._level + 1;
  parse_block(begin, end);
  _parent = &parent;
}

void body_part_t::parse_block(char const* begin, char const* end) {
  // No bytes may come without an address, and null means a part that was never parsed.
  if (!begin)
    begin = end = "";
  _guessed_charset = unset_string;
  _raw_begin = begin;
  std::string guess = unset_string;
  auto const guess_once = [&] {
    if (guess == unset_string)
      guess = guess_charset(begin, end);
    return guess;
  };
  _body_begin = parse_headers(begin, end, _headers, _errors, "", guess_once);
  read_preamble(end);
  _raw_end = end;
  _source_body = { _body_begin, end };
  check_mime_version();
  if (exists_header("content-description"))
    _description = _headers.lower_bound("content-description")->second;
}

void body_part_t::read_preamble(char const* end) {
  if (!is_multi_part())
    return;
  std::string const boundary = get_header("content-type.parameter.split.boundary", "");
  std::string const preamble = parse_preamble(_body_begin, end, boundary);
  if (preamble != unset_string)
    add_header("#mime-preamble", preamble);
}

void body_part_t::check_mime_version() {
  if (!exists_header("mime-version"))
    return;
  auto const [major, minor] = parse_mime_version(strip_comments(_headers.lower_bound("mime-version")->second));
  if (major != 1 || minor != 0)
    report(&_errors, "Unknown MIME version. Trying to handle it as version 1.0\n",
           std::to_string(major) + "." + std::to_string(minor));
}

// --- Headers -----------------------------------------------------------------------------------------------------

std::string body_part_t::get_header(std::string const& path, std::string const& fallback) {
  std::string answer;
  return answer_quickly(path, fallback, answer) ? answer : get_header(string_to_field_path(path), fallback);
}

std::string body_part_t::get_header(std::vector<std::string> const& path, std::string const& fallback) {
  std::vector<std::string> values;
  if (!get_header_bodies(path, values))
    return fallback;
  if (values.size() > 1) {
    _errors.push_back("header", to_s(path), "description",
                      "Multiple values found for header part expected to be unique", "context",
                      text::join(values, ", "));
  }
  return values.front();
}

std::string body_part_t::get_header_lowercased(std::string const& path, std::string const& fallback) {
  std::string value = get_header(path, fallback);
  if (value != unset_string)
    text::lowercase_in_place(value);
  return value;
}

bool body_part_t::get_header_bodies(std::vector<std::string> const& path, std::vector<std::string>& out) {
  if (path.empty())
    return false;
  auto values = field_parsers_init::parse_bodies_with_field_path(path, stored_values(path.front()));
  std::move(values.begin(), values.end(), std::back_inserter(out));
  return !values.empty();
}

std::vector<std::string> body_part_t::stored_values(std::string const& name) const {
  std::vector<std::string> values;
  for (auto [header, last] = _headers.equal_range(name); header != last; ++header)
    values.push_back(header->second);
  constexpr std::string_view lower_case_suffix = "#lc";
  if (values.empty() && name.size() > lower_case_suffix.size() && name.ends_with(lower_case_suffix)) {
    values = stored_values(name.substr(0, name.size() - lower_case_suffix.size()));
    for (std::string& value : values)
      text::lowercase_in_place(value);
  }
  return values;
}

bool body_part_t::exists_header(std::string const& name) const {
  return _headers.contains(name);
}

void body_part_t::set_header(std::string const& name, std::string const& value) {
  if (!is_virtual(name) && !name.starts_with("resent-")) {
    drop_raw_bytes();
    if (decides_reading(name, value))
      forget_source_body();
  } else if (name.starts_with("#mime-") && has_body()) {
    decode_body();  // unfolding stores these headers where they are missing
  }
  if (name != "##tags")
    _updated_headers.insert(name);
  if (!is_marker(name))
    _has_changed = true;
  store_header(name, value);
}

// Replaces the values of a header and leaves no trace of it. Name and value may be those of the header that is replaced: the
// new one is made before the old ones go.
void body_part_t::store_header(std::string const& name, std::string const& value) {
  bool const is_stored = value != unset_string && (!value.empty() || is_kept_when_empty(name));
  auto const added = is_stored ? _headers.emplace(name, value) : _headers.end();
  auto const [first, last] = _headers.equal_range(name);
  _headers.erase(first, is_stored ? added : last);
  _content_headers = {};
}

// Whether the body that was read says something else under a new value of this header. Bytes that are no text to us, or
// are to be none, are the same under every Content-Type.
bool body_part_t::decides_reading(std::string const& name, std::string const& value) {
  if (name == "content-transfer-encoding")
    return true;
  if (name != "content-type")
    return false;
  std::string const type = text::lowercase(header::parse_structured_value(value == unset_string ? "" : value).type);
  bool const is_text_to_be = type.empty() || type == "text";
  return is_multi_part() || (_holds_utf8_text && is_text_to_be);
}

// The decoded side of the part must survive: children are unfolded now, and the hint at a charset is taken for their sake.
void body_part_t::drop_raw_bytes() {
  if (!_raw_begin)
    return;
  decode_body();
  get_guessed_charset();
  _raw_begin = _body_begin = _raw_end = nullptr;
}

// A leaf whose source was its decoded body gets a copy of it.
void body_part_t::forget_source_body() {
  if (!_decoded_body && _subparts.empty() && _source_body.begin)
    _decoded_body = std::make_shared<std::vector<char> const>(_source_body.begin, _source_body.end);
  _source_body = {};
  _is_split = false;
}

void body_part_t::content_changed() {
  drop_raw_bytes();
  forget_source_body();
}

// Back to the state before anything was unfolded.
void body_part_t::fold_up() {
  _decoded_body.reset();
  _is_decoded = false;
  _is_split = false;
  _lacks_subparts = false;
  _holds_utf8_text = false;
  _subparts.clear();
}

// Makes these bytes the body that is to be unfolded under the present headers.
void body_part_t::take_body(std::shared_ptr<std::vector<char>> bytes) {
  bool const is_empty = bytes->empty();  // no bytes may come without an address
  _budget = std::make_shared<tree_budget_t>(bytes->size());
  _bytes = is_empty ? std::make_shared<message_bytes_t>("", "") : std::make_shared<message_bytes_t>(std::move(bytes));
  _source_body = { _bytes->begin(), _bytes->end() };
  _raw_begin = _body_begin = _source_body.begin;
  _raw_end = _source_body.end;
  fold_up();
}

void body_part_t::add_header(std::string const& name, std::string const& value) {
  _headers.emplace(name, value);
  _content_headers = {};
}

int body_part_t::get_integer(std::string const& path, int fallback) {
  std::string const value = get_header(path, unset_string);
  if (value == unset_string)
    return fallback;
  int number = 0;
  for (char const c : value) {
    if (!ascii::is_digit(c))
      fatal("Misuse of integer methods (%s: %s).\n", path.c_str(), printable(value).c_str());
    number = static_cast<int>(10u * static_cast<unsigned>(number) + static_cast<unsigned>(c - '0'));
  }
  return number;
}

std::vector<std::string> body_part_t::get_delivery_headers(std::set<std::string> const& own_addresses) {
  static std::set<std::string, std::less<>> const delivery_names = { "x-original-to", "x-delivered-to", "delivered-to",
                                                                     "envelope-to" };
  std::vector<header_pair_t> pairs;
  mime_errors_handler_t known_errors;  // parsing the whole part has recorded them already
  parse_headers(_raw_begin, _body_begin, pairs, known_errors, "", [this] { return get_guessed_charset(); });
  std::vector<std::string> addresses;
  for (auto const& [name, value] : pairs) {
    if (delivery_names.contains(name)) {
      std::string const address = header_parser::parse_from_header("x-original-to.address", value);
      if (address != unset_string)
        addresses.push_back(address);
    } else if (name == "received") {
      std::string const address = header_parser::parse_from_header("received.for", value);
      if (own_addresses.contains(address))
        addresses.push_back(address);
    }
  }
  return addresses;
}

bool body_part_t::is_resent() const {
  return exists_header("resent-from");
}

char const* body_part_t::resent_end() const {
  constexpr std::string_view prefix = "Resent-";
  char const* line = _raw_begin;
  while (std::string_view(line, _body_begin).starts_with(prefix)) {
    char const* const feed = std::find(line, _body_begin, '\n');
    line = feed == _body_begin ? feed : feed + 1;
  }
  return line;
}

void body_part_t::get_resent_recipients(std::vector<std::string>& out) {
  headers_t block;
  mime_errors_handler_t known_errors;
  parse_headers(_raw_begin, resent_end(), block, known_errors, "", [this] { return get_guessed_charset(); });
  for (std::string const name : { "resent-to", "resent-cc", "resent-bcc" }) {
    for (auto [header, last] = block.equal_range(name); header != last; ++header) {
      auto addresses = header_parser::parse_all_from_header(name + ".split", header->second);
      std::move(addresses.begin(), addresses.end(), std::back_inserter(out));
    }
  }
}

// --- Content type and names --------------------------------------------------------------------------------------

std::string body_part_t::type() {
  return get_header_lowercased("content-type.type", "text");
}

std::string body_part_t::mime_type() {
  return type() + "/" + get_header_lowercased("content-type.subtype", "plain");
}

bool body_part_t::is_multi_part() {
  return type() == "multipart";
}

bool body_part_t::is_text() {
  return type() == "text";
}

bool body_part_t::is_message() {
  return type() == "message";
}

bool body_part_t::is_html() {
  return mime_type() == "text/html";
}

bool body_part_t::is_plain() {
  return mime_type() == "text/plain";
}

bool body_part_t::is_format_flowed() {
  return get_header_lowercased("content-type.parameter.split.format", "") == "flowed";
}

bool body_part_t::is_format_fixed() {
  return !is_format_flowed();
}

std::string body_part_t::get_filename() {
  std::string const name = get_header("content-disposition.parameter.split.filename", "");
  return usable_name(name.empty() ? get_header("content-type.parameter.split.name", "") : name);
}

std::string body_part_t::get_suggested_filename() {
  std::string name = get_filename();
  if (name.empty())
    name = usable_name(get_header("content-description", ""));
  if (name.empty())
    name = "Attachment";
  if (path::extension(name).empty()) {
    std::string const extension = mime::extension_for_mime_type(mime_type());
    if (!extension.empty())
      name += "." + extension;
  }
  return name;
}

std::string body_part_t::get_description() {
  if (!_description.empty())
    return _description;
  std::string stated = get_header("content-description", unset_string);
  if (stated != unset_string)
    return stated;
  std::string const name = get_suggested_filename();
  return name.empty() ? "No name" : name;
}

std::string body_part_t::get_guessed_charset() {
  if (_guessed_charset == unset_string) {
    _guessed_charset = guess_charset(_raw_begin, _body_begin);
    if (_guessed_charset.empty() && _parent)
      _guessed_charset = _parent->get_guessed_charset();
  }
  return _guessed_charset;
}

std::string body_part_t::markup() {
  return get_header_lowercased("content-type.parameter.split.markup", "");
}

bool body_part_t::has_security_status() const {
  return exists_header("##security-details");
}

// --- The tree ----------------------------------------------------------------------------------------------------

// A tree of its own has its own limits.
void body_part_t::detach() {
  if (_parent)
    settle_container();
  if (_budget)
    _budget = std::make_shared<tree_budget_t>(static_cast<std::size_t>(_bytes->end() - _bytes->begin()));
  adopt_subparts();
  _parent = nullptr;
}

void body_part_t::adopt_subparts() {
  for (body_part_t& child : _subparts) {
    child._parent = this;
    if (_budget && child._budget)
      child._budget = _budget;
    child.adopt_subparts();
  }
  for (auto& [id, deleted] : _deleted_subparts)
    deleted.detach();
}

std::string body_part_t::get_signature_range() const {
  return root()._signature_range;
}

std::string body_part_t::get_html_signature() const {
  return root()._html_signature;
}

body_part_t const& body_part_t::root() const {
  body_part_t const* part = this;
  while (part->_parent)
    part = part->_parent;
  return *part;
}

int body_part_t::get_id() const {
  if (!has_id())
    stop("unique_id == -1\n");
  return _unique_id;
}

// --- The raw bytes -----------------------------------------------------------------------------------------------

std::string_view body_part_t::raw_headers() const {
  return { _raw_begin, _body_begin };
}

std::string_view body_part_t::raw_body() const {
  return { _body_begin, _raw_end };
}

std::string_view body_part_t::raw_data() const {
  return { _raw_begin, _raw_end };
}

void body_part_t::print_raw_data(std::FILE* file) const {
  std::string_view const data = raw_data();
  if (!data.empty())
    std::fwrite(data.data(), 1, data.size(), file);
}

}  // namespace kel
