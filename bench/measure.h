// What all benchmarks on texts share.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

// At least so many bytes of a text.
inline std::string repeated(std::string const& text, std::size_t bytes) {
  std::string result;
  result.reserve(bytes + text.size());
  while (result.size() < bytes)
    result += text;
  return result;
}

// Runs on an input, into a buffer that is warm.
template <typename Run>
void measure(benchmark::State& state, std::string const& input, Run run) {
  std::string output;
  for (auto _ : state) {
    output.clear();
    run(input, output);
    benchmark::DoNotOptimize(output.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(input.size()));
}
