#include "ulmar/acoustics/cepstrum.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <iterator>
#include <numbers>

#include "ulmar/acoustics/spectral_analyzer.h"
#include "ulmar/host/raised_cosine.h"

namespace ulmar::acoustics {
namespace {

constexpr double kLength = 1.0;       // s of the response
constexpr double kEarliest = 0.0005;  // s, delay of an echo
constexpr double kLatest = 0.05;      // s
// An echo's line has at least so many times the standard deviation of the cepstrum
// around it. Of a few thousand values of noise the largest reaches four times.
constexpr double kLeastProminence = 8.0;

std::size_t framesOf(double seconds, double sampleRate) {
  return static_cast<std::size_t>(std::llround(seconds * sampleRate));
}

/// Of the largest magnitude; `otherwise` if all is silent.
double peakOf(const std::vector<float>& samples, double otherwise) {
  double peak = 0.0;
  for (const float sample : samples) peak = std::max(peak, std::abs(double{sample}));
  return peak > 0.0 ? peak : otherwise;
}

/// Every second sample, after a low-pass filter of 127 taps (a windowed sinc) that
/// keeps what lies below 0.92 of the new Nyquist frequency.
std::vector<float> halved(const std::vector<float>& samples) {
  constexpr int kReach = 63;       // taps on each side
  constexpr double kCutoff = 0.5;  // of the new sample rate
  std::array<double, kReach + 1> taps{};
  taps[0] = kCutoff;
  for (int k = 1; k <= kReach; ++k) {
    const double at = std::numbers::pi * k;
    taps[static_cast<std::size_t>(k)] =
        std::sin(kCutoff * at) / at * raisedCosine(k / (kReach + 1.0));
  }
  const auto count = std::ssize(samples);
  std::vector<float> result;
  // From where the filter begins to ring before the first sample.
  for (std::ptrdiff_t n = -kReach - 1; n < count; n += 2) {
    double sum = 0.0;
    for (std::ptrdiff_t k = -kReach; k <= kReach; ++k) {
      if (n + k < 0 || n + k >= count) continue;
      sum += taps[static_cast<std::size_t>(std::abs(k))] *
             double{samples[static_cast<std::size_t>(n + k)]};
    }
    result.push_back(static_cast<float>(sum));
  }
  return result;
}

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

/// The cepstrum between its samples: it is of a limited band, and so a sum of sinc
/// functions. at: in samples.
double valueAt(std::span<const float> values, double at) {
  constexpr std::ptrdiff_t kReach = 32;
  const auto middle = static_cast<std::ptrdiff_t>(std::lround(at));
  double sum = 0.0;
  for (std::ptrdiff_t i = std::max<std::ptrdiff_t>(middle - kReach, 1);
       i <= std::min(middle + kReach, std::ssize(values) - 1); ++i) {
    const double x = std::numbers::pi * (at - static_cast<double>(i));
    sum += double{values[static_cast<std::size_t>(i)]} *
           (std::abs(x) < 1e-9 ? 1.0 : std::sin(x) / x);
  }
  return sum;
}

/// An echo rarely comes a whole number of samples late: the line stands between two.
Echo refined(const CepstrumAnalysis& cepstrum, std::size_t at) {
  constexpr int kSteps = 16;  // a sample
  double best = static_cast<double>(at);
  for (int step = -kSteps; step <= kSteps; ++step) {
    const double place = static_cast<double>(at) + static_cast<double>(step) / kSteps;
    if (std::abs(valueAt(cepstrum.values, place)) >
        std::abs(valueAt(cepstrum.values, best))) {
      best = place;
    }
  }
  return {best * cepstrum.step, valueAt(cepstrum.values, best)};
}

/// Whether a line is a multiple of a larger one below the earliest delay: an echo of
/// less than half a millisecond colours the sound and has lines at all its multiples.
bool repeatsAnEarlierLine(std::span<const float> values, std::size_t at,
                          std::size_t earliest) {
  constexpr std::size_t kLeast = 5;  // samples: below lies the spectrum's slope
  for (std::size_t part = 2; at / part >= kLeast; ++part) {
    if (at / part >= earliest) continue;
    for (std::size_t i = at / part; i <= at / part + 1; ++i) {
      const float magnitude = std::abs(values[i]);
      if (magnitude > std::abs(values[at]) &&
          magnitude > 4.0 * deviationAround(values, i)) {
        return true;
      }
    }
  }
  return false;
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
    if (magnitude(*at) < kLeastProminence * deviation ||
        repeatsAnEarlierLine(cepstrum.values, *at, first)) {
      continue;
    }
    return refined(cepstrum, *at);
  }
  return std::nullopt;
}

}  // namespace

CepstrumAnalysis analyseCepstrum(Samples samples, double peak, double sampleRate) {
  // An echo's line is as high as the part of the spectrum is wide that ripples. Above
  // hearing there is often nothing, at high rates in half of the spectrum and more.
  constexpr double kHighestRate = 64000.0;
  if (sampleRate > kHighestRate) {
    const Samples start = part(samples, 0, framesOf(kLength, sampleRate));
    const std::vector<float> slower = halved({start.begin(), start.end()});
    return analyseCepstrum(slower, peakOf(slower, peak), 0.5 * sampleRate);
  }
  constexpr std::size_t kMinLength = 1 << 12;
  const std::size_t longest = framesOf(kLength, sampleRate);
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
