// The messages that are measured, made here so that everybody measures the same.
#pragma once

#include <string>

namespace bench {

struct message_t {
  char const* name;
  std::string bytes;
};

// A short text, as most mail between people is.
message_t note();

// A newsletter: long headers with encoded words, a text and an HTML alternative in quoted-printable.
message_t newsletter();

// A mail to 2000 recipients.
message_t recipients();

// 32 MiB of attachment in base64.
message_t attachment();

// 2000 small parts beside each other.
message_t parts();

// 200 multiparts inside each other, with text behind the innermost.
message_t nested();

// Headers and a body in ISO-2022-JP.
message_t japanese();

}  // namespace bench
