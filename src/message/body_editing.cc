// Editing: parts in and out, and what the application has to know of it when it saves.
//
// Identifiers are the application's. A deleted part that has one is kept under it, as a tree of its own, until it is
// expunged; one without is gone. An edit drops the raw bytes of the part whose children it changes; the parts around it keep
// theirs, since writing asks the whole subtree before it copies any.
#include <kelmime/body.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <optional>
#include <utility>

#include <kel/preferences.h>
#include <base/fatal.h>
#include <message/protected_content.h>
#include <message/transfer_encodings.h>

namespace kel {

namespace {

constexpr std::array content_headers = { "content-type", "content-transfer-encoding", "content-disposition",
                                         "content-description" };

bool has_attachments(std::string_view mime_type) {
  return mime_type == "multipart/mixed" || mime_type == "multipart/related";
}

}  // namespace

// --- Parts in ----------------------------------------------------------------------------------------------------

body_part_t& body_part_t::adopt(body_part_t& child) {
  child._parent = this;
  child._level = _level + 1;
  return child;
}

// To be called before the list of children changes. From now on they are what is there, even when none is left; a choice
// among the former ones means nothing any more. The data of a leaf, such as what was decrypted into its child, stays.
void body_part_t::change_subparts() {
  drop_raw_bytes();
  if (is_multi_part() || is_message())
    forget_source_body();
  _is_decoded = true;
  _has_changed = true;
  _preferred_subpart = no_preference;
  _known_ids = {};
}

body_part_t& body_part_t::insert_subpart(std::size_t index, std::string const& type, std::string const& subtype,
                                         std::string const& parameters, char const* begin, char const* end, bool flow) {
  change_subparts();
  if (index > _subparts.size())
    fatal("Subpart %zd/%zd does not exist\n", index, _subparts.size());
  body_part_t& child = adopt(*_subparts.emplace(std::next(_subparts.begin(), static_cast<std::ptrdiff_t>(index))));
  child._to_be_signed = _to_be_signed;
  if (begin)
    child.set_body(type, subtype, parameters, begin, end, flow);
  return child;
}

// The raw bytes stay, but those of a multipart do not hold the new child: once they are dropped, it is put together.
body_part_t& body_part_t::push_body_part() {
  if (has_body())
    decode_body();
  if (is_multi_part())
    forget_source_body();
  return adopt(_subparts.emplace_back());
}

body_part_t& body_part_t::add_body_part(std::vector<char>& data) {
  body_part_t& child = push_body_part();
  child.init(data);
  return adopt(child);
}

// --- Parts out ---------------------------------------------------------------------------------------------------

// Moves a child to the deleted ones. What it owes to its place is settled before.
void body_part_t::store_deleted(body_part_t& child) {
  int const id = child.get_id();
  child.get_guessed_charset();
  child.settle_container();
  _deleted_subparts.insert_or_assign(id, std::move(child)).first->second.detach();
}

void body_part_t::delete_subpart_with_index(std::size_t index) {
  change_subparts();
  if (index >= _subparts.size())
    stop("index >= subparts.size(): %zu >= %zu\n", index, _subparts.size());
  delete_subpart(std::next(_subparts.begin(), static_cast<std::ptrdiff_t>(index)));
}

void body_part_t::delete_subpart(std::list<body_part_t>::iterator child) {
  if (child->has_id())
    store_deleted(*child);
  _subparts.erase(child);
  if (_subparts.size() != 1)
    return;
  body_part_t& left = _subparts.front();
  bool const is_decrypted = mime_type() == "multipart/encrypted" && left.num_subparts() > 0;
  replace_with_body_part(is_decrypted ? left.subpart(0) : left);
}

void body_part_t::delete_subpart_with_id(int id) {
  auto const has_this_id = [id](body_part_t const& child) { return child.get_id() == id; };
  auto const child = std::find_if(subparts().begin(), subparts().end(), has_this_id);
  if (child == _subparts.end())
    fatal("Unable to locate subpart (%d) among %zu subparts.\n", id, _subparts.size());
  change_subparts();
  delete_subpart(child);
}

// Goes by the part itself: a list's footer beside a signed part makes an ordinary multipart, whose attachments are its own.
void body_part_t::delete_attachment_with_id(int id) {
  if (has_attachments(mime_type())) {
    delete_subpart_with_id(id);
    return;
  }
  body_part_t* const content = protected_content(*this);
  if (!content)
    fatal("Trying to delete attachment in message with no attachments\n");
  content->delete_attachment_with_id(id);
  drop_raw_bytes();
}

void body_part_t::clear_subparts() {
  change_subparts();
  _subparts.clear();
}

body_part_t& body_part_t::deleted_subpart_with_id(int id) {
  auto const deleted = _deleted_subparts.find(id);
  if (deleted == _deleted_subparts.end())
    fatal("Cannot find deleted body part (%d).\n", id);
  return deleted->second;
}

void body_part_t::expunge_subpart_with_id(int id) {
  if (_deleted_subparts.erase(id) == 0)
    fatal("Cannot remove undeleted body part (%d).\n", id);
}

void body_part_t::strip_subpart_with_id(int) {}

// --- Other content -----------------------------------------------------------------------------------------------

// The body as it can stand under the same headers in another part.
std::shared_ptr<std::vector<char>> body_part_t::body_for_another_part() {
  settle_container();
  auto bytes = std::make_shared<std::vector<char>>();
  if (is_untouched())
    bytes->assign(_body_begin, _raw_end);
  else
    generate_rfc822_body(std::back_inserter(*bytes));
  return bytes;
}

// The other part may be destroyed on the way, so all of it is taken out first: the body, then the headers, which writing
// the body may have made fit. Open layers move as they are, since bytes would close them. A name that stands several times
// ends up with its last value; that is wanted.
void body_part_t::replace_with_body_part(body_part_t& other) {
  if (preferences::boolean("PwDebugDecodeBug")) {
    std::fputs("replace_with_body_part:\n", stderr);
    other.dump(/*decode*/ true, 0);
  }
  std::string const charset = other.get_guessed_charset();
  std::optional<body_part_t> open_layers;
  bool const is_leaf = !other.is_multi_part() && !other.is_message() && !is_envelope(other.mime_type());
  if (!is_leaf && other.holds_open_layer()) {
    open_layers = other;
    open_layers->detach();
  }
  auto body = open_layers ? nullptr : other.body_for_another_part();
  headers_t headers = other._headers;
  bool const keeps_outcome = other.is_untouched() && other._subparts.empty();  // such as that of a clear-signed text
  if (!keeps_outcome)
    headers.erase("##security-details");
  bool const has_text_around_blocks = keeps_outcome && other._has_text_around_blocks;

  body_part_t& first = subpart(0);
  change_subparts();
  if (first.has_id())
    store_deleted(first);
  for (char const* const name : content_headers)
    set_header(name, "");
  forget_outcome();
  _needs_sealing = false;
  _seals_anew = false;
  for (auto const& [name, value] : headers)
    set_header(name, value);
  _has_text_around_blocks = has_text_around_blocks;
  _description.clear();
  _canonicalized_text = unset_string;
  _guessed_charset = charset;
  if (open_layers) {
    _subparts.clear();
    open_layers->move_body_to(*this);
    adopt_subparts();
    return;
  }
  take_body(std::move(body));
  // A guard against a mistake of ours: a body that was taken has an address, even an empty one.
  if (!_body_begin || !_raw_end) {
    fatal("No temporary body available\n%p,%p,%p\n", static_cast<void const*>(_raw_begin),
          static_cast<void const*>(_body_begin), static_cast<void const*>(_raw_end));
  }
  drop_raw_bytes();
}

void body_part_t::replace_with_string(std::string const& given_text) {
  std::string const text = given_text;  // it may be a child's
  for (body_part_t& child : subparts())
    store_deleted(child);
  clear_subparts();
  set_plain_text(text, unset_string, /*is_signed*/ false);
}

// --- What changed ------------------------------------------------------------------------------------------------

void body_part_t::get_updated_headers(std::set<std::string>& out) {
  out = std::exchange(_updated_headers, {});
}

bool body_part_t::has_body_part_changes() {
  if (!has_id() || !_deleted_subparts.empty())
    return true;
  for (body_part_t& child : subparts()) {
    if (child.has_body_part_changes())
      return true;
  }
  return false;
}

void body_part_t::filter_body_parts(std::vector<body_part_t*>& out, std::function<bool(body_part_t&)> const& wanted) {
  if (wanted(*this))
    out.push_back(this);
  for (body_part_t& child : subparts())
    child.filter_body_parts(out, wanted);
}

// --- Attachments -------------------------------------------------------------------------------------------------

body_part_t* body_part_t::attachments_body_part() {
  if (has_attachments(mime_type()))
    return this;
  body_part_t* const content = protected_content(*this);
  return content && is_regular_protection(*this) ? content->attachments_body_part() : nullptr;
}

std::size_t body_part_t::number_of_attachments() {
  body_part_t* const container = attachments_body_part();
  return container && container->num_subparts() > 0 ? container->num_subparts() - 1 : 0;
}

body_part_t& body_part_t::attachment_at_index(std::size_t index) {
  body_part_t* const container = attachments_body_part();
  if (!container)
    fatal("Requesting attachment in message with no available attachments.\n");
  // The count that is printed is that of the part asked, not of the container: a text that is known so.
  if (index >= number_of_attachments())
    fatal("Requesting attachment with index %zu in message with %zu attachments.\n", index, num_subparts() - 1);
  return container->subpart(index + 1);
}

int body_part_t::get_attachment_id(std::size_t index) {
  return attachment_at_index(index).get_id();
}

}  // namespace kel
