// Floating point samples to integers.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>

namespace ulmar::audio {

/// Rounds to 16, 24 or 32 bits and scales full scale to 2^31, as libsndfile's integer
/// calls keep the upper bits.
class Quantiser {
 public:
  Quantiser(int bits, bool dither)
      : steps_(std::ldexp(1.0, bits - 1)),
        stepSize_(1 << (32 - bits)),
        dither_(dither) {}

  int operator()(float sample) {
    const double value = static_cast<double>(sample) * steps_;
    if (value < -steps_ - 0.5 || value > steps_ - 0.5) ++limited_;
    const double noise = dither_ ? uniform() - uniform() : 0.0;
    const double kept = std::clamp(value + noise, -steps_, steps_ - 1.0);
    return static_cast<int>(std::lrint(kept)) * stepSize_;
  }

  /// Samples that were beyond full scale.
  std::int64_t limited() const { return limited_; }

 private:
  // From 0 to 1.
  double uniform() { return static_cast<double>(random_()) * 0x1p-32; }

  double steps_;
  int stepSize_;
  bool dither_;
  std::mt19937 random_;  // NOLINT(cert-msc51-cpp): the same in every run
  std::int64_t limited_ = 0;
};

}  // namespace ulmar::audio
