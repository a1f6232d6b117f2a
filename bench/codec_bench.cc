// Codecs on one mebibyte each, into a buffer that is warm.
#include <benchmark/benchmark.h>

#include <iterator>
#include <string>

#include <kelmime/charset.h>
#include <kelmime/decoding.h>
#include <kelmime/encoding.h>
#include <kelmime/format_flowed.h>

#include "measure.h"

namespace {

void decoded(benchmark::State& state, std::string const& pattern, char const* encoding) {
  measure(state, repeated(pattern, 1 << 20), [encoding](std::string const& input, std::string& output) {
    kel::mime_decode(input.begin(), input.end(), std::back_inserter(output), encoding, nullptr, /*binary*/ false);
  });
}

void encoded(benchmark::State& state, std::string const& pattern, char const* encoding) {
  measure(state, repeated(pattern, 1 << 20), [encoding](std::string const& input, std::string& output) {
    kel::encode(input.begin(), input.end(), std::back_inserter(output), encoding);
  });
}

void converted(benchmark::State& state, std::string const& pattern, char const* declared) {
  measure(state, repeated(pattern, 1 << 20), [declared](std::string const& input, std::string& output) {
    std::string charset = declared;
    kel::convert_to_utf8(input.begin(), input.end(), std::back_inserter(output), charset, {}, nullptr);
  });
}

void deflowed(benchmark::State& state) {
  measure(state, repeated("> quoted and \n> flowed\ntext \nthat goes on\n", 1 << 20),
          [](std::string const& input, std::string& output) {
            kel::format_deflow(input.begin(), input.end(), std::back_inserter(output), /*flowed*/ true, /*delsp*/ false,
                               /*keep_unquoted*/ false);
          });
}

std::string const text = "A line of plain text, as it stands in most messages.\n";

BENCHMARK_CAPTURE(decoded, base64, std::string(76, 'Q') + "\n", "base64");
BENCHMARK_CAPTURE(decoded, quoted_printable, "caf=C3=A9 and much =\nmore =C3=A9=C3=A9=C3=A9\n", "quoted-printable");
BENCHMARK_CAPTURE(encoded, base64, text, "base64");
BENCHMARK_CAPTURE(encoded, quoted_printable, "caf\xc3\xa9 and more\n", "quoted-printable");
BENCHMARK_CAPTURE(converted, ascii, text, "us-ascii");
BENCHMARK_CAPTURE(converted, utf_8, "\xd0\x9f\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82, caf\xc3\xa9\n", "utf-8");
BENCHMARK_CAPTURE(converted, iso_8859_1, "caf\xe9 au lait\n", "iso-8859-1");
BENCHMARK_CAPTURE(converted, windows_1252, "caf\xe9 \x93quoted\x94\n", "windows-1252");
BENCHMARK_CAPTURE(converted, koi8_r, "\xf0\xd2\xc9\xd7\xc5\xd4\n", "koi8-r");
BENCHMARK_CAPTURE(converted, iso_2022_jp, "\x1b$B;3ED\x1b(B text\n", "iso-2022-jp");
BENCHMARK_CAPTURE(converted, gb18030, "\xc4\xe3\xba\xc3 text\n", "gb18030");
BENCHMARK(deflowed);

}  // namespace
