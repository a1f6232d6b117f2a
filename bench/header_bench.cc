// Header blocks: read in full and scanned for an index, and dates.
#include <benchmark/benchmark.h>

#include <map>
#include <string>

#include <kelmime/headers.h>
#include <kelmime/quick_parse_headers.h>
#include <kelmime/rfc822_date_parser.h>

namespace {

std::string repeated(std::string const& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i)
    result += text;
  return result;
}

std::string const usual =
    "Return-Path: <ann@example.org>\n" +
    repeated(
        "Received: from a.example.org (a.example.org [192.0.2.1])\n\tby b.example.net with ESMTPS id 12345\n"
        "\tfor <ann@example.net>; Mon, 01 Jan 2024 10:20:31 +0200\n",
        6) +
    "From: Ann Example <ann@example.org>\nTo: Bob <bob@example.net>, Carol <carol@example.net>\n"
    "Subject: A quite ordinary subject line\nDate: Mon, 01 Jan 2024 10:20:30 +0200\n"
    "Message-ID: <1234567890.1@example.org>\nMIME-Version: 1.0\n"
    "Content-Type: text/plain; charset=utf-8; format=flowed\n\n";

std::string const encoded_words =
    repeated("X-Header: =?utf-8?q?A_value_with_accents:_=C3=A9=C3=A8=C3=A0?=\n =?utf-8?b?w6nDqMOg?=\n", 50) + "\n";

std::string const japanese = repeated("X-Header: =?iso-2022-jp?b?GyRCOzNFRBsoQg==?=\n", 50) + "\n";

void count_bytes(benchmark::State& state, std::string const& text) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void read_block(benchmark::State& state, std::string const& text) {
  for (auto _ : state) {
    std::multimap<std::string, std::string> headers;
    kel::mime_errors_handler_t errors;
    kel::parse_headers(text.data(), text.data() + text.size(), headers, errors, "", {});
    benchmark::DoNotOptimize(headers.size());
  }
  count_bytes(state, text);
}

void quick_scan(benchmark::State& state) {
  for (auto _ : state) {
    char const* cursor = usual.data();
    benchmark::DoNotOptimize(
        kel::quick_parse_headers(cursor, usual.data() + usual.size(), { "subject", "from", "date" }).size());
  }
  count_bytes(state, usual);
}

void parse_date(benchmark::State& state) {
  std::string const text = "Mon, 01 Jan 2024 10:20:30 +0200 (CEST)";
  for (auto _ : state) {
    kel::mime_errors_handler_t errors;
    benchmark::DoNotOptimize(kel::rfc822_date_t(text.begin(), text.end(), errors).canonical_format().size());
  }
  count_bytes(state, text);
}

BENCHMARK_CAPTURE(read_block, usual, usual);
BENCHMARK_CAPTURE(read_block, encoded_words, encoded_words);
BENCHMARK_CAPTURE(read_block, japanese, japanese);
BENCHMARK(quick_scan);
BENCHMARK(parse_date);

}  // namespace
