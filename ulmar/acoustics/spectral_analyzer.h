// The library's spectral analysis toolkit with the tables and work areas that it takes,
// and its window curves.
#pragma once

#include <span>
#include <vector>

#include "ulmar/base/host_long.h"
#include "ulmar/spectral/complex.h"

namespace ulmar::acoustics {

/// Power spectra and cepstra of one size, in single precision. Results stand until the
/// next call.
class SpectralAnalyzer {
 public:
  static constexpr int kMinSize = 8;
  static constexpr int kMaxSize = 1 << 24;

  /// size: of the transforms, in samples. Throws Error unless it is a power of two
  /// within the limits.
  explicit SpectralAnalyzer(int size);

  int size() const { return size_; }

  /// |X[k]|^2 for k = 0 ... size/2, that is at k / size of the sample rate, unscaled.
  /// samples: size at most; zeros follow.
  std::span<const float> power(std::span<const float> samples);

  /// Real cepstrum at quefrencies of 0 ... size/2 samples. Logarithms are natural and
  /// have a floor of ln 1e-6: bring samples to a peak near 1. samples as in power().
  std::span<const float> cepstrum(std::span<const float> samples);

 private:
  void take(std::span<const float> samples);

  int size_;
  HostLong log2Size_;
  std::vector<HostLong> bitRev_;
  std::vector<cmplx> twiddles_;
  std::vector<float> samples_;
  std::vector<float> result_;
  std::vector<cmplx> spectrum_;
  std::vector<cmplx> work_;
};

/// A whole Hann window: `size` values at the midpoints of as many steps, even.
std::vector<float> hannWindow(int size);

/// The falling half of a Hann window, `size` values from near 1 to near 0.
std::vector<float> fadeOut(int size);

}  // namespace ulmar::acoustics
