// Whole messages. "parse" is what opening a message costs, "decode" everything that can be asked of it.
#include <benchmark/benchmark.h>

#include <kelmime/body.h>
#include <kelmime/quick_parse_headers.h>

#include "messages.h"

namespace {

using bench::message_t;

void count_bytes(benchmark::State& state, std::string const& bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void parse(benchmark::State& state, std::string const& bytes) {
  for (auto _ : state)
    benchmark::DoNotOptimize(kel::parse_body(bytes.data(), bytes.data() + bytes.size()));
  count_bytes(state, bytes);
}

void decode(benchmark::State& state, std::string const& bytes) {
  for (auto _ : state) {
    auto const message = kel::parse_body(bytes.data(), bytes.data() + bytes.size());
    std::vector<kel::body_part_t*> waiting = { message.get() };
    while (!waiting.empty()) {
      kel::body_part_t& part = *waiting.back();
      waiting.pop_back();
      benchmark::DoNotOptimize(part.decoded_end());
      for (std::size_t i = 0; i < part.num_subparts(); ++i)
        waiting.push_back(&part.subpart(i));
    }
  }
  count_bytes(state, bytes);
}

void addresses(benchmark::State& state, std::string const& bytes) {
  auto const message = kel::parse_body(bytes.data(), bytes.data() + bytes.size());
  for (auto _ : state) {
    std::vector<std::string> values;
    message->get_header_bodies({ "cc", "split", "address" }, values);
    benchmark::DoNotOptimize(values.data());
  }
  count_bytes(state, bytes);
}

void quick_scan(benchmark::State& state, std::string const& bytes) {
  for (auto _ : state) {
    char const* cursor = bytes.data();
    benchmark::DoNotOptimize(
        kel::quick_parse_headers(cursor, bytes.data() + bytes.size(), { "subject", "from", "date" }));
  }
}

using measured_t = void (*)(benchmark::State&, std::string const&);

void add(char const* what, measured_t measured, message_t const& message) {
  benchmark::RegisterBenchmark((std::string(what) + "/" + message.name).c_str(),
                               [measured, bytes = message.bytes](benchmark::State& state) { measured(state, bytes); });
}

[[maybe_unused]] bool const is_registered = [] {
  for (auto const make : { bench::note, bench::newsletter, bench::recipients, bench::attachment, bench::parts,
                           bench::nested, bench::japanese }) {
    message_t const message = make();
    add("parse", parse, message);
    add("decode", decode, message);
  }
  add("addresses", addresses, bench::recipients());
  add("quick_scan", quick_scan, bench::newsletter());
  return true;
}();

}  // namespace
