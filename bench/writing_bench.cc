// The way out: text made ready for sending, and finished messages made fit for narrow transports.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include <kelmime/format_flowed.h>
#include <kelmime/reencode.h>

#include "measure.h"

namespace {

// --- Text --------------------------------------------------------------------------------------------------------

void flowed(benchmark::State& state, std::string const& paragraph) {
  measure(state, repeated(paragraph, 1 << 20), [](std::string const& input, std::string& output) {
    kel::format_flow(input.begin(), input.end(), std::back_inserter(output), /*delsp*/ false, 72,
                     /*keep_unquoted*/ false, /*count_characters*/ false);
  });
}

std::string const sentence =
    "Paragraphs are typed without line breaks, and M\u00FCller reads them as they were typed. ";

BENCHMARK_CAPTURE(flowed, paragraphs, repeated(sentence, 600) + "End.\n");
BENCHMARK_CAPTURE(flowed, quotes, ">> " + repeated(sentence, 200) + "End.\n");

// --- Finished messages -------------------------------------------------------------------------------------------

std::string message(std::string const& subject, std::string const& text) {
  return "From: Ann Example <ann@example.org>\nTo: J\u00F6rg M\u00FCller <joerg@example.net>, Bob <bob@example.net>\n"
         "Subject: " +
         subject +
         "\nDate: Tue, 2 Jan 2024 09:00:00 +0100\nMessage-ID: <20240102090000.12345@example.org>\n"
         "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=\"=_mix\"\n\n\n--=_mix\n"
         "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\n" +
         text + "\n--=_mix\nContent-Type: application/pdf\n" +
         "Content-Disposition: attachment; filename=\"\u00DCbersicht.pdf\"\nContent-Transfer-Encoding: base64\n\n" +
         repeated(std::string(76, 'Q') + "\n", 2 << 10) + "\n--=_mix--\n";
}

std::vector<std::string> mailbox() {
  std::vector<std::string> messages;
  for (int number = 0; number < 1000; ++number)
    messages.push_back(message("Gr\u00FC\u00DFe aus M\u00FCnchen " + std::to_string(number), sentence));
  return messages;
}

void encode_headers_of_1000_messages(benchmark::State& state) {
  auto const messages = mailbox();
  std::size_t bytes = 0;
  for (auto _ : state) {
    for (std::string const& each : messages) {
      std::string output;
      kel::encode_headers(each.begin(), each.end(), std::back_inserter(output));
      benchmark::DoNotOptimize(output.data());
      bytes += each.size();
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

void reencoded(benchmark::State& state, std::string const& input) {
  measure(state, input, [](std::string const& text, std::string& output) {
    kel::reencode(text.begin(), text.end(), std::back_inserter(output));
  });
}

BENCHMARK(encode_headers_of_1000_messages);
BENCHMARK_CAPTURE(reencoded, long_lines, message("Long", repeated(repeated(sentence, 600) + "\n", 1 << 20)));
BENCHMARK_CAPTURE(reencoded, short_lines, message("Short", repeated(sentence + "\n", 1 << 20)));

}  // namespace
