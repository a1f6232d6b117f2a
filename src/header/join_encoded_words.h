// Joining of adjacent encoded words, so that a character that was split between two of them can be decoded.
#pragma once

#include <string>

namespace kel {

// The text in which words of the same charset and encoding that only white space separates are one word:
//
//    "=?utf-8?q?=C3?= =?utf-8?q?=BC?="   becomes   "=?utf-8?q?=C3=BC?="
//
// A word is taken loosely here: "=?", anything up to a "?", one byte that is no white space, "?", anything up to "?=".
std::string join_encoded_words(std::string text);

}  // namespace kel
