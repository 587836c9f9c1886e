// Octave bands: Butterworth band-pass filters of sixth order, which meet class 1 of IEC
// 61260-1. ISO 3382-1 asks for octave bands from 125 Hz to 4 kHz at least.
#pragma once

#include <array>

namespace ulmar::acoustics {

class OctaveFilter {
 public:
  /// Whether the band's upper edge, sqrt(2) centre, keeps its distance from half the
  /// sample rate. Both in Hz.
  static bool fits(double centre, double sampleRate) {
    return 1.4142135623730951 * centre <= 0.475 * sampleRate;
  }

  /// By the bilinear transform of the poles, both edges in their places; gain 1 at the
  /// centre.
  OctaveFilter(double centre, double sampleRate);

  double operator()(double x) {
    for (Section& section : sections_) x = section(x);
    return x;
  }

  /// Forgets what is too small to be heard of again, as numbers below the range of
  /// normal ones slow the processor down. To be called every now and then.
  void settle();

  /// Seconds in which the response to an impulse falls by 60 dB and more.
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
