// Armoured OpenPGP blocks in plain text (RFC 4880, sections 6.2 and 7).
#pragma once

#include <string_view>
#include <vector>

namespace kel {

struct inline_block_t {
  bool is_encrypted = false;  // otherwise clear-signed
  std::string_view text;      // from the first byte of its first line to the end of its last one
};

struct inline_blocks_t {
  std::vector<inline_block_t> blocks;
  bool is_alone = false;  // the text is one block in regular form, with nothing but white space around it
  bool is_all = false;    // and the header lines of its armour have no words of their own
};

// The blocks of a text with bare line feeds. Where one begins inside another, the outer one is text.
//
// The armour is held to its form, since a verifier is not strict: GnuPG passes over bytes that are no base64, and over
// whatever stands behind the checksum, and so words could stand there that nobody signed. A block of another form is found
// all the same, but then it is not all that the text says. Nor is it with a comment in its armour, which nobody signed.
inline_blocks_t find_inline_blocks(std::string_view text);

}  // namespace kel
