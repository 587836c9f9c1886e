#include "ulmar/acoustics/correlation.h"

#include <algorithm>
#include <cmath>

#include "ulmar/acoustics/energy.h"

namespace ulmar::acoustics {
namespace {

/// Sum of a[i] b[i + lag] over all i for which both have a sample.
double product(Samples a, Samples b, std::ptrdiff_t lag) {
  const auto shift = static_cast<std::size_t>(std::abs(lag));
  const Samples early = lag >= 0 ? a : b;
  const Samples late = lag >= 0 ? part(b, shift, b.size()) : part(a, shift, a.size());
  double sum = 0.0;
  for (std::size_t i = 0; i < std::min(early.size(), late.size()); ++i) {
    sum += double{early[i]} * double{late[i]};
  }
  return sum;
}

}  // namespace

std::optional<Correlation> correlate(Samples first, Samples second, std::size_t onset,
                                     double from, double to, double sampleRate) {
  constexpr double kMaxLag = 0.001;  // s
  constexpr double kLeastForLag = 0.3;
  const auto frames = [&](double time) {
    return static_cast<std::size_t>(std::llround(time * sampleRate));
  };
  const Samples a = part(first, onset + frames(from), onset + frames(to));
  const Samples b = part(second, onset + frames(from), onset + frames(to));
  const double norm = std::sqrt(energyOf(a) * energyOf(b));
  if (!(norm > 0.0)) return std::nullopt;
  const auto maxLag = static_cast<std::ptrdiff_t>(frames(kMaxLag));
  Correlation best;
  for (std::ptrdiff_t lag = -maxLag; lag <= maxLag; ++lag) {
    const double value = product(a, b, lag) / norm;
    if (std::abs(value) > std::abs(best.value)) {
      best = {value, static_cast<double>(lag) / sampleRate};
    }
  }
  if (std::abs(best.value) < kLeastForLag) best.lag.reset();
  return best;
}

}  // namespace ulmar::acoustics
