// Runs a harness without a fuzzer:
//   fuzz_NAME FILE|FOLDER...         the inputs of a corpus
//   fuzz_NAME --random COUNT [SEED]  so many random ones
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/choices.h"

namespace {

int count = 0;

void run(const std::vector<std::uint8_t>& bytes) {
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  ++count;
}

void runFile(const std::filesystem::path& path) {
  std::fprintf(stderr, "%s\n", path.c_str());
  std::ifstream file(path, std::ios::binary);
  run({std::istreambuf_iterator<char>(file), {}});
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (args.size() >= 2 && args[0] == "--random") {
    const auto seed = args.size() > 2 ? std::strtoull(args[2].c_str(), nullptr, 10) : 1;
    const int number = std::atoi(args[1].c_str());
    for (int i = 0; i < number; ++i) {
      ulmar::test::Random random(seed + static_cast<std::uint64_t>(i));
      std::vector<std::uint8_t> bytes(static_cast<std::size_t>(random.below(200)));
      for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random.below(256));
      std::fprintf(stderr, "\rseed %llu", seed + static_cast<unsigned long long>(i));
      run(bytes);
    }
    std::fputc('\n', stderr);
  } else {
    for (const std::string& arg : args) {
      if (!std::filesystem::is_directory(arg)) {
        runFile(arg);
        continue;
      }
      for (const auto& entry : std::filesystem::directory_iterator(arg)) {
        runFile(entry.path());
      }
    }
  }
  std::printf("%d inputs, nothing found\n", count);
  return count > 0 ? 0 : 1;
}
