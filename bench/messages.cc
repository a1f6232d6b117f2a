#include "messages.h"

namespace bench {

namespace {

std::string repeated(std::string const& text, int count) {
  std::string result;
  result.reserve(text.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i)
    result += text;
  return result;
}

std::string const headers =
    "Return-Path: <sender@example.org>\n"
    "Received: from a.example.org (a.example.org [192.0.2.1])\n\tby b.example.net with ESMTPS id 12345\n"
    "\tfor <ann@example.net>; Mon, 01 Jan 2024 10:20:31 +0200\n"
    "From: Sender Name <sender@example.org>\n"
    "To: Ann Example <ann@example.net>\n"
    "Date: Mon, 01 Jan 2024 10:20:30 +0200\n"
    "Message-ID: <1234567890.1@example.org>\n"
    "MIME-Version: 1.0\n";

}  // namespace

message_t note() {
  return { "note", headers + "Subject: Lunch\nContent-Type: text/plain; charset=utf-8\n\n" +
                       repeated("At noon, in the place behind the station?\n", 20) };
}

message_t newsletter() {
  std::string const hops =
      "Received: from x.example.org by y.example.org with ESMTP id 98765;\n\tMon, 01 Jan 2024 10:20:29 +0200\n"
      "X-Header: =?utf-8?q?A_value_with_accents:_=C3=A9=C3=A8=C3=A0?=\n =?utf-8?b?w6nDqMOg?=\n";
  std::string const line =
      "Un caf=C3=A9 tr=C3=A8s serr=C3=A9, s=27il vous pla=C3=AEt; le reste de la ligne est =\nsimple.\n";
  return { "newsletter", headers + repeated(hops, 12) +
                             "Subject: =?utf-8?q?La_lettre_de_janvier_=E2=98=95?=\n"
                             "Content-Type: multipart/alternative; boundary=\"=_alternative\"\n\n"
                             "--=_alternative\nContent-Type: text/plain; charset=utf-8\n"
                             "Content-Transfer-Encoding: quoted-printable\n\n" +
                             repeated(line, 200) +
                             "\n--=_alternative\nContent-Type: text/html; charset=utf-8\n"
                             "Content-Transfer-Encoding: quoted-printable\n\n" +
                             repeated("<p style=3D\"margin:0\">" + line + "</p>\n", 400) + "\n--=_alternative--\n" };
}

message_t recipients() {
  return { "recipients", headers + "Cc: first@example.org" +
                             repeated(",\n \"Doe, John\" <john.doe@example.org>", 2000) + "\n\ntext\n" };
}

message_t attachment() {
  return { "attachment", headers +
                             "Content-Type: multipart/mixed; boundary=\"=_mixed\"\n\n\n--=_mixed\n\ntext\n--=_mixed\n"
                             "Content-Type: application/octet-stream\nContent-Transfer-Encoding: base64\n\n" +
                             repeated(std::string(76, 'Q') + "\n", (32 << 20) / 77) + "\n--=_mixed--\n" };
}

message_t parts() {
  return { "parts", headers + "Content-Type: multipart/mixed; boundary=\"=_mixed\"\n\n\n" +
                        repeated("--=_mixed\nContent-Type: text/plain; charset=utf-8\n\na line of text\n", 2000) +
                        "--=_mixed--\n" };
}

message_t nested() {
  std::string bytes = headers;
  for (int i = 0; i < 200; ++i)
    bytes +=
        "Content-Type: multipart/mixed; boundary=\"=_" + std::to_string(i) + "\"\n\n\n--=_" + std::to_string(i) + "\n";
  return { "nested", bytes + "\n" + repeated("-- a line that begins like a delimiter\n", 20000) };
}

message_t japanese() {
  return { "japanese", headers + repeated("X-Header: =?iso-2022-jp?b?GyRCOzNFRBsoQg==?=\n", 20) +
                           "Content-Type: text/plain; charset=iso-2022-jp\n\n" +
                           repeated("\x1b$B;3ED;3ED;3ED;3ED\x1b(B and some text\n", 2000) };
}

}  // namespace bench
