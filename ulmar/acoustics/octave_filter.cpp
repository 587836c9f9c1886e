#include "ulmar/acoustics/octave_filter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>

namespace ulmar::acoustics {

OctaveFilter::OctaveFilter(const Band& band, double sampleRate) {
  const double centre = band.centre;
  const double edge = band.edge();
  using Complex = std::complex<double>;
  const double low = std::tan(std::numbers::pi * centre / edge / sampleRate);
  const double high = std::tan(std::numbers::pi * centre * edge / sampleRate);
  const double bandwidth = high - low;
  const double middle = std::sqrt(low * high);
  const Complex atCentre = std::polar(1.0, 2.0 * std::atan(middle));

  // Each pole p of the low-pass prototype becomes two of the band-pass, the roots of
  // s^2 - p bandwidth s + middle^2. Of the prototype's three poles the one on the real
  // axis gives a conjugate pair, or two real ones where the band is as wide as the
  // octave of 16 kHz at 48 kHz; the other two give two conjugate pairs. Each pair makes
  // a section.
  const Complex upper = std::polar(1.0, 2.0 * std::numbers::pi / 3.0);
  const auto roots = [&](Complex pole) {
    const Complex half = 0.5 * bandwidth * pole;
    const Complex reach = std::sqrt(half * half - middle * middle);
    return std::array{half + reach, half - reach};
  };
  const auto conjugates = [](Complex pole) {
    return std::array{pole, std::conj(pole)};
  };
  const std::array pairs = {roots(-1.0), conjugates(roots(upper)[0]),
                            conjugates(roots(upper)[1])};
  const auto bilinear = [](Complex pole) { return (1.0 + pole) / (1.0 - pole); };
  double slowest = 0.0;  // the largest magnitude of a pole
  for (std::size_t i = 0; i < sections_.size(); ++i) {
    const Complex first = bilinear(pairs[i][0]);
    const Complex second = bilinear(pairs[i][1]);
    slowest = std::max({slowest, std::abs(first), std::abs(second)});
    Section& section = sections_[i];
    section.a1 = -(first + second).real();
    section.a2 = (first * second).real();
    const Complex gain =
        (1.0 - 1.0 / (atCentre * atCentre)) /
        (1.0 + section.a1 / atCentre + section.a2 / (atCentre * atCentre));
    section.gain = 1.0 / std::abs(gain);
  }

  // The slowest of the six poles takes this long for 60 dB. A half more makes room for
  // the other poles.
  ringing_ = 1.5 * 3.0 * std::numbers::ln10 / (-std::log(slowest) * sampleRate);
}

void OctaveFilter::flushTinyStates() {
  constexpr double kTiny = 1e-100;
  for (Section& section : sections_) {
    if (std::abs(section.s1) < kTiny) section.s1 = 0.0;
    if (std::abs(section.s2) < kTiny) section.s2 = 0.0;
  }
}

}  // namespace ulmar::acoustics
