#include "ulmar/acoustics/spectral_analyzer.h"

#include <algorithm>
#include <bit>

#include "ulmar/host/error.h"
#include "ulmar/spectral/OstinFFT.h"
#include "ulmar/spectral/UpdateOstinFFT.h"

namespace ulmar::acoustics {
namespace {

constexpr HostLong kRaisedCosine = 3;  // FillWinTab's code

std::vector<float> risingHalf(int size) {
  std::vector<float> curve(static_cast<std::size_t>(size));
  FillWinTab(size, kRaisedCosine, 0, false, curve.data());
  return curve;
}

}  // namespace

SpectralAnalyzer::SpectralAnalyzer(int size) : size_(size) {
  if (size < kMinSize || size > kMaxSize ||
      !std::has_single_bit(static_cast<unsigned>(size))) {
    fail("the transform has ", size, " samples, and must have a power of two from ",
         kMinSize, " to ", kMaxSize);
  }
  const auto length = static_cast<std::size_t>(size);
  log2Size_ = std::countr_zero(length);
  bitRev_.resize(length);
  twiddles_.resize(length / 2);
  samples_.resize(length);
  result_.resize(length);
  work_.resize(length / 2);
  UpdateFFTTables(bitRev_.data(), twiddles_.data(), size);
}

void SpectralAnalyzer::load(std::span<const float> samples) {
  if (samples.size() > samples_.size()) {
    fail("a signal has ", samples.size(), " samples, and the transform takes ", size_);
  }
  const auto end = std::copy(samples.begin(), samples.end(), samples_.begin());
  std::fill(end, samples_.end(), 0.0F);
}

std::span<const float> SpectralAnalyzer::power(std::span<const float> samples) {
  load(samples);
  pwrfft(1.0F, samples_.data(), result_.data(), work_.data(), bitRev_.data(),
         twiddles_.data(), log2Size_);
  return {result_.data(), result_.size() / 2 + 1};
}

std::span<const float> SpectralAnalyzer::cepstrum(std::span<const float> samples) {
  load(samples);
  spectrum_.resize(samples_.size());
  work_.resize(samples_.size());
  float level = 0.0F;
  rceps(size_, &level, samples_.data(), result_.data(), spectrum_.data(), work_.data(),
        bitRev_.data(), twiddles_.data(), 0);
  return {result_.data(), result_.size() / 2 + 1};
}

std::vector<float> hannWindow(int size) {
  std::vector<float> window = risingHalf(size / 2);
  window.insert(window.end(), window.rbegin(), window.rend());
  return window;
}

std::vector<float> fadeOut(int size) {
  std::vector<float> curve = risingHalf(size);
  std::reverse(curve.begin(), curve.end());
  return curve;
}

}  // namespace ulmar::acoustics
