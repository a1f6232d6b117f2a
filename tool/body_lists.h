// Which parts are the message's text and which are attachments: the algorithm of RFC 8621 section 4.1.4.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "outline.h"

namespace kel::tool {

// Indices into the outline.
struct body_lists_t {
  std::vector<std::size_t> text;  // to be shown one after another, plain text preferred
  std::vector<std::size_t> html;  // the same, HTML preferred
  std::vector<std::size_t> attachments;
  std::vector<std::size_t> seals;  // the attachments that only protect: signatures, ciphertext that was opened
};

body_lists_t sort_bodies(outline_t const& parts);

// What a person would save, in message order: the attachments but for the seals, and the images and other media shown
// inline.
std::vector<std::size_t> list_files(outline_t const& parts, body_lists_t const& lists);

// The text to show on a terminal, as UTF-8: the plain text, or the HTML without its tags when the plain text is blank.
std::string readable_text(outline_t const& parts, body_lists_t const& lists);

}  // namespace kel::tool
