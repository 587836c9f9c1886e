#include "ulmar/acoustics/cepstrum.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "ulmar/acoustics/spectral_analyzer.h"

namespace ulmar::acoustics {
namespace {

constexpr double kLength = 1.0;       // s of the response
constexpr double kEarliest = 0.0005;  // s, delay of an echo
constexpr double kLatest = 0.05;      // s
// An echo's line has at least so many times the standard deviation of the cepstrum
// around it. Of a few thousand values of noise the largest reaches four times.
constexpr double kLeastProminence = 8.0;

/// The start of the response, scaled to a peak of 1 for the floor of the cepstrum's
/// logarithm, and faded out: the edge where it is cut off would look like an echo. The
/// fade takes the last quarter and must not touch the echoes, so a response of less
/// than four times the latest delay keeps its end.
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

/// The standard deviation of the cepstrum from half to twice a quefrency, in samples,
/// estimated by the median of the magnitudes, which single lines hardly change.
double deviationAround(std::span<const float> values, std::size_t at) {
  std::vector<float> magnitudes;
  for (std::size_t i = at / 2 + 1; i < std::min(2 * at, values.size()); ++i) {
    magnitudes.push_back(std::abs(values[i]));
  }
  const auto middle =
      magnitudes.begin() + static_cast<std::ptrdiff_t>(magnitudes.size() / 2);
  std::nth_element(magnitudes.begin(), middle, magnitudes.end());
  constexpr double kMedianOfNormal = 0.6745;  // magnitudes, at a deviation of 1
  return double{*middle} / kMedianOfNormal;
}

/// The prominent line of the largest magnitude.
std::optional<Echo> strongestEcho(const CepstrumAnalysis& cepstrum, double sampleRate) {
  const auto first = static_cast<std::size_t>(std::ceil(kEarliest * sampleRate));
  const std::size_t end = std::min(static_cast<std::size_t>(kLatest * sampleRate) + 1,
                                   cepstrum.values.size());
  std::vector<std::size_t> order;
  for (std::size_t i = std::max<std::size_t>(first, 2); i < end; ++i)
    order.push_back(i);
  const auto magnitude = [&](std::size_t i) { return std::abs(cepstrum.values[i]); };
  // A line that is not among the largest hundred does not stand out.
  constexpr std::size_t kCandidates = 100;
  const auto candidatesEnd =
      order.begin() + static_cast<std::ptrdiff_t>(std::min(kCandidates, order.size()));
  std::partial_sort(
      order.begin(), candidatesEnd, order.end(),
      [&](std::size_t a, std::size_t b) { return magnitude(a) > magnitude(b); });
  for (auto at = order.begin(); at != candidatesEnd; ++at) {
    // An echo has at least a quarter of a per cent of the direct sound, so that
    // rounding errors are none in a response that has nothing else.
    constexpr double kLeastEcho = 0.5 * 0.0025;
    const double deviation =
        std::max(deviationAround(cepstrum.values, *at), kLeastEcho / kLeastProminence);
    if (magnitude(*at) < kLeastProminence * deviation) continue;
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
