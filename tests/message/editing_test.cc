#include <gtest/gtest.h>

#include <functional>

#include <kel/preferences.h>
#include <kelmime/limits.h>
#include <helpers/messages.h>
#include <helpers/repeated.h>
#include <helpers/surroundings.h>

namespace kel {
namespace {

// No key of whoever runs this signs anything.
variable_guard_t const without_gnupg("PW_GPG", "/nowhere/gpg");

using test::describe;
using test::leaf;
using test::message_of;
using test::multipart;
using test::read_again;
using test::written;

std::string const text = leaf("text/plain", "text"), png = leaf("image/png", "image"), pdf = leaf("application/pdf", "pdf");
std::string const signature = leaf("application/pgp-signature", "sig"), data = leaf("application/octet-stream", "data");
std::string const control = leaf("application/pgp-encrypted", "Version: 1\n");
std::string const encoded = leaf("multipart/mixed; boundary=c", "Ci0tYwoKaW4gYmFzZTY0Ci0tYy0tCg==\n", "Content-Transfer-Encoding: base64\n");
std::string const two_files = multipart("mixed", { text, png, pdf });
std::string const two_files_described = "multipart/mixed[text/plain(4) image/png(5) application/pdf(3)]";
std::string const signed_files = multipart("signed", { two_files, signature }), encrypted = multipart("encrypted", { control, data });

// The part at "1.0": the first child of the second child.
body_part_t& at(body_part_t& root, std::string_view path) {
  body_part_t* part = &root;
  for (std::size_t i = 0; i < path.size(); i += 2)
    part = &part->subpart(static_cast<std::size_t>(path[i] - '0'));
  return *part;
}

void add_content(body_part_t& part, std::string_view content) {
  std::vector<char> bytes(content.begin(), content.end());
  EXPECT_EQ(part.add_body_part(bytes).parent(), &part);
  EXPECT_TRUE(bytes.empty());
}

// Identifiers in document order, from 1. In the part that is opened two_files appears, as by decryption.
std::shared_ptr<body_part_t> numbered(std::string_view bytes, char const* opened = nullptr) {
  auto message = message_of(bytes);
  if (opened)
    add_content(at(*message, opened), two_files);
  std::vector<body_part_t*> all;
  message->filter_body_parts(all, [](body_part_t&) { return true; });
  for (std::size_t i = 0; i < all.size(); ++i)
    all[i]->set_id(static_cast<int>(i) + 1);
  return message;
}

struct tree_t {
  std::string type, content;
  std::vector<tree_t> children;
};

tree_t tree_of(body_part_t& part) {
  tree_t tree = { part.mime_type(), std::string(part.decoded_body()), {} };
  for (body_part_t& child : part.subparts())
    tree.children.push_back(tree_of(child));
  return tree;
}

// Types, and the content of leaves.
std::string outline(tree_t const& tree) {
  if (tree.children.empty() && !tree.type.starts_with("multipart/"))
    return tree.type + "(" + tree.content + ")";
  std::string line = tree.type + "[";
  for (tree_t const& child : tree.children)
    line += outline(child) + " ";
  return line + "]";
}

std::string outline(body_part_t& part) {
  return outline(tree_of(part));
}

TEST(Editing, FindsAttachments) {
  // `opened` is the part that two_files is added to, as decryption does; without a container there are no attachments.
  struct { char const* name; std::string message; char const* opened; char const* container; std::size_t attachments; } const rows[] = {
    { "mixed", two_files, nullptr, "", 2 }, { "related", multipart("related", { text, png }), nullptr, "", 1 },
    { "empty mixed", leaf("multipart/mixed; boundary=b", ""), nullptr, "", 0 },
    { "alternative", multipart("alternative", { text, png }), nullptr, nullptr, 0 }, { "plain", text, nullptr, nullptr, 0 },
    { "signed", signed_files, nullptr, "0", 2 }, { "signed text", multipart("signed", { text, signature }), nullptr, nullptr, 0 },
    { "signed, a part too many", multipart("signed", { two_files, signature, png }), nullptr, nullptr, 0 },
    { "signed, alone", multipart("signed", { two_files }), nullptr, nullptr, 0 },
    { "a footer beside a signed part", multipart("mixed", { signed_files, text }), nullptr, "", 1 },
    { "decrypted", encrypted, "1", "1.0", 2 }, { "not decrypted", encrypted, nullptr, nullptr, 0 },
    { "encrypted, a part too many", multipart("encrypted", { control, data, png }), "1", nullptr, 0 },
    { "S/MIME", leaf("application/pkcs7-mime", "data"), "", "0", 2 }, { "S/MIME of old", leaf("application/X-PKCS7-MIME", "data"), "", "0", 2 },
    { "S/MIME, not decrypted", leaf("application/pkcs7-mime", "data"), nullptr, nullptr, 0 },
    { "encrypted inside signed", multipart("signed", { encrypted, signature }), "0.1", "0.1.0", 2 },
  };
  for (auto const& row : rows) {
    auto const message = message_of(row.message);
    if (row.opened)
      add_content(at(*message, row.opened), two_files);
    EXPECT_EQ(message->attachments_body_part(), row.container ? &at(*message, row.container) : nullptr) << row.name;
    EXPECT_EQ(message->number_of_attachments(), row.attachments) << row.name;
    for (std::size_t i = 0; i < row.attachments; ++i)
      EXPECT_EQ(&message->attachment_at_index(i), &at(*message, row.container).subpart(i + 1)) << row.name;
    EXPECT_EQ(written(*message), row.message) << row.name << ": what was decrypted is no change";
  }
  EXPECT_EQ(numbered(two_files)->get_attachment_id(1), 4);
}

// More of them are deleted by the law at the end.
TEST(Editing, DeletesParts) {
  struct { char const* name; std::string message; std::size_t index; char const* expected; } const rows[] = {
    { "first of three", two_files, 0, "multipart/mixed[image/png(image) application/pdf(pdf) ]" },
    { "only one", multipart("mixed", { text }), 0, "multipart/mixed[]" },
    { "a message is left", multipart("mixed", { leaf("message/rfc822", text), png }), 1, "message/rfc822[text/plain(text) ]" },
    { "a signature", signed_files, 1, "multipart/mixed[text/plain(text) image/png(image) application/pdf(pdf) ]" },
    { "encrypted", encrypted, 0, "application/octet-stream(data)" },
  };
  for (auto const& row : rows) {
    auto const message = message_of("Subject: s\n" + row.message);
    message->set_preferred_subpart(message->num_subparts() - 1);
    message->delete_subpart_with_index(row.index);
    EXPECT_EQ(outline(*message), row.expected) << row.name;
    EXPECT_TRUE(message->has_changed() && message->raw_data().empty() && message->get_deleted_subparts().empty()) << row.name;
    EXPECT_LE(message->get_preferred_subpart(), message->num_subparts()) << row.name;
    auto const again = read_again(*message);
    EXPECT_EQ(outline(*again), row.expected) << row.name << written(*message);
    EXPECT_EQ(again->get_header("subject", ""), "s") << row.name;
  }
  auto const decrypted = message_of(encrypted);
  add_content(decrypted->subpart(1), two_files);
  decrypted->delete_subpart_with_index(0);
  EXPECT_EQ(describe(*decrypted), two_files_described);
}

TEST(Editing, DeletesAttachments) {
  struct { char const* name; std::string message; char const* opened; int id; char const* expected; } const rows[] = {
    { "mixed", two_files, nullptr, 3, "multipart/mixed[text/plain(4) application/pdf(3)]" },
    { "signed", signed_files, nullptr, 4, "multipart/signed[multipart/mixed[text/plain(4) application/pdf(3)] application/pgp-signature(3)]" },
    { "signed, the last one", multipart("signed", { multipart("mixed", { text, png }), signature }), nullptr, 4, "multipart/signed[text/plain(4) application/pgp-signature(3)]" },
    { "a footer beside a signed part", multipart("mixed", { multipart("signed", { text, signature }), text, png }), nullptr, 5,
      "multipart/mixed[multipart/signed[text/plain(4) application/pgp-signature(3)] image/png(5)]" },
    { "decrypted", encrypted, "1", 6, "multipart/encrypted[application/pgp-encrypted(11) application/octet-stream[multipart/mixed[text/plain(4) application/pdf(3)]]]" },
    { "S/MIME", leaf("application/x-pkcs7-mime", "data"), "", 5, "application/x-pkcs7-mime[multipart/mixed[text/plain(4) image/png(5)]]" },
  };
  for (auto const& row : rows) {
    auto const message = numbered(row.message, row.opened);
    EXPECT_FALSE(message->has_body_part_changes()) << row.name;
    message->delete_attachment_with_id(row.id);
    EXPECT_EQ(describe(*message), row.expected) << row.name;
    EXPECT_TRUE(message->has_body_part_changes() && message->raw_data().empty()) << row.name;
  }
}

TEST(Editing, AbortsOnMisuse) {
  auto const message = numbered(two_files);
  auto const unnumbered = message_of(signed_files);
  auto const empty = message_of("Content-Type: multipart/mixed; boundary=b\n\n");
  EXPECT_DEATH(message->delete_subpart_with_index(3), "^index >= subparts\\.size\\(\\): 3 >= 3\n");
  EXPECT_DEATH(message->insert_subpart(4, "text", "plain", unset_string, nullptr, nullptr, false), "Fatal: Subpart 4/3 does not exist\n");
  EXPECT_DEATH(message->delete_subpart_with_id(9), "Fatal: Unable to locate subpart \\(9\\) among 3 subparts\\.\n");
  EXPECT_DEATH(unnumbered->delete_subpart_with_id(9), "unique_id == -1\n");
  EXPECT_DEATH(message->deleted_subpart_with_id(2), "Fatal: Cannot find deleted body part \\(2\\)\\.\n");
  EXPECT_DEATH(message->expunge_subpart_with_id(2), "Fatal: Cannot remove undeleted body part \\(2\\)\\.\n");
  char const no_attachments[] = "Fatal: Trying to delete attachment in message with no attachments\n";
  for (std::string const& bytes : { multipart("alternative", { text, two_files }), encrypted, text, multipart("encrypted", { control }),
                                    leaf("application/pkcs7-mime", "data"), leaf("multipart/signed", "") })
    EXPECT_DEATH(message_of(bytes)->delete_attachment_with_id(2), no_attachments) << bytes;
  EXPECT_DEATH(message_of(text)->attachment_at_index(0), "Fatal: Requesting attachment in message with no available attachments\\.\n");
  EXPECT_DEATH(message->attachment_at_index(2), "Fatal: Requesting attachment with index 2 in message with 2 attachments\\.\n");
  EXPECT_DEATH(unnumbered->attachment_at_index(2), "Fatal: Requesting attachment with index 2 in message with 1 attachments\\.\n");
  EXPECT_DEATH(empty->attachment_at_index(0), "Requesting attachment with index 0 in message with 18446744073709551615 attachments\\.\n");
  EXPECT_DEATH(message->subpart(0).replace_with_body_part(*empty), "Fatal: Subpart 0/0 does not exist\n");
  EXPECT_DEATH(unnumbered->replace_with_string("x"), "unique_id == -1\n");
}

// What a deleted part was read as does not depend on the tree that it stood in.
TEST(Editing, KeepsDeletedParts) {
  std::string const container = multipart("mixed", { leaf("text/plain", "\xC1"), png });
  auto message = message_of(multipart("mixed", { container, encoded, pdf }, "X-Mailer: hints at koi8-r\n"));
  for (int const i : { 0, 1, 2 })
    message->subpart(static_cast<std::size_t>(i)).set_id(i);
  message->delete_subpart_with_id(0);
  message->delete_subpart_with_id(1);
  EXPECT_EQ(outline(*message), "application/pdf(pdf)");
  EXPECT_EQ(message->deleted_subpart_with_id(2).decoded_body(), "pdf") << "the part that the message collapsed into";
  body_part_t first = message->deleted_subpart_with_id(0), second = message->deleted_subpart_with_id(1);
  body_part_t& deleted = message->deleted_subpart_with_id(0);
  EXPECT_TRUE(!deleted.parent() && deleted.subpart(0).parent() == &deleted);
  message->expunge_subpart_with_id(1);
  EXPECT_FALSE(message->has_deleted_subpart_with_id(1));
  message.reset();
  first.detach();
  second.detach();
  EXPECT_EQ(outline(first), "multipart/mixed[text/plain(\xD0\xB0) image/png(image) ]");
  EXPECT_EQ(outline(second), "multipart/mixed[text/plain(in base64) ]");
  EXPECT_EQ(first.raw_data(), container);
}

TEST(Editing, ReplacesPartsByWhatTheyHold) {
  std::string const headers = "Content-Description: the whole\nContent-Disposition: inline\nSubject: s\n";
  struct { char const* name; std::string part; char const* expected; char const* hint = ""; } const rows[] = {
    { "base64", leaf("text/plain; charset=iso-8859-1", "Z3L83w==\n", "Content-Transfer-Encoding: base64\n"), "text/plain(gr\xC3\xBC\xC3\x9F)" },
    { "a hint of its own", leaf("text/plain", "\xC1", "X-Mailer: Windows-1251\n"), "text/plain(\xD0\x91)" },
    { "a hint from above", leaf("text/plain", "\xC1"), "text/plain(\xD0\xB0)", "X-Info: koi8-r\n" },
    { "flowed", leaf("text/plain; format=flowed", "a \nb\n"), "text/plain(a b\n)" },
    { "no content", leaf("text/plain", ""), "text/plain()" }, { "bytes", leaf("image/png", "a\r\nb"), "image/png(a\r\nb)" },
    { "encoded multipart", encoded, "multipart/mixed[text/plain(in base64) ]" },
    { "encoded message", leaf("message/rfc822", "Subject: =3D\n\nbody=3D\n", "Content-Transfer-Encoding: quoted-printable\n"), "message/rfc822[text/plain(body=\n) ]" },
    { "a report", leaf("message/delivery-status", "Action: failed\n"), "message/delivery-status(Action: failed\n)" },
  };
  for (auto const& row : rows) {
    for (bool const is_changed : { false, true }) {
      auto const message = message_of(multipart("mixed", { row.part, png }, headers + row.hint));
      if (is_changed)
        message->subpart(0).set_header("x-new", "1");
      message->delete_subpart_with_index(1);
      EXPECT_EQ(outline(*message), row.expected) << row.name << is_changed;
      EXPECT_EQ(outline(*read_again(*message)), row.expected) << row.name << is_changed << written(*message);
      EXPECT_TRUE(!message->exists_header("content-disposition") && message->get_header("subject", "") == "s") << row.name;
      EXPECT_NE(message->get_description(), "the whole") << row.name;
      std::set<std::string> names;
      message->get_updated_headers(names);
      EXPECT_TRUE(names.contains("content-type") && !message->did_update_header("content-type")) << row.name;
      message->get_updated_headers(names);
      EXPECT_TRUE(names.empty()) << row.name;
    }
  }
}

TEST(Editing, TakesTheContentOfAnyPart) {
  // A root that states an encoding is read as if it did not; inside another part that would be undone.
  auto const stated = message_of(multipart("mixed", { text, png }, "Content-Transfer-Encoding: base64\nX-A: 1\nX-A: 2\n"));
  auto const message = numbered(multipart("mixed", { multipart("mixed", { text, pdf }), pdf }));
  message->subpart(0).replace_with_body_part(*stated);
  EXPECT_EQ(describe(*message), "multipart/mixed[multipart/mixed[text/plain(4) image/png(5)] application/pdf(3)]");
  EXPECT_TRUE(message->subpart(0).headers().count("x-a") == 1 && message->subpart(0).get_header("x-a", "") == "2");
  EXPECT_TRUE(message->subpart(0).has_deleted_subpart_with_id(3) && !message->subpart(0).has_deleted_subpart_with_id(4));
  EXPECT_EQ(message->subpart(0).get_id(), 2);
  EXPECT_EQ(describe(*read_again(*message)), describe(*message));

  message->replace_with_body_part(message->subpart(0).subpart(1));  // a part that goes on the way
  EXPECT_EQ(outline(*message), "image/png(image)");
  EXPECT_EQ(describe(message->deleted_subpart_with_id(2)), "multipart/mixed[text/plain(4) image/png(5)]");

  auto const own = message_of(two_files);
  own->replace_with_body_part(*own);
  EXPECT_EQ(describe(*own), two_files_described);

  set_html_rendering({ [](body_part_t&) { return std::string("canonical"); }, {} });
  own->canonicalize_html();
  preferences::set("PwDebugDecodeBug", true);
  testing::internal::CaptureStderr();
  own->replace_with_body_part(own->subpart(1));
  EXPECT_EQ(testing::internal::GetCapturedStderr().find("replace_with_body_part:\nUnique ID: -1 ("), 0u);
  preferences::reset();
  set_html_rendering({});
  EXPECT_EQ(own->get_canonicalized_text(), unset_string);
}

TEST(Editing, ReplacesPartsWithText) {
  auto const message = numbered(multipart("mixed", { two_files, png }, "Subject: s\nContent-Transfer-Encoding: base64\n"));
  message->replace_with_string("gr\xC3\xBC\xC3\x9F\n");
  EXPECT_EQ(outline(*message), "text/plain(gr\xC3\xBC\xC3\x9F\n)");
  EXPECT_TRUE(message->has_deleted_subpart_with_id(2) && message->has_deleted_subpart_with_id(6));
  EXPECT_EQ(describe(message->deleted_subpart_with_id(2)), two_files_described);
  auto const again = read_again(*message);
  EXPECT_TRUE(outline(*again) == outline(*message) && again->get_header("subject", "") == "s") << written(*message);
}

TEST(Editing, InsertsParts) {
  auto const message = message_of(signed_files);
  body_part_t& container = message->subpart(0);
  std::string const content = "words " + std::string(200, 'x') + "\n";
  body_part_t& child = container.insert_subpart(1, "text", "plain", "name=x", content.data(), content.data() + content.size(), true);
  EXPECT_TRUE(child.parent() == &container && child.get_filename() == "x");
  EXPECT_FALSE(child.is_format_flowed()) << "it is going to be signed too";
  container.insert_subpart(4, "text", "plain", unset_string, content.data(), content.data() + 1, false);
  std::string const expected = "multipart/signed[multipart/mixed[text/plain(4) text/plain(207) image/png(5) application/pdf(3) text/plain(1)] application/pgp-signature(3)]";
  EXPECT_EQ(describe(*message), expected);
  EXPECT_TRUE(container.raw_data().empty() && container.has_changed());
  EXPECT_FALSE(message->raw_data().empty()) << "writing looks below";
  EXPECT_EQ(describe(*read_again(*message)), expected);

  body_part_t draft;
  draft.set_header("content-type", "multipart/mixed; boundary=b");
  add_content(draft, text);
  add_content(draft, png);
  draft.insert_subpart(0, "application", "pdf", unset_string, "pdf", "pdf" + 3, false);
  EXPECT_EQ(outline(draft), "multipart/mixed[application/pdf(pdf) text/plain(text) image/png(image) ]");
  EXPECT_EQ(outline(*read_again(draft)), outline(draft));
  body_part_t& unfilled = draft.push_body_part();
  unfilled.set_header("content-type", "multipart/mixed");
  unfilled.set_id(1);
  draft.delete_subpart_with_index(3);
  EXPECT_TRUE(draft.has_deleted_subpart_with_id(1));
  body_part_t copy = draft;
  copy.detach();
  copy.delete_subpart_with_index(0);
  copy.clear_subparts();
  EXPECT_EQ(outline(copy), "multipart/mixed[]");
  EXPECT_EQ(draft.num_subparts(), 3u);
}

// The parts that a copy keeps as deleted belong to the copy.
TEST(Editing, CopiesOutliveTheirOriginals) {
  auto message = numbered(multipart("mixed", { multipart("mixed", { "\n\xfc", "\n2" }), "\n3", "\n4" }));
  message->delete_subpart_with_id(2);
  body_part_t copy = *message;
  message.reset();
  copy.detach();
  body_part_t& deleted = copy.deleted_subpart_with_id(2);
  EXPECT_TRUE(!deleted.parent() && deleted.subpart(1).parent() == &deleted);
  EXPECT_EQ(deleted.subpart(0).get_guessed_charset(), "");
}

// What was decrypted into a child comes and goes; the data that it was decrypted from stays.
TEST(Editing, KeepsTheDataOfLeaves) {
  for (std::string const& bytes : { leaf("application/pkcs7-mime", "data"), leaf("application/pkcs7-mime", "ZGF0YQ==\n", "Content-Transfer-Encoding: base64\n") }) {
    for (auto const edit : { +[](body_part_t& part) { part.clear_subparts(); }, +[](body_part_t& part) { part.delete_subpart_with_index(0); },
                             +[](body_part_t& part) { part.delete_attachment_with_id(4); },
                             +[](body_part_t& part) { part.insert_subpart(0, "text", "plain", unset_string, "a", "a" + 1, false); } }) {
      auto const message = numbered(bytes, "");
      edit(*message);
      EXPECT_TRUE(message->raw_data().empty());
      EXPECT_EQ(message->decoded_body(), "data");
      EXPECT_EQ(read_again(*message)->decoded_body(), "data");
    }
    auto const opened = numbered(bytes, "");
    opened->replace_with_body_part(opened->subpart(0));
    EXPECT_EQ(describe(*read_again(*opened)), two_files_described);
  }
}

// Bytes are kept where a child is pushed, but once they go the child must be written.
TEST(Editing, WritesPushedParts) {
  for (std::string const& bytes : { two_files, std::string("Content-Type: multipart/mixed; boundary=b\n\n\n") }) {
    auto const message = message_of(bytes);
    add_content(*message, text);
    EXPECT_EQ(written(*message), bytes);
    message->set_header("subject", "s");
    EXPECT_EQ(outline(*read_again(*message)), outline(*message));
    EXPECT_NE(outline(*message).find("text/plain(text) ]"), std::string::npos);
  }
}

// What is added counts on from the level where it comes in.
TEST(Editing, AddedPartsAreNotNestedDeeper) {
  std::string const nested = repeated("Content-Type: message/rfc822\n\n", limits::nested_levels - 56) + pdf;
  auto const message = message_of(nested);
  auto const innermost = [&] {
    std::pair<body_part_t*, std::size_t> found(message.get(), 0);
    for (; found.first->num_subparts() > 0; ++found.second)
      found.first = &found.first->subpart(0);
    return found;
  };
  add_content(*innermost().first, nested);
  EXPECT_EQ(innermost().second, limits::nested_levels);
}

TEST(Editing, TellsWhatChanged) {
  auto const message = numbered(two_files);
  EXPECT_FALSE(message->has_changed() || message->has_body_part_changes());
  message->strip_subpart_with_id(2);
  message->subpart(1).set_header("content-id", "<a>");
  EXPECT_FALSE(message->has_changed() || message->has_body_part_changes());
  EXPECT_TRUE(message->subpart(1).has_changed());
  message->push_body_part().init("", "");
  EXPECT_TRUE(message->has_body_part_changes()) << "a part without id";

  std::vector<body_part_t*> found;
  message->filter_body_parts(found, [](body_part_t& part) { return part.has_id(); });
  message->filter_body_parts(found, [](body_part_t& part) { return part.mime_type() == "image/png"; });
  EXPECT_EQ(found, (std::vector<body_part_t*>{ message.get(), &message->subpart(0), &message->subpart(1), &message->subpart(2), &message->subpart(1) }));
}

// --- Law: any part of any multipart can be deleted, and what is left is written and read again ------------------------

tree_t without(tree_t tree, std::string_view path, std::size_t index) {
  tree_t* at = &tree;
  for (std::size_t i = 0; i < path.size(); i += 2)
    at = &at->children[static_cast<std::size_t>(path[i] - '0')];
  at->children.erase(at->children.begin() + static_cast<std::ptrdiff_t>(index));
  if (at->children.size() == 1)
    *at = tree_t(at->children.front());
  return tree;
}

void for_each_multipart(tree_t const& tree, std::string const& path, std::function<void(std::string const&, std::size_t)> const& visit) {
  if (tree.type.starts_with("multipart/"))
    visit(path, tree.children.size());
  for (std::size_t i = 0; i < tree.children.size(); ++i)
    for_each_multipart(tree.children[i], path + (path.empty() ? "" : ".") + std::to_string(i), visit);
}

TEST(Editing, AnyPartCanBeDeletedFromAnyMessage) {
  std::size_t deletions = 0;
  for (auto const& file : test::message_files()) {
    std::string const bytes = test::content_of(file);
    tree_t const tree = tree_of(*message_of(bytes));
    for_each_multipart(tree, "", [&](std::string const& path, std::size_t count) {
      for (std::size_t i = 0; i < count; ++i, ++deletions) {
        auto const message = message_of(bytes);
        at(*message, path).delete_subpart_with_index(i);
        std::string const expected = outline(without(tree, path, i));
        EXPECT_EQ(outline(*message), expected) << file << path << i;
        EXPECT_EQ(outline(*read_again(*message)), expected) << file << path << i << written(*message);
      }
    });
  }
  EXPECT_GE(deletions, 20u);
}

}  // namespace
}  // namespace kel
