// The message tree: one body part, with its headers, its bytes, its children and everything that was wrong with it.
//
// A whole message is the root. A multipart owns its body parts, a message/rfc822 part owns the enclosed message as its
// only child. Reading is lazy: building a part parses its header block; the first question about decoded bytes or
// children runs `decode_body`, which unfolds the tree by one level. No message is ever refused: what deviates from the
// standards becomes a record in `errors()`, and reading goes on.
//
//    std::vector<char> bytes = ...;
//    auto message = kel::create_body_part(bytes, /*decode*/ false);
//    message->get_header("from.address", "");
//    for (auto& part : message->subparts())
//      part.mime_type();
//
// Text is UTF-8 with bare line feeds throughout; CR LF is converted before a message comes here.
//
// Ownership and lifetimes. A part owns its children by value; they stay at their addresses while siblings come and go.
// The message bytes have a shared owner, held by every part that looks into them: a root built from a vector keeps it,
// children of decoded bodies keep the decoded bytes, copies keep both. Only for `parse_body` must the caller keep the
// bytes alive as long as any part or copy of the tree. Views handed out (`raw_body`, `decoded_body`, ...) live until the
// part is destroyed or one of its headers is set.
//
// A tree is used by one thread at a time, since even reading unfolds it. Different trees may be used by different
// threads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <kelmime/bytes.h>
#include <kelmime/export.h>
#include <kelmime/mime_errors_handler.h>
#include <kelmime/unset.h>

namespace kel {

class body_part_t;
class message_bytes_t;
struct tree_budget_t;

namespace header {
struct structured_value_t;
}

// --- Building a tree -------------------------------------------------------------------------------- body.cc

// A new root over bytes that the caller keeps alive.
KELMIME_EXPORT std::shared_ptr<body_part_t> parse_body(char const* begin, char const* end);

// A new root that takes the bytes out of `data`, which is left empty. A message without any date gets the current time
// as "#date-received".
KELMIME_EXPORT std::shared_ptr<body_part_t> copy_body_part(std::vector<char>& data);

// The same; with `decode` the tree is unfolded and its text bodies are decoded ahead of display.
KELMIME_EXPORT std::shared_ptr<body_part_t> create_body_part(std::vector<char>& data, bool decode);

// The same for bytes that hold a header block alone.
KELMIME_EXPORT std::shared_ptr<body_part_t> create_body_part_from_headers(std::vector<char>& data);

// Unfolds what is shown inline and decodes its text, recursively: inline text parts, and multipart and message parts
// whatever their disposition. HTML goes through the hooks of `html_rendering_t`.
KELMIME_EXPORT void decode_text_bodies(body_part_t& part);

// The child of a multipart to show when nobody chose one; the child count means "all of them". RFC 2046 section 5.1.4
// for "alternative" (the last one that can be displayed), RFC 2387 for "related" (the root, which is child 0).
KELMIME_EXPORT std::size_t default_preferred_subpart(body_part_t& part, mime_errors_handler_t& errors);

// Decrypts and verifies a received message in place: decrypted content becomes a child of the part that held the
// ciphertext, the outcome is stored in virtual headers for `get_security_status`, TNEF attachments are unpacked. What is
// written is still the message as it came. Runs external programs, so it takes time; at most 64 runs and 16 nested
// decryptions a message.                                                       security/opening.cc
KELMIME_EXPORT void decrypt_and_verify_signatures(body_part_t& message);

// The address that a signer of this part must have: the only one in From of the message around it, be it read with its
// encoded words or without them. `unset_string` when there is none, or more than one, or the readings differ.
KELMIME_EXPORT std::string get_from_address_for_verification(body_part_t& part);

// What the application does with HTML while text bodies are decoded: `canonicalize` answers the canonical text of an HTML
// part, which `get_canonicalized_text` keeps; `compare` may then hold it against the text/plain alternative. HTML whose
// alternative is Markdown is passed over. Both may be empty. Set before threads start.
struct html_rendering_t {
  std::function<std::string(body_part_t& html)> canonicalize;
  std::function<void(body_part_t& html, body_part_t& plain)> compare;
};
KELMIME_EXPORT void set_html_rendering(html_rendering_t rendering);

using environment_value_t = std::variant<std::string, long, bool>;

// Where a written message goes: appended to a byte vector.
using message_inserter_t = std::back_insert_iterator<std::vector<char>>;

class KELMIME_EXPORT body_part_t {
public:
  using headers_t = std::multimap<std::string, std::string>;

  static constexpr std::size_t no_preference = static_cast<std::size_t>(-1);

  // Copying copies the subtree and shares the bytes. Parents are copied as they stand: the copy names the parent of the
  // original, and the children inside it the parts they were copied from; so do the children of a part that was moved.
  // Whoever goes on to use one calls `detach` on it first, and then `set_parent` where it joins another tree.
  body_part_t() = default;

  // Forgets what was parsed: bytes, headers, children, records, the place in the tree.
  void init();

  // Parses one part: its header block and, for a multipart, the preamble. The bytes stay with the caller.
  void init(char const* begin, char const* end);

  // The same for bytes that the part takes over; `data` is left empty.
  void init(std::vector<char>& data);

  // --- Headers: values and questions ------------------------------------------------------------- body.cc

  // The value under a field path ("subject", "from.address", "content-type.parameter.split.charset"), or `fallback`
  // when there is none. More than one value is a deviation: the first one is returned and a record made, at each read.
  std::string get_header(std::string const& path, std::string const& fallback);
  std::string get_header(std::vector<std::string> const& path, std::string const& fallback);

  // The same with ASCII letters lower-cased; `unset_string` stays itself.
  std::string get_header_lowercased(std::string const& path, std::string const& fallback);

  // Appends all values under the path, in message order within one header name. Answers whether there was any. A first
  // component that ends in "#lc" asks for the lower-cased values of that header.
  bool get_header_bodies(std::vector<std::string> const& path, std::vector<std::string>& out);

  bool exists_header(std::string const& name) const;

  // Replaces all values of a header. Names are lower-case, as in `headers()`: "Subject" makes another header beside
  // "subject". A name with a byte that is no visible ASCII, or with a colon, is stored and never written. `unset_string` or
  // an empty value removes the header (except "#flags", "#imap-keywords" and "##tags", which are kept when empty). A part
  // that was not unfolded is unfolded first; then its raw bytes are dropped, unless the name begins with "#" or "resent-",
  // since they no longer describe the part: all of its headers are written anew, see `generate_rfc822_headers`. Its body
  // is still written as it was read, for as long as the headers that tell how to read it stay; that of a multipart is put
  // together from its children.
  void set_header(std::string const& name, std::string const& value);

  // Adds one more value without touching the others or the change state.
  void add_header(std::string const& name, std::string const& value);

  // All stored headers, virtual ones ("#...") included: names sorted, the values of one name in message order.
  headers_t const& headers() const { return _headers; }

  // The value as an unsigned decimal; `fallback` without a header; 0 for an empty value. Any other byte than a digit
  // is the caller's mistake and aborts: never use it on a value that came with a message.
  int get_integer(std::string const& path, int fallback);

  // The addresses that this message was delivered to, in message order: x-original-to, x-delivered-to, delivered-to and
  // envelope-to as they stand, and those of "received" that are among `own_addresses`.
  std::vector<std::string> get_delivery_headers(std::set<std::string> const& own_addresses);

  // Whether there is a "resent-from", of a resending before or now.
  bool is_resent() const;

  // Where the leading run of lines that begin with "Resent-" ends in the raw header block. A continuation line ends it.
  char const* resent_end() const;

  // Appends the recipients of the newest resending (RFC 5322 section 3.6.6): to, cc, bcc.
  void get_resent_recipients(std::vector<std::string>& out);

  std::string type();       // "text" without a readable content type, lower-cased like all below
  std::string mime_type();  // "text/plain" without one
  bool is_multi_part();
  bool is_text();
  bool is_message();
  bool is_html();
  bool is_plain();
  bool is_format_flowed();
  bool is_format_fixed();

  // Whether showing this part shows HTML: text/html itself, an alternative that offers it, or a related group whose
  // root uses it.
  bool uses_html_header();

  // The file name that the sender gave, without any folder; empty when there is none. "." and ".." count as none.
  std::string get_filename();

  // A name to save under: the file name, else the description, else "Attachment", with an extension by MIME type.
  std::string get_suggested_filename();
  std::string get_description();

  // The charset that the header bytes hint at, else the parent's guess; found once and kept.
  std::string get_guessed_charset();

  // --- Unfolding: children and decoded bytes ---------------------------------------------- body_parser.cc

  // Undoes transfer encoding, charset and flowing, and creates the children, once. A part without bytes aborts.
  void decode_body();

  std::size_t num_subparts();
  bool has_subparts(bool decode);

  // The i-th child; an index past the end aborts. To visit all of them, walk `subparts()`.
  body_part_t& subpart(std::size_t index);
  std::list<body_part_t>& subparts();

  // The decoded body: UTF-8 text for text parts that are no attachments, bytes otherwise. When decoding changed
  // nothing, these are the raw bytes themselves.
  char const* decoded_begin();
  char const* decoded_end();
  std::string_view decoded_body();

  // --- Editing: parts in and out, what changed --------------------------------------------- body_editing.cc
  //
  // Every edit of the structure drops the raw bytes of the edited part, so that it is written anew; where it is said,
  // they are kept. Identifiers are the application's, see `set_id`.

  // Inserts a new child before the child `index`; the child count appends, more aborts. With a body (`begin` is not null)
  // it is filled by `set_body`.
  body_part_t& insert_subpart(std::size_t index, std::string const& type, std::string const& subtype,
                              std::string const& parameters, char const* begin, char const* end, bool flow);

  // Appends an empty child, to be filled by setting its content before anything is asked of it. The raw bytes are kept.
  body_part_t& push_body_part();

  // Appends a child that takes over and parses the bytes; `data` is left empty. The raw bytes are kept: a message whose
  // decrypted content is added this way is still written as it came.
  body_part_t& add_body_part(std::vector<char>& data);

  // Removes a child; when it has an id, it is kept among the deleted ones. A multipart that is left with one child becomes
  // that child (a multipart/encrypted the only child of that, where it has one). An index past the end aborts.
  void delete_subpart_with_index(std::size_t index);

  // The same for the child of that id. Aborts when there is none, or when a child before it has no id. Each call walks the
  // children from the first one on.
  void delete_subpart_with_id(int id);

  // Removes an attachment from a message, looking inside what is signed or encrypted, at the cost of the above. A message
  // whose kind has no attachments aborts; ask `attachments_body_part` first.
  void delete_attachment_with_id(int id);

  // Children that were deleted under their id; both of the latter abort when there is none of that id.
  bool has_deleted_subpart_with_id(int id) const { return _deleted_subparts.contains(id); }
  body_part_t& deleted_subpart_with_id(int id);
  void expunge_subpart_with_id(int id);  // for good
  std::map<int, body_part_t>& get_deleted_subparts() { return _deleted_subparts; }

  // Does nothing; kept for applications that call it.
  void strip_subpart_with_id(int id);

  // Removes all children for good.
  void clear_subparts();

  // Takes the content of another part, which may be a descendant: its body and all of its headers (the last value of each
  // name). The content headers that this part had are removed, its children too; the first one is kept among the deleted
  // ones when it has an id. A part without children aborts.
  void replace_with_body_part(body_part_t& other);

  // Turns this part into a text part. The children move to the deleted ones; each must have an id.
  void replace_with_string(std::string const& text);

  // Whether a header was set, and all such names: the set is handed over, and forgotten here.
  bool did_update_header(std::string const& name) const { return _updated_headers.contains(name); }
  void get_updated_headers(std::set<std::string>& out);

  // Whether this part was changed itself. The library never forgets it.
  bool has_changed() const { return _has_changed; }

  // Whether parts of the subtree were made or deleted: parts that have no id count as made.
  bool has_body_part_changes();

  // Appends the parts of the subtree that are wanted: this one first, then its descendants in document order.
  void filter_body_parts(std::vector<body_part_t*>& out, std::function<bool(body_part_t&)> const& wanted);

  // The part whose children, except the first one, are the attachments of the message; null when there is none. Looks
  // into what is signed, and into what was decrypted.
  body_part_t* attachments_body_part();

  // An index past the end aborts.
  std::size_t number_of_attachments();
  body_part_t& attachment_at_index(std::size_t index);
  int get_attachment_id(std::size_t index);

  // --- Writing: the tree as a message --------------------------------------------------- body_generation.cc
  //
  // What was not changed since it was parsed is written as it came, byte for byte; the rest is written anew, a part whose
  // headers alone were set with the body that it had, but a multipart in any case from its preamble and its children: then
  // the epilogue goes. Line ends are bare line feeds; CR LF is the transport's business.
  //
  // Drafts and edited parts that are to be protected are signed and encrypted now. Where that fails there is a message all the
  // same: a draft with an empty signature or ciphertext, a received part with the one that it came with. So ask
  // `get_security_status(true)` afterwards; what answers "generationFailed" must not be sent.
  //
  // "bcc" is written like other headers. Who sends removes it with `unset_string`: where hidden recipients are to read what
  // is encrypted with OpenPGP, between `generate_rfc822()` and the writing of the bytes.

  // False when writing would abort: a part to be written anew is multipart/signed or multipart/encrypted and has not
  // exactly two children (RFC 1847). False also when it would lose something: the part was edited and has more children than
  // the limits let us list. Mail from outside may be like that, so ask before writing what was edited.
  bool can_be_written();

  // Appends the part: headers, an empty line, body, also when sealing failed (see above). A message that was only resent (it
  // got other resent headers, and is untouched otherwise) gets its new headers in front instead of the newest ones that it
  // had: resent-from, -to, -cc, -bcc, -date and -message-id, and no others. A multipart whose content happens to hold its
  // delimiter line gets a new boundary. What is protected stays open in the tree, to be edited and written again.
  void generate_rfc822(message_inserter_t out);

  // Writes the part and parses what was written into it. What only the application knew, such as ids, is gone. When it, or
  // a part of it, could not be signed or encrypted, the part stays as it is, and `get_security_status(true)` is
  // "generationFailed". What was encrypted is a message that was not opened from then on: what is added stands beside it,
  // in the clear.
  void generate_rfc822();

  // The header lines without the empty line behind them: those of RFC 5322 and MIME in their usual order (from, to, cc, bcc,
  // subject, date, ...), then the others by name, also "received" and "return-path". All are encoded and folded anew. Virtual
  // headers are never written.
  void generate_rfc822_headers(message_inserter_t out);

  // The body with its transfer encoding. A multipart gets its preamble, no epilogue. The part itself is not sealed: a signature
  // or ciphertext is the one that was made last, by `generate_rfc822`, which writes what is signed as it was signed.
  void generate_rfc822_body(message_inserter_t out);

  // What a signature is made over: content-type, content-transfer-encoding and content-disposition, an empty line, the body.
  void generate_rfc822_body_with_headers(message_inserter_t out);

  // Stores a new "message-id", "resent-message-id" for a resent message, at the domain of the sender. Without `force` only
  // a message that has no "message-id" gets one.
  void generate_message_id(bool force);

  // Dates the message for sending, in seconds since 1970-01-01 UTC, 0 for now, and gives it a new Message-ID. With 0 a
  // date that lies in the future is an appointed one: then nothing changes.
  void touch(long time);

  // Gives a multipart the "content-transfer-encoding" that fits its children, 8bit or none, and those above it too.
  void update_mime_encoding();

  // Appends an empty child that stands for the preamble of a multipart, once.
  void insert_mime_preamble_body_part();

  // --- Content: the body of one part ------------------------------------------------------ body_content.cc

  // Sets the content of this one part: bytes as they are, for text in UTF-8, for a multipart the preamble, for
  // message/rfc822 the message. Type and subtype are lower-case; in other letters they are taken for unknown ones, so
  // that "TEXT" gets no charset. `parameters` are more of Content-Type ("name=x") or `unset_string`.
  // Content-Type and Content-Transfer-Encoding are set to what fits; `flow` lets plain text with long lines leave as
  // format=flowed (RFC 3676). Text that is not UTF-8 goes out as it is, and is called UTF-8. A part without parent becomes a
  // message: it gets MIME-Version, Date, Message-ID and X-Mailer.
  void set_body(std::string const& type, std::string const& subtype, std::string const& parameters, char const* first,
                char const* last, bool flow);

  // --- Composing: filling a draft ------------------------------------------------------- body_composing.cc
  //
  //    kel::body_part_t draft;
  //    draft.set_header("from", "Ann Example <ann@example.org>");
  //    draft.set_text_body("Hello,\n\nsee the plan.\n", kel::unset_string, kel::unset_string, /*is_signed*/ false);
  //    draft.add_attachment(bytes, "plan.pdf", "application/pdf");
  //    draft.generate_rfc822(std::back_inserter(message));

  // Sets the text of a message, as `set_body` does. `markup` names the language that it is written in, such as "markdown";
  // `html` is the same text as HTML and makes the part a multipart/alternative; both may be `unset_string`. Without `html`,
  // HTML that was there goes, and what it shows. Attachments stay, and a message that begins with something else gets its
  // text in front of it. `is_signed` says that the text is going to be signed: then it is encoded so that no transport
  // changes it.
  void set_text_body(std::string const& text, std::string const& markup, std::string const& html, bool is_signed);

  // Sets the HTML of a message. Text that is already there stays beside it as the plain alternative.
  void set_html_body(std::string const& html);

  // Appends an attachment; a message that is no multipart/mixed yet becomes one, with what it was as the first part. `name`
  // is UTF-8; of a path only the last component counts. An empty `type` is found by the name; "message/rfc822" embeds a
  // message. Sent as application/octet-stream are multiparts, other types of message, text that is not UTF-8, and what is no
  // type and subtype.
  body_part_t& add_attachment(std::string_view bytes, std::string const& name, std::string const& type);

  // The same for a file. One that cannot be read gives a warning and null.
  body_part_t* add_attachment(std::string const& path);

  // Adds a resource that the HTML shows, such as an image, and returns the identifier by which it does: "cid:" and this.
  // It is the name, with "+" and two hexadecimal digits for each byte that may not stand in an identifier; of a path only
  // the last component counts. A resource of the same name is replaced. Before there is HTML the resource waits for it.
  std::string add_related_part(std::string const& name, std::string_view bytes);

  // The text of the message: that of a text part, of a multipart that of its first text, plain before HTML; of a draft that
  // is to be protected, or of an opened message, the text inside. With `canonical`, HTML that went through `canonicalize_html`
  // gives its canonical text. Empty when there is none.
  std::string text_body(bool canonical);

  // --- Security: level, signing, encryption -------------------------------------- security/body_security.cc
  //
  // Levels are "none", "sign", "encrypt" and "signAndEncrypt", protocols "OpenPGP" and "S/MIME". A draft takes the shape of
  // its level at once (RFC 1847, 3156, 8551): the content moves into a child. What is edited from then on with the operations
  // above is edited there, in opened messages too. Signing and encrypting happen each time the draft is written, of an opened
  // message when its content was edited. What goes wrong then is told by `get_security_status`.

  // Moves the part to another level. Protection of the part itself that is there and still wanted is kept, layer by layer.
  // Levels and protocols that are none of those words end the process; for "none" the protocol does not matter. An encrypted
  // part that was not opened, or one whose shape is broken, stays as it is, with its level and with the layers around it.
  // Where the protection changes, what opening found out of it is forgotten.
  void set_security_level(std::string const& level, std::string const& protocol);

  // How the structure protects the content, and by which protocol: that may also be "OpenPGP (inlined)" or "Unknown". Neither
  // says anything about the validity of a signature.
  std::string get_security_level();
  std::string get_security_protocol();

  // The steps behind `set_security_level`. To sign what is signed, or to encrypt what is encrypted, aborts. `signs` makes the
  // encrypted content signed too. A layer that is there already goes inside, and stays open.
  void sign(std::string const& protocol);
  void encrypt(std::string const& protocol, bool signs);
  void remove_signing();
  void remove_encryption();

  // The outcome of `decrypt_and_verify_signatures`, or of writing, in one word: a keyword of `parse_security_status`, or
  // "generationFailed", "decrypted", "decryptFailed", "complicated", "rogueParts"; docs/security.md tells what each one
  // promises. `unset_string` when nothing is protected. With `whole_message` it is an answer about all that the message
  // shows, without it about this part alone.
  std::string get_security_status(bool whole_message);

  // What was found out, part by part, for people who want to know: status lines, and lines of "------" between parts.
  std::string get_security_details();

  // Whether the content is going to be signed. Setting it re-encodes parts whose lines end in blanks, which transports may
  // drop, or are longer than 998 bytes, or that hold CR or NUL or say "binary", but nothing inside parts that are protected
  // themselves.
  void mark_to_be_signed(bool marked);

  // --- The tree: identity and neighbours --------------------------------------------------------- body.cc

  body_part_t* parent() const { return _parent; }
  void set_parent(body_part_t* parent) { _parent = parent; }

  // Makes this part the root of a tree of its own: for a copy, and for a part that was moved.
  void detach();

  // Kept for the application, and of no meaning here: where its signature stands in the text, and the signature as HTML. They
  // are asked of the root, so they are to be set there; `unset_string` until then.
  std::string get_signature_range() const;
  std::string get_html_signature() const;
  void set_signature_range(std::string const& text) { _signature_range = text; }
  void set_html_signature(std::string const& html) { _html_signature = html; }

  bool has_id() const { return _unique_id != -1; }
  int get_id() const;  // aborts without an id
  void set_id(int id) { _unique_id = id; }

  // The chosen child, else the default one; the child count means that all are shown.
  std::size_t get_preferred_subpart();
  void set_preferred_subpart(std::size_t index);

  // The text/plain alternative that says the same as this text/html part: the nearest one before it among the children
  // of a multipart/alternative. Null when there is none.
  body_part_t* equivalent_plain_text_alternative();

  std::string markup();  // "content-type.parameter.split.markup", lower-cased

  // Keeps what `html_rendering_t::canonicalize` makes of this part, of whatever type it is; without that it does nothing. The
  // text is `unset_string` before, and after the content was set.
  void canonicalize_html();
  std::string const& get_canonicalized_text() const { return _canonicalized_text; }

  // Whether the part was found signed or encrypted: true once verification or decryption has stored its outcome.
  bool has_security_status() const;

  // Whether the body is not here. Then an enclosed message is not unfolded, and `decrypt_and_verify_signatures` leaves the
  // part alone. To be set before anything is asked of the part.
  bool is_headers_only() const { return _is_headers_only; }
  void set_is_headers_only(bool value) { _is_headers_only = value; }

  // Kept for the application, and of no meaning here: what is selected in the part, `unset_string` until it is set, and
  // variables.
  std::string const& get_selected_string() const { return _selected_string; }
  void set_selected_string(std::string const& text) { _selected_string = text; }
  std::map<std::string, environment_value_t> const& get_environment_variables() const { return _environment_variables; }
  void set_environment_variables(std::map<std::string, environment_value_t> const& values) {
    _environment_variables = values;
  }

  // --- The raw bytes ------------------------------------------------------------------------------ body.cc

  // The part as it stands in the message: header block (with its empty line), body, and both. Empty once a header
  // was set.
  std::string_view raw_headers() const;
  std::string_view raw_body() const;
  std::string_view raw_data() const;

  // The bytes of a root that was built from a vector; null for every other part.
  std::shared_ptr<std::vector<char>> get_original_data() const { return _original_data; }

  void print_raw_data(std::FILE* file) const;

  // --- Looking inside: errors, sizes, dumps --------------------------------------- body_inspection.cc

  // The part's own records; the others unfold and visit the subtree. `dump_errors` writes to standard error.
  mime_errors_handler_t& errors() { return _errors; }
  std::size_t num_root_errors() const;
  std::size_t num_errors();

  // Appends the records of the subtree. The last record of each part carries the pairs of `extra`, whose "message" tells
  // the part: ".2.1" is the first child of the second child, and the root's own records have none.
  void get_errors(mime_error_t const& extra, std::vector<mime_error_t>& out);
  void dump_errors();

  // Bytes held: the original data and the decoded bodies of the subtree.
  std::size_t space_usage();

  // Writes the subtree to standard error for debugging, at most 1000 bytes of each body, control bytes escaped. Without
  // `decode` it shows what is unfolded so far.
  void dump(bool decode, std::size_t indent);

private:
  void init_child(body_part_t& parent, std::shared_ptr<message_bytes_t> const& bytes, char const* begin,
                  char const* end);
  void parse_block(char const* begin, char const* end);
  void read_preamble(char const* end);
  void check_mime_version();
  std::vector<std::string> stored_values(std::string const& name) const;
  bool answer_quickly(std::string_view path, std::string const& fallback, std::string& answer);
  std::shared_ptr<header::structured_value_t const> content_header(std::string const& name);
  void store_header(std::string const& name, std::string const& value);
  void drop_raw_bytes();
  bool decides_reading(std::string const& name, std::string const& value);
  void forget_source_body();
  void content_changed();
  void fold_up();
  void take_body(std::shared_ptr<std::vector<char>> bytes);
  void adopt_subparts();
  body_part_t const& root() const;

  std::string transfer_encoding();
  bool is_read_by_guess();
  void decode_leaf_text(std::string const& subtype, std::string charset, std::vector<char>& decoded);
  bool store_decoded(std::vector<char>&& bytes);
  void report_spent();
  bool may_unfold();
  void unfold_message();
  void unfold_multipart(std::string const& subtype, std::string const& charset);
  bool adopt_ranges(bool is_signed, std::vector<range_t> const& ranges, std::shared_ptr<message_bytes_t> const& bytes);
  void adopt_as_plain_text(range_t body, std::string const& charset);
  body_part_t* append_child(std::shared_ptr<message_bytes_t> const& bytes, range_t range);
  std::shared_ptr<message_bytes_t> text_of_container();
  void keep_outside_text(range_t preamble, range_t epilogue);
  std::string_view decoded_view() const;

  void dump_headers(std::size_t indent) const;

  body_part_t& adopt(body_part_t& child);
  void change_subparts();
  void store_deleted(body_part_t& child);
  void delete_subpart(std::list<body_part_t>::iterator child);
  std::shared_ptr<std::vector<char>> body_for_another_part();

  struct writing_t;
  using step_t = void (body_part_t::*)(writing_t&);
  void generate(message_inserter_t out, step_t step);
  bool has_body() const;
  bool are_subparts_untouched() const;
  bool is_untouched() const;
  bool is_body_untouched() const;
  bool is_sealed_multipart();
  void seal_layer(writing_t& writing);
  void rewrite_guessed_text();
  bool has_new_resent_headers();
  void write(writing_t& writing);
  void write_resent(writing_t& writing);
  void write_anew(writing_t& writing);
  void write_signed_entity(writing_t& writing);
  void write_headers(writing_t& writing, std::string_view name) const;
  void write_header_block(writing_t& writing) const;
  void write_body(writing_t& writing);
  void write_text(writing_t& writing);
  void write_multipart(writing_t& writing);
  void prepare_headers();
  bool can_name_boundary();
  void prepare_container_headers(std::string const& encoding);
  void prepare_leaf_headers(std::string const& encoding);
  void renew_boundary();
  std::string wanted_container_encoding();
  void label_container();
  void apply_markdown_rule();
  bool is_dated_after(long time);
  void store_content(std::string const& type, std::string_view body);
  bool describe_text(std::string const& subtype, std::string_view text, bool flow, std::string& content_type,
                     std::string& encoding);
  bool is_child_of(std::initializer_list<std::string_view> mime_types);
  void unfold_content();
  void finish_content(bool is_new);
  void set_plain_text(std::string const& text, std::string const& markup, bool is_signed);
  body_part_t& content_part();
  bool may_begin_with_content();
  body_part_t& insert_text_in_front();
  body_part_t& insert_text_part();
  struct found_html_t {
    body_part_t* html = nullptr;
    body_part_t* group = nullptr;
  };
  body_part_t* find_text(std::initializer_list<std::string_view> mime_types);
  bool has_html();
  found_html_t find_html(body_part_t* group);
  bool has_text();
  body_part_t& inside_protection();
  bool holds_8bit() const;
  void take_attachments(std::list<body_part_t>& attachments);
  void replace_content_by_text(std::string const& text, std::string const& markup, bool is_signed);
  body_part_t& attachment_container();
  bool is_html_group();
  body_part_t* group_of_html();
  void attach_related(std::string const& name, std::string_view bytes);
  body_part_t* child_with_content_id(std::string const& id);

  // Played by body_moving.cc.
  void wrap_content(std::string const& subtype, std::string const& parameters);
  void move_content_to(body_part_t& inner);
  void move_body_to(body_part_t& other);
  void settle_container();
  body_part_t& adopt_content(body_part_t&& content);

  // Played by security/body_security.cc and security/sealing.cc.
  body_part_t take_content();
  bool holds_open_layer();
  void move_descriptive_headers_to(std::vector<char>& entity);
  std::string own_security_protocol();
  void unwrap(body_part_t& content);
  void forget_outcome();
  bool is_rogue_part() const;
  void keep_encryption(bool signs);
  bool make_safe(bool for_signature);
  std::string generation_failure();
  std::vector<char> entity_of(body_part_t& content, bool for_signature);
  void set_to_be_signed(bool marked);
  body_part_t* content_to_seal();
  std::optional<std::vector<char>> seal();
  std::string sealed(std::string const& level, std::string_view entity, std::string& output);
  std::string sealed_with_openpgp(std::string const& level, std::string_view entity, std::string& output);
  std::string sealed_with_smime(std::string const& level, std::string_view entity, std::string& output);
  void store_parameter(std::string const& name, std::string const& value);
  void set_sealed_body(std::string_view bytes, std::string const& encoding);

  // Played by security/opening.cc and security/message_status.cc.
  struct opening_t;
  struct answer_t;
  friend void decrypt_and_verify_signatures(body_part_t& message);
  friend std::string get_from_address_for_verification(body_part_t& part);
  body_part_t& message_root();
  std::vector<std::string> const& undecoded_senders();
  std::vector<std::string> senders();

  // Written by parsing (body.cc).
  headers_t _headers;
  std::shared_ptr<message_bytes_t> _bytes;            // owner of what the three pointers look into
  std::shared_ptr<std::vector<char>> _original_data;  // the same bytes, at a root built from a vector
  std::shared_ptr<tree_budget_t> _budget;             // what the whole tree may still cost
  char const* _raw_begin = nullptr;
  char const* _body_begin = nullptr;
  char const* _raw_end = nullptr;
  range_t _source_body;  // the body as it came; outlives the three pointers until the content changes
  std::string _description;
  mime_errors_handler_t _errors;
  std::size_t _level = 0;
  bool _is_headers_only = false;
  std::string _guessed_charset = unset_string;
  std::array<std::shared_ptr<header::structured_value_t const>, 2>
      _content_headers;  // type, disposition; when asked for

  // Written by unfolding (body_parser.cc). No decoded bytes: the raw body is the decoded one.
  std::shared_ptr<std::vector<char> const> _decoded_body;
  bool _is_decoded = false;
  bool _is_split = false;         // the children are the source body, cut at its delimiter lines
  bool _lacks_subparts = false;   // the limits did not let us list all of them
  bool _holds_utf8_text = false;  // the decoded body is text in its reading form
  std::list<body_part_t> _subparts;
  body_part_t* _parent = nullptr;

  // Written by editing (body_editing.cc).
  std::set<std::string> _updated_headers;
  std::map<int, body_part_t> _deleted_subparts;
  bool _has_changed = false;

  // Written by composing (body_composing.cc) and writing (body_generation.cc).
  struct known_ids_t {
    std::set<std::string> ids;  // the Content-IDs of the children, as long as there are this many
    std::size_t num_subparts = 0;
  };
  std::map<std::string, std::string> _related_parts;
  known_ids_t _known_ids;
  bool _has_preamble_part = false;

  // Written by security (body_security.cc).
  bool _to_be_signed = false;
  bool _security_level_set = false;
  bool _needs_sealing = false;  // a draft: what is in the clear was never sealed
  bool _seals_anew = false;     // a received message: what was in it was changed, by an edit or by another level

  // Written by opening (security/opening.cc).
  std::optional<std::vector<std::string>> _undecoded_senders;  // of a message
  bool _has_text_around_blocks = false;                        // one armoured block is not all that this text says

  // Given by the application.
  int _unique_id = -1;
  std::size_t _preferred_subpart = no_preference;
  std::string _selected_string = unset_string;
  std::string _signature_range = unset_string;
  std::string _html_signature = unset_string;
  std::string _canonicalized_text = unset_string;
  std::map<std::string, environment_value_t> _environment_variables;
};

}  // namespace kel
