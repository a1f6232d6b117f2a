// Runs one fuzz entry over saved inputs: the main program of the fuzzers where there is no libFuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

// The input lies in a block of its exact size, so that the sanitizer sees the first byte read too far.
void replay(std::filesystem::path const& file) {
  std::ifstream stream(file, std::ios::binary);
  std::vector<char> const bytes(std::istreambuf_iterator<char>(stream), {});
  auto const exact = std::make_unique<std::uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), exact.get());
  LLVMFuzzerTestOneInput(exact.get(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    for (auto const& file : std::filesystem::directory_iterator(argv[i])) {
      replay(file.path());
      ++count;
    }
  }
  std::printf("%d inputs replayed\n", count);
  return count > 0 ? 0 : 1;
}
