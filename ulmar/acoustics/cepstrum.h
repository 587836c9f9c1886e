// Early echoes in the real cepstrum: an echo makes a comb of the spectrum, and a comb
// is one line in the spectrum of its logarithm (Bogert, Healy and Tukey, 1963).
#pragma once

#include <optional>
#include <vector>

#include "ulmar/acoustics/samples.h"

namespace ulmar::acoustics {

/// An echo that stands out of the cepstrum around it.
struct Echo {
  double delay = 0.0;  // s
  double value = 0.0;  // of the cepstrum
  /// Linear, below 0 for an echo turned over: an echo of gain g stands in the cepstrum
  /// with g / 2, as long as it is the only one.
  double gain() const { return 2.0 * value; }
  /// Distance of the comb's teeth, in Hz.
  double combSpacing() const { return 1.0 / delay; }
};

struct CepstrumAnalysis {
  double step = 0.0;          // s
  std::vector<float> values;  // at quefrencies of 0, step, ..., up to 50 ms and more
  std::optional<Echo> echo;   // the strongest between 0.5 and 50 ms, if one stands out
};

/// Of the first second after the onset, faded out at its end. samples: from the
/// onset on; peak: their largest magnitude, above 0.
CepstrumAnalysis analyseCepstrum(Samples samples, double peak, double sampleRate);

}  // namespace ulmar::acoustics
