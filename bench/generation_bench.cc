// Writing trees: copied as they came, with one header set, and made anew.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include <kelmime/body.h>

namespace {

constexpr std::size_t attachment_bytes = 24 << 20;  // 32 MiB and a little in base64

std::vector<char> draft_bytes() {
  kel::body_part_t draft;
  draft.set_header("from", "Ann <ann@example.org>");
  draft.set_text_body("See it.\n", kel::unset_string, kel::unset_string, /*is_signed*/ false);
  std::string data(attachment_bytes, '\0');
  for (std::size_t i = 0; i < data.size(); ++i)
    data[i] = static_cast<char>(i * 31 + i / 251);
  draft.add_attachment(data, "plan.pdf", "");
  std::vector<char> bytes;
  draft.generate_rfc822(std::back_inserter(bytes));
  return bytes;
}

void write_repeatedly(benchmark::State& state, kel::body_part_t& message) {
  std::size_t size = 0;
  for (auto _ : state) {
    std::vector<char> out;
    message.generate_rfc822(std::back_inserter(out));
    benchmark::DoNotOptimize(out.data());
    size = out.size();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

void copy_of_32_MiB(benchmark::State& state) {
  auto const bytes = draft_bytes();
  for (auto _ : state) {
    std::vector<char> copy(bytes.begin(), bytes.end());
    benchmark::DoNotOptimize(copy.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(copy_of_32_MiB);

void write_32_MiB_unchanged(benchmark::State& state) {
  auto bytes = draft_bytes();
  auto const message = kel::create_body_part(bytes, /*decode*/ false);
  write_repeatedly(state, *message);
}
BENCHMARK(write_32_MiB_unchanged);

void write_32_MiB_with_a_header_set(benchmark::State& state) {
  auto bytes = draft_bytes();
  auto const message = kel::create_body_part(bytes, /*decode*/ false);
  message->set_header("subject", "new");
  write_repeatedly(state, *message);
}
BENCHMARK(write_32_MiB_with_a_header_set);

void write_32_MiB_anew(benchmark::State& state) {
  auto bytes = draft_bytes();
  auto const message = kel::create_body_part(bytes, /*decode*/ false);
  message->subpart(1).set_header("content-transfer-encoding", "base64");
  write_repeatedly(state, *message);
}
BENCHMARK(write_32_MiB_anew);

// Each level is written once, however deep.
void write_nested_multiparts_anew(benchmark::State& state) {
  std::string text;
  for (int level = 0; level < 200; ++level) {
    std::string const boundary = "b" + std::to_string(level);
    text += "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n--" + boundary + "\n";
  }
  text += "\n";
  while (text.size() < (4u << 20))
    text += "--a line that begins like a delimiter\n";
  auto const message = kel::parse_body(text.data(), text.data() + text.size());
  kel::body_part_t* leaf = message.get();
  while (!leaf->subparts().empty())
    leaf = &leaf->subpart(0);
  leaf->set_header("subject", "new");
  write_repeatedly(state, *message);
}
BENCHMARK(write_nested_multiparts_anew);

}  // namespace
