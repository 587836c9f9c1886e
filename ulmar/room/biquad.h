// Butterworth low-pass and high-pass filters in second-order sections, by the bilinear
// transform.
#pragma once

#include <array>
#include <cmath>
#include <numbers>

#include "ulmar/host/portable_precision.h"

namespace ulmar::room {

enum class PassBand { low, high };

/// One second-order section in transposed direct form II, double precision.
class Biquad {
 public:
  /// cutoff below half the sample rate, both in Hz; q: quality factor of the pole pair.
  Biquad(PassBand pass, double cutoff, double q, double sampleRate) {
    const double k = std::tan(std::numbers::pi * cutoff / sampleRate);
    const double scale = 1.0 / (1.0 + k / q + k * k);
    b0_ = withPortablePrecision((pass == PassBand::low ? k * k : 1.0) * scale);
    b1_ = pass == PassBand::low ? 2.0 * b0_ : -2.0 * b0_;
    a1_ = withPortablePrecision(2.0 * (k * k - 1.0) * scale);
    a2_ = withPortablePrecision((1.0 - k / q + k * k) * scale);
  }

  double operator()(double x) {
    const double y = b0_ * x + s1_;
    s1_ = b1_ * x - a1_ * y + s2_;
    s2_ = b0_ * x - a2_ * y;
    return y;
  }

 private:
  double b0_, b1_, a1_, a2_;
  double s1_ = 0.0;
  double s2_ = 0.0;
};

/// The sections of a filter of fourth order, to be passed through one after another. At
/// one cutoff the energies of low-pass and high-pass add up to 1 at every frequency.
inline std::array<Biquad, 2> butterworth4(PassBand pass, double cutoff,
                                          double sampleRate) {
  const double lowQ = 0.5 / std::cos(std::numbers::pi / 8.0);
  const double highQ = 0.5 / std::cos(3.0 * std::numbers::pi / 8.0);
  return {Biquad(pass, cutoff, lowQ, sampleRate),
          Biquad(pass, cutoff, highQ, sampleRate)};
}

}  // namespace ulmar::room
