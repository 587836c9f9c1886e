// What an input of a fuzzer, or a random one, decides.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "tests/support/random.h"

/// A harness's entry. Returns 0; ends the program where a promise is broken.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace ulmar::fuzz {

/// Bytes are used up one by one; where there are none left every choice is the first.
class Choices {
 public:
  Choices(const std::uint8_t* data, std::size_t size) : bytes_(data, size) {}

  bool atEnd() const { return bytes_.empty(); }
  std::span<const std::uint8_t> rest() const { return bytes_; }

  std::uint8_t byte() {
    if (bytes_.empty()) return 0;
    const std::uint8_t first = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return first;
  }

  /// 0 to bound - 1, bound at most 65536.
  int below(int bound) {
    const int value = bound > 256 ? byte() * 256 + byte() : byte();
    return value % bound;
  }
  bool yes() { return below(2) == 1; }
  float gain() { return static_cast<float>(below(65) - 32) / 16.0F; }

  /// Of a generator of its own, so that an input need not hold every sample.
  test::Random random() { return test::Random(byte()); }

 private:
  std::span<const std::uint8_t> bytes_;
};

}  // namespace ulmar::fuzz
