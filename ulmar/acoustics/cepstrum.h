// Early echoes in the real cepstrum. An echo ripples the magnitude spectrum like a comb
// filter, and the spectrum of the logarithm of that, the cepstrum, has a line at the
// echo's delay (Bogert, Healy and Tukey, "The quefrency alanysis of time series for
// echoes", 1963).
#pragma once

#include <optional>
#include <vector>

#include "ulmar/acoustics/samples.h"

namespace ulmar::acoustics {

/// An echo, as a line of the cepstrum that stands out from its surroundings.
struct Echo {
  double delay = 0.0;  // s
  double value = 0.0;  // of the cepstrum at the delay
  /// Linear, below 0 for an inverted echo. A single echo of gain g gives a line of
  /// g / 2; further echoes make this an estimate.
  double gain() const { return 2.0 * value; }
  /// Hz between two maxima of the spectrum.
  double combSpacing() const { return 1.0 / delay; }
};

struct CepstrumAnalysis {
  double step = 0.0;          // s, a sample, of every second one above 64 kHz
  std::vector<float> values;  // at quefrencies of 0, step, ..., up to 50 ms and more
  std::optional<Echo> echo;   // the strongest between 0.5 and 50 ms, if one stands out
};

/// Of the first second of a response, up to 32 kHz of its frequencies, or somewhat
/// more, up to a number of samples that is a power of two. An excerpt over 200 ms has
/// its last quarter faded out. samples: from the onset on; peak: their largest
/// magnitude, above 0; sampleRate: in Hz.
CepstrumAnalysis analyseCepstrum(Samples samples, double peak, double sampleRate);

}  // namespace ulmar::acoustics
