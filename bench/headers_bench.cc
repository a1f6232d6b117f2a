// Header blocks by what their values need, scanned for an index, and values on their way in and out.
#include <benchmark/benchmark.h>

#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <kelmime/encoded_word_output.h>
#include <kelmime/headers.h>
#include <kelmime/idn_wrapper.h>
#include <kelmime/quick_parse_headers.h>
#include <kelmime/rfc822_date_parser.h>

namespace {

std::string repeated(std::string const& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i)
    result += text;
  return result;
}

std::string const delivered =
    "Return-Path: <bounces+1234567@lists.example.org>\n" +
    repeated(
        "Received: from relay.example.org (relay.example.org [192.0.2.25])\n"
        "        by mx.example.net (Postfix) with ESMTPS id 4T1Xyz1234z9abc\n"
        "        for <ann@example.net>; Mon,  1 Jan 2024 10:20:31 +0200 (CEST)\n",
        5) +
    "DKIM-Signature: v=1; a=rsa-sha256; c=relaxed/relaxed; d=example.org; s=2024;\n"
    "        h=from:to:subject:date:message-id; bh=47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=;\n"
    "        b=JJmYaFzKyDwPPuq4kDl1ZqYfGQhMHgMK6cVbW8zc3eAy5oGx1jUQJ0m3yU9s8w2L4pV7fX5bN6tR\n"
    "From: Ann Example <ann@example.org>\nTo: Bob <bob@example.net>, Carol <carol@example.net>\n"
    "Subject: A quite ordinary subject line\nDate: Mon, 01 Jan 2024 10:20:30 +0200\n"
    "Message-ID: <1234567890.1@example.org>\nMIME-Version: 1.0\n"
    "Content-Type: text/plain; charset=utf-8; format=flowed\n\n";

void count_bytes(benchmark::State& state, std::string const& text) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

template <typename Headers>
void read_block(benchmark::State& state, std::string const& text) {
  for (auto _ : state) {
    Headers headers;
    kel::mime_errors_handler_t errors;
    kel::parse_headers(text.data(), text.data() + text.size(), headers, errors, "", {});
    benchmark::DoNotOptimize(headers.size());
  }
  count_bytes(state, text);
}

constexpr auto read_sorted = read_block<std::multimap<std::string, std::string>>;
constexpr auto read_in_order = read_block<std::vector<kel::header_pair_t>>;

void quick_scan(benchmark::State& state) {
  for (auto _ : state) {
    char const* cursor = delivered.data();
    benchmark::DoNotOptimize(
        kel::quick_parse_headers(cursor, delivered.data() + delivered.size(), { "subject", "from", "date" }).size());
  }
  count_bytes(state, delivered);
}

void parse_date(benchmark::State& state) {
  std::string const text = "Mon, 01 Jan 2024 10:20:30 +0200 (CEST)";
  for (auto _ : state) {
    kel::mime_errors_handler_t errors;
    benchmark::DoNotOptimize(kel::rfc822_date_t(text.begin(), text.end(), errors).canonical_format().size());
  }
  count_bytes(state, text);
}

void encode_value(benchmark::State& state) {
  std::string const value = repeated("Gr\u00FC\u00DFe aus M\u00FCnchen and further plain words ", 20);
  for (auto _ : state) {
    std::string line;
    kel::encode_single_words(value.begin(), value.end(), std::back_inserter(line));
    benchmark::DoNotOptimize(line.size());
  }
  count_bytes(state, value);
}

void read_domains(benchmark::State& state) {
  std::string const value = repeated("x <a@xn--mnchen-3ya.de>, ", 20);
  for (auto _ : state)
    benchmark::DoNotOptimize(kel::idn::header_domains_to_utf8(value).size());
  count_bytes(state, value);
}

BENCHMARK_CAPTURE(read_sorted, delivered, delivered);
BENCHMARK_CAPTURE(read_in_order, delivered, delivered);
BENCHMARK_CAPTURE(read_in_order, short_fields, repeated("X-Field: value\n", 1000));
BENCHMARK_CAPTURE(read_in_order, long_field, "References: " + repeated("<1234567890.1@example.org>\n ", 1000));
BENCHMARK_CAPTURE(read_in_order, utf8, repeated("X-Field: Gr\u00FC\u00DFe aus M\u00FCnchen\n", 1000));
BENCHMARK_CAPTURE(read_in_order, words, repeated("X-Field: =?utf-8?q?Gr=C3=BC=C3=9Fe?= =?utf-8?q?_aus?=\n", 1000));
BENCHMARK_CAPTURE(read_in_order, japanese, repeated("X-Field: =?iso-2022-jp?b?GyRCOzNFRBsoQg==?=\n", 1000));
BENCHMARK(quick_scan);
BENCHMARK(parse_date);
BENCHMARK(encode_value);
BENCHMARK(read_domains);

}  // namespace
