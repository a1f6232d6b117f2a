// Whole messages: building the tree, and decoding all of it.
#include <benchmark/benchmark.h>

#include <string>

#include <kelmime/body.h>

#include "measure.h"

namespace {

std::string header_block() {
  return "Return-Path: <ann@example.org>\n"
         "Received: from mail.example.org (mail.example.org [192.0.2.1])\n\tby mx.example.net (Postfix) with ESMTPS id "
         "4T1x2y3z\n"
         "\tfor <bob@example.net>; Tue,  2 Jan 2024 09:00:01 +0100 (CET)\n"
         "From: =?utf-8?q?Ann_Ex=C3=A4mple?= <ann@example.org>\nTo: Bob <bob@example.net>, Carol <carol@example.net>\n"
         "Subject: A quite ordinary subject line\nDate: Tue, 2 Jan 2024 09:00:00 +0100\n"
         "Message-ID: <20240102090000.12345@example.org>\nReferences: <a@example.org> "
         "<b@example.org>\n\t<c@example.org>\n"
         "MIME-Version: 1.0\n";
}

// A newsletter: both alternatives in quoted-printable.
std::string newsletter() {
  std::string const line =
      "Liebe Gr=C3=BC=C3=9Fe aus M=C3=BCnchen, und viele weitere W=C3=B6rter bis zum Rand=\n hier.\n";
  return header_block() +
         "Content-Type: multipart/alternative; boundary=\"=_alt\"\n\n\n--=_alt\n"
         "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: quoted-printable\n\n" +
         repeated(line, 8 << 10) +
         "--=_alt\nContent-Type: text/html; charset=utf-8\nContent-Transfer-Encoding: quoted-printable\n\n" +
         repeated("<p style=3D\"margin:0\">" + line + "</p>\n", 40 << 10) + "--=_alt--\n";
}

std::string with_attachment(std::size_t bytes) {
  std::string const line =
      repeated("QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVphYmNkZWZnaGlqa2xtbm9wcXJz", 76).substr(0, 76) + "\n";
  return header_block() +
         "Content-Type: multipart/mixed; boundary=\"=_mix\"\n\n\n--=_mix\nContent-Type: text/plain\n\nSee it.\n"
         "--=_mix\nContent-Type: application/pdf; name=\"plan.pdf\"\nContent-Disposition: attachment; "
         "filename=\"plan.pdf\"\n"
         "Content-Transfer-Encoding: base64\n\n" +
         repeated(line, bytes) + "--=_mix--\n";
}

std::string plain_note() {
  return header_block() + "Content-Type: text/plain; charset=us-ascii\n\n" +
         repeated("Just a line of text, as people write them.\n", 2 << 10);
}

std::string many_small_parts() {
  return header_block() + "Content-Type: multipart/digest; boundary=d\n\n\n" +
         repeated("--d\nContent-Type: text/plain; charset=iso-8859-1\nContent-Disposition: inline\n\nshort\n",
                  64 << 10) +
         "--d--\n";
}

std::string deep() {
  std::string text = header_block();
  for (int level = 0; level < 200; ++level) {
    std::string const boundary = "b" + std::to_string(level);
    text += "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n\n--" + boundary + "\n";
  }
  return text + "\n" + repeated("-- text with a dash line\n", 1 << 20);
}

void build_tree(benchmark::State& state, std::string const& text) {
  for (auto _ : state)
    benchmark::DoNotOptimize(kel::parse_body(text.data(), text.data() + text.size())->mime_type());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

std::size_t decode_all(kel::body_part_t& part) {
  std::size_t bytes = part.decoded_body().size();
  for (kel::body_part_t& child : part.subparts())
    bytes += decode_all(child);
  return bytes;
}

void decode_tree(benchmark::State& state, std::string const& text) {
  for (auto _ : state)
    benchmark::DoNotOptimize(decode_all(*kel::parse_body(text.data(), text.data() + text.size())));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

BENCHMARK_CAPTURE(build_tree, plain_note, plain_note());
BENCHMARK_CAPTURE(build_tree, newsletter, newsletter());
BENCHMARK_CAPTURE(decode_tree, plain_note, plain_note());
BENCHMARK_CAPTURE(decode_tree, newsletter, newsletter());
BENCHMARK_CAPTURE(decode_tree, attachment_1_MiB, with_attachment(1 << 20));
BENCHMARK_CAPTURE(decode_tree, attachment_32_MiB, with_attachment(32 << 20));
BENCHMARK_CAPTURE(decode_tree, many_small_parts, many_small_parts());
BENCHMARK_CAPTURE(decode_tree, deep, deep());

}  // namespace
