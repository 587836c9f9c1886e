// The band-pass filter of an octave or a part of one: a Butterworth filter of sixth
// order, which meets class 1 of IEC 61260-1, designed by the bilinear transform.
#pragma once

#include <array>
#include <cmath>

namespace ulmar::acoustics {

/// A band of the 1 / bandsPerOctave-th part of an octave, from centre / edge() to
/// centre edge().
struct Band {
  double centre = 0.0;     // Hz
  int bandsPerOctave = 1;  // 1 or 3

  double edge() const { return std::exp2(0.5 / bandsPerOctave); }
};

class OctaveFilter {
 public:
  /// Whether the band's upper edge lies 5 % or more below half the sample rate, in Hz.
  static bool fits(const Band& band, double sampleRate) {
    return band.edge() * band.centre <= 0.475 * sampleRate;
  }

  /// Gain 1 at the centre, and -3 dB at both edges. sampleRate: in Hz, as fits()
  /// allows.
  OctaveFilter(const Band& band, double sampleRate);

  /// The next output sample.
  double operator()(double x) {
    for (Section& section : sections_) x = section(x);
    return x;
  }

  /// Sets states below 1e-100 to 0, before they become subnormal numbers, on which the
  /// processor is slow. To be called every thousand samples or so.
  void flushTinyStates();

  /// s, in which the response to an impulse falls by 60 dB or more.
  double ringing() const { return ringing_; }

 private:
  /// g (1 - z^-2) / (1 + a1 z^-1 + a2 z^-2), transposed direct form II.
  struct Section {
    double gain = 0.0;
    double a1 = 0.0;
    double a2 = 0.0;
    double s1 = 0.0;
    double s2 = 0.0;

    double operator()(double x) {
      const double in = gain * x;
      const double y = in + s1;
      s1 = s2 - a1 * y;
      s2 = -in - a2 * y;
      return y;
    }
  };

  std::array<Section, 3> sections_;
  double ringing_;
};

}  // namespace ulmar::acoustics
