#include "ulmar/acoustics/octave_filter.h"

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
  // axis gives a conjugate pair, and the other two give two such pairs. Each pair makes
  // a section.
  const Complex upper = std::polar(1.0, 2.0 * std::numbers::pi / 3.0);
  const auto roots = [&](Complex pole) {
    const Complex half = 0.5 * bandwidth * pole;
    const Complex reach = std::sqrt(half * half - middle * middle);
    return std::array{half + reach, half - reach};
  };
  const std::array poles = {roots(-1.0)[0], roots(upper)[0], roots(upper)[1]};
  for (std::size_t i = 0; i < sections_.size(); ++i) {
    const Complex z = (1.0 + poles[i]) / (1.0 - poles[i]);
    Section& section = sections_[i];
    section.a1 = -2.0 * z.real();
    section.a2 = std::norm(z);
    const Complex gain =
        (1.0 - 1.0 / (atCentre * atCentre)) /
        (1.0 + section.a1 / atCentre + section.a2 / (atCentre * atCentre));
    section.gain = 1.0 / std::abs(gain);
  }

  // The slowest of the six poles: in the low-pass prototype of cut-off 1 its real part
  // is -1/2, and the transform to a band-pass multiplies that by half the bandwidth. A
  // half more than its 60 dB makes room for the other poles.
  const double rate = 0.25 * 2.0 * std::numbers::pi * centre * (edge - 1.0 / edge);
  ringing_ = 3.0 * std::numbers::ln10 / rate * 1.5;
}

void OctaveFilter::flushTinyStates() {
  constexpr double kTiny = 1e-100;
  for (Section& section : sections_) {
    if (std::abs(section.s1) < kTiny) section.s1 = 0.0;
    if (std::abs(section.s2) < kTiny) section.s2 = 0.0;
  }
}

}  // namespace ulmar::acoustics
