// A seeded source of numbers that is the same in every build: integers only, and real
// values with few enough bits that every conversion is exact.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ulmar::test {

/// splitmix64 (Steele, Lea & Flood, OOPSLA 2014).
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
  }

  /// Uniform in [0, bound).
  int below(int bound) {
    return static_cast<int>(next() % static_cast<std::uint64_t>(bound));
  }

  /// Uniform in [-1, 1), a multiple of 2^-23.
  float sample() {
    return static_cast<float>(static_cast<int>(next() >> 40) - (1 << 23)) * 0x1p-23F;
  }

  template <typename Sample = float>
  std::vector<Sample> signal(int length) {
    std::vector<Sample> values(static_cast<std::size_t>(length));
    for (Sample& value : values) value = Sample{sample()};
    return values;
  }

 private:
  std::uint64_t state_;
};

}  // namespace ulmar::test
