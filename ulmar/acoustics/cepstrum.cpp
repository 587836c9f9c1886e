#include "ulmar/acoustics/cepstrum.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "ulmar/acoustics/spectral_analyzer.h"

namespace ulmar::acoustics {
namespace {

constexpr double kLength = 1.0;  // s
constexpr double kEarliest = 0.0005;
constexpr double kLatest = 0.05;
// In units of the standard deviation around it, of which the greatest of a few thousand
// values reaches four by chance.
constexpr double kStandsOut = 8.0;

/// The response at a peak of 1, as the logarithm's floor requires, without an edge at
/// its end, which would make an echo of its own. What is too short to be faded out
/// behind the echoes keeps its end.
std::vector<float> prepared(Samples samples, double peak, std::size_t length,
                            double sampleRate) {
  const Samples first = part(samples, 0, length);
  std::vector<float> signal;
  signal.reserve(first.size());
  for (const float sample : first) {
    signal.push_back(static_cast<float>(double{sample} / peak));
  }
  if (static_cast<double>(signal.size()) > 4.0 * kLatest * sampleRate) {
    const std::vector<float> fade =
        acoustics::fadeOut(static_cast<int>(signal.size() / 4));
    const std::size_t start = signal.size() - fade.size();
    for (std::size_t i = 0; i < fade.size(); ++i) signal[start + i] *= fade[i];
  }
  return signal;
}

/// The standard deviation of what is around a quefrency, by the median of magnitudes,
/// which single lines do not move. Of a half and twice the quefrency.
double spreadAround(std::span<const float> values, std::size_t at) {
  std::vector<float> magnitudes;
  for (std::size_t i = at / 2 + 1; i < std::min(2 * at, values.size()); ++i) {
    magnitudes.push_back(std::abs(values[i]));
  }
  const auto middle =
      magnitudes.begin() + static_cast<std::ptrdiff_t>(magnitudes.size() / 2);
  std::nth_element(magnitudes.begin(), middle, magnitudes.end());
  constexpr double kMedianOfNormal = 0.6745;
  return double{*middle} / kMedianOfNormal;
}

/// The largest magnitude that stands out.
std::optional<Echo> strongestEcho(const CepstrumAnalysis& cepstrum, double sampleRate) {
  const auto first = static_cast<std::size_t>(std::ceil(kEarliest * sampleRate));
  const std::size_t end = std::min(static_cast<std::size_t>(kLatest * sampleRate) + 1,
                                   cepstrum.values.size());
  std::vector<std::size_t> order;
  for (std::size_t i = std::max<std::size_t>(first, 2); i < end; ++i)
    order.push_back(i);
  const auto magnitude = [&](std::size_t i) { return std::abs(cepstrum.values[i]); };
  // Beyond the largest hundred there is nothing but what is around them.
  constexpr std::size_t kCandidates = 100;
  const auto candidatesEnd =
      order.begin() + static_cast<std::ptrdiff_t>(std::min(kCandidates, order.size()));
  std::partial_sort(
      order.begin(), candidatesEnd, order.end(),
      [&](std::size_t a, std::size_t b) { return magnitude(a) > magnitude(b); });
  for (auto at = order.begin(); at != candidatesEnd; ++at) {
    // Below what a quarter of a per cent of the direct sound would cause, nothing is an
    // echo.
    constexpr double kLeast = 0.5 * 0.0025;
    const double spread =
        std::max(spreadAround(cepstrum.values, *at), kLeast / kStandsOut);
    if (magnitude(*at) < kStandsOut * spread) continue;
    return Echo{static_cast<double>(*at) * cepstrum.step, double{cepstrum.values[*at]}};
  }
  return std::nullopt;
}

}  // namespace

CepstrumAnalysis analyseCepstrum(Samples samples, double peak, double sampleRate) {
  constexpr std::size_t kMinLength = 1 << 12;
  const auto longest = static_cast<std::size_t>(std::llround(kLength * sampleRate));
  const auto shortest = static_cast<std::size_t>(std::ceil(4.0 * kLatest * sampleRate));
  const std::size_t length = std::bit_ceil(
      std::max({kMinLength, shortest, std::min(samples.size(), longest)}));
  acoustics::SpectralAnalyzer analyzer(static_cast<int>(length));
  const std::span<const float> values =
      analyzer.cepstrum(prepared(samples, peak, length, sampleRate));
  CepstrumAnalysis analysis;
  analysis.step = 1.0 / sampleRate;
  const auto kept = static_cast<std::size_t>(2.0 * kLatest * sampleRate) + 2;
  analysis.values.assign(
      values.begin(),
      values.begin() + static_cast<std::ptrdiff_t>(std::min(kept, values.size())));
  analysis.echo = strongestEcho(analysis, sampleRate);
  return analysis;
}

}  // namespace ulmar::acoustics
