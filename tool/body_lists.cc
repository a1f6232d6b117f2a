#include "body_lists.h"

#include <algorithm>
#include <string_view>

#include "html_text.h"
#include "text.h"

namespace kel::tool {

namespace {

using list_t = std::vector<std::size_t>;

bool is_media(part_t const& part) {
  return part.type.starts_with("image/") || part.type.starts_with("audio/") || part.type.starts_with("video/");
}

bool is_inline(part_t const& part, bool is_first, bool is_in_related) {
  if (part.disposition == "attachment")
    return false;
  if (part.type != "text/plain" && part.type != "text/html" && !is_media(part))
    return false;
  return is_first || (!is_in_related && (is_media(part) || part.name.empty()));
}

bool is_seal(part_t const& part, std::string_view multipart) {
  if (multipart == "multipart/encrypted")
    return part.type == "application/pgp-encrypted" || part.is_unsealed();
  if (multipart == "multipart/signed")
    return part.type == "application/pgp-signature" || part.type == "application/pkcs7-signature" ||
           part.type == "application/x-pkcs7-signature";
  return part.is_unsealed() && (part.type == "application/pkcs7-mime" || part.type == "application/x-pkcs7-mime");
}

void append_from(list_t& to, list_t const& from, std::size_t first) {
  to.insert(to.end(), from.begin() + static_cast<std::ptrdiff_t>(first), from.end());
}

// A null list is one that this branch of the tree no longer fills: below an alternative, the first text decides whether the
// branch is the plain or the HTML one.
class sorter_t {
public:
  sorter_t(outline_t const& parts, body_lists_t& lists) : _parts(parts), _lists(lists) {}

  void sort(list_t const& siblings, std::string_view multipart, bool is_in_alternative, list_t* html, list_t* text) {
    bool const is_alternative = multipart == "multipart/alternative";
    std::size_t const text_before = text ? text->size() : 0;
    std::size_t const html_before = html ? html->size() : 0;

    for (std::size_t const index : siblings) {
      part_t const& part = _parts[index];
      if (part.is_multipart()) {
        bool const opens_alternative = part.type == "multipart/alternative";
        sort(part.children, part.type, is_in_alternative || opens_alternative, html, text);
      } else if (!is_inline(part, index == siblings.front(), multipart == "multipart/related")) {
        _lists.attachments.push_back(index);
        if (is_seal(part, multipart))
          _lists.seals.push_back(index);
      } else if (is_alternative) {
        list_t* const wanted = part.type == "text/plain" ? text : part.type == "text/html" ? html : &_lists.attachments;
        if (wanted)
          wanted->push_back(index);
      } else {
        if (is_in_alternative && part.type == "text/plain")
          html = nullptr;
        if (is_in_alternative && part.type == "text/html")
          text = nullptr;
        add_inline(index, html, text);
      }
      if (part.is_unsealed())
        sort(part.children, part.type, is_in_alternative, html, text);
    }

    if (is_alternative && text && html) {
      bool const has_text = text->size() != text_before;
      bool const has_html = html->size() != html_before;
      if (has_html && !has_text)
        append_from(*text, *html, html_before);
      if (has_text && !has_html)
        append_from(*html, *text, text_before);
    }
  }

private:
  void add_inline(std::size_t index, list_t* html, list_t* text) {
    if (text)
      text->push_back(index);
    if (html)
      html->push_back(index);
    if ((!text || !html) && is_media(_parts[index]))
      _lists.attachments.push_back(index);
  }

  outline_t const& _parts;
  body_lists_t& _lists;
};

// Of a text whose encrypted blocks were opened, what stands around them.
std::string without_armour(std::string_view text) {
  constexpr std::string_view opening = "-----BEGIN PGP MESSAGE-----", closing = "-----END PGP MESSAGE-----";
  std::string outside;
  while (true) {
    std::size_t const begin = text.find(opening);
    std::size_t const end = text.find(closing, begin == text.npos ? begin : begin + opening.size());
    if (end == text.npos)
      return outside.append(text);
    outside += text.substr(0, begin);
    text.remove_prefix(end + closing.size());
  }
}

std::string joined_text(outline_t const& parts, list_t const& indices) {
  std::string text;
  for (std::size_t const index : indices) {
    part_t const& part = parts[index];
    if (!part.is_text())
      continue;
    if (!text.empty() && !text.ends_with('\n'))
      text += '\n';
    std::string_view const body = part.body->decoded_body();
    if (part.type == "text/html")
      text += html_to_text(body);
    else if (part.is_unsealed())
      text += trimmed(without_armour(body));
    else
      text += body;
  }
  return text;
}

}  // namespace

body_lists_t sort_bodies(outline_t const& parts) {
  body_lists_t lists;
  sorter_t(parts, lists).sort({ 0 }, "multipart/mixed", /*is_in_alternative*/ false, &lists.html, &lists.text);
  return lists;
}

std::vector<std::size_t> list_files(outline_t const& parts, body_lists_t const& lists) {
  list_t files;
  std::ranges::set_difference(lists.attachments, lists.seals, std::back_inserter(files));
  for (list_t const* const list : { &lists.text, &lists.html })
    std::ranges::copy_if(*list, std::back_inserter(files), [&](std::size_t index) { return !parts[index].is_text(); });
  std::ranges::sort(files);
  auto const repeated = std::ranges::unique(files);
  files.erase(repeated.begin(), repeated.end());
  return files;
}

std::string readable_text(outline_t const& parts, body_lists_t const& lists) {
  std::string text = joined_text(parts, lists.text);
  bool const is_blank = text.find_first_not_of(" \t\r\n") == text.npos;
  return is_blank ? joined_text(parts, lists.html) : text;
}

}  // namespace kel::tool
