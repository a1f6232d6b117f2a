// Values of headers by field path, the direct road beside it, and address lists.
#include <benchmark/benchmark.h>

#include <string>

#include <header/parameters.h>
#include <kelmime/header_parser.h>
#include <kelmime/header_parsers.h>

namespace {

constexpr char const* content_type =
    "multipart/signed; boundary=\"----=_Part_1_2.3\"; protocol=\"application/pgp-signature\"; "
    "micalg=pgp-sha256; charset=utf-8";

void count_bytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void parameter_by_path(benchmark::State& state) {
  std::string const body = content_type;
  for (auto _ : state)
    benchmark::DoNotOptimize(kel::header_parser::parse_from_header("content-type.parameter.split.boundary", body));
  count_bytes(state, body.size());
}
BENCHMARK(parameter_by_path);

void parameters_directly(benchmark::State& state) {
  std::string const body = content_type;
  for (auto _ : state)
    benchmark::DoNotOptimize(kel::header::parse_structured_value(body));
  count_bytes(state, body.size());
}
BENCHMARK(parameters_directly);

void many_parameters(benchmark::State& state) {
  std::string body = "a/b";
  for (std::int64_t i = 0; i < state.range(0); ++i)
    body += "; x*" + std::to_string(state.range(0) - i) + "*=%41";
  for (auto _ : state)
    benchmark::DoNotOptimize(kel::header::parse_structured_value(body));
  count_bytes(state, body.size());
}
BENCHMARK(many_parameters)->Arg(100)->Arg(10'000);

void address_list(benchmark::State& state) {
  std::string body;
  for (std::int64_t i = 0; i < state.range(0); ++i)
    body += "\"Doe, John\" <john" + std::to_string(i) + "@example.org>, ";
  kel::field_path_t const path = { "to", "split", "address" };
  for (auto _ : state)
    benchmark::DoNotOptimize(kel::field_parsers_init::parse_bodies_with_field_path(path, { body }));
  count_bytes(state, body.size());
}
BENCHMARK(address_list)->Arg(10)->Arg(10'000);

void identifiers(benchmark::State& state) {
  std::string body;
  for (int i = 0; i < 100; ++i)
    body += "<20240101." + std::to_string(i) + "@mail.example.org>\n ";
  for (auto _ : state)
    benchmark::DoNotOptimize(kel::header_parser::parse_all_from_header("references.split", body));
  count_bytes(state, body.size());
}
BENCHMARK(identifiers);

}  // namespace
