// The octave band-pass filter: a Butterworth filter of sixth order, which meets class 1
// of IEC 61260-1, designed by the bilinear transform.
#pragma once

#include <array>

namespace ulmar::acoustics {

class OctaveFilter {
 public:
  /// Whether the band's upper edge, sqrt(2) centre, lies 5 % or more below half the
  /// sample rate. Both in Hz.
  static bool fits(double centre, double sampleRate) {
    return 1.4142135623730951 * centre <= 0.475 * sampleRate;
  }

  /// Gain 1 at the centre, and -3 dB at both edges, centre / sqrt(2) and centre
  /// sqrt(2). centre, sampleRate: in Hz, as fits() allows.
  OctaveFilter(double centre, double sampleRate);

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
