// Owns tables and buffers for libulmar's power spectrum and cepstrum. Hann windows.
#pragma once

#include <span>
#include <vector>

#include "ulmar/base/host_long.h"
#include "ulmar/spectral/complex.h"

namespace ulmar::acoustics {

/// Power spectra and cepstra of one size, in single precision. A result is valid until
/// the next call.
class SpectralAnalyzer {
 public:
  static constexpr int kMinSize = 8;
  static constexpr int kMaxSize = 1 << 24;

  /// size: of the transforms, in samples. Throws Error unless it is a power of two from
  /// kMinSize to kMaxSize.
  explicit SpectralAnalyzer(int size);

  int size() const { return size_; }

  /// |X[k]|^2 for k = 0 ... size/2, at k / size of the sample rate, without any
  /// scaling. samples: padded with zeros to the size. Throws Error if there are more.
  std::span<const float> power(std::span<const float> samples);

  /// Real cepstrum at quefrencies of 0 ... size/2 samples: the inverse transform of the
  /// natural logarithm of the magnitude, but at DC and Nyquist of the real part (see
  /// rceps). What is below 1e-6 counts as 1e-6, a negative real part too, so samples
  /// should have a peak near 1. samples: as in power().
  std::span<const float> cepstrum(std::span<const float> samples);

 private:
  void load(std::span<const float> samples);

  int size_;
  HostLong log2Size_;
  std::vector<HostLong> bitRev_;
  std::vector<cmplx> twiddles_;
  std::vector<float> samples_;
  std::vector<float> result_;
  std::vector<cmplx> spectrum_;
  std::vector<cmplx> work_;
};

/// A Hann window of `size` values, which is even. It is sampled at the middles of its
/// steps, so that it is symmetric and no value is 0.
std::vector<float> hannWindow(int size);

/// The falling half of a Hann window, `size` values from near 1 to near 0.
std::vector<float> fadeOut(int size);

}  // namespace ulmar::acoustics
