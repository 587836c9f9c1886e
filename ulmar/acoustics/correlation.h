// How alike two channels are, after the interaural cross-correlation of ISO 3382-1,
// annex B.
#pragma once

#include <optional>

#include "ulmar/acoustics/samples.h"

namespace ulmar::acoustics {

/// The largest magnitude of the normalised cross-correlation over lags of up to 1 ms.
struct Correlation {
  double value = 0.0;         // -1 to 1, with the sign it has there
  std::optional<double> lag;  // s, above 0 where the second channel is late; nothing
                              // if the channels are too little alike to have one
};

/// Over the times from `from` to `to` after the onset, in s: annex B has 0 to 1 for the
/// whole, 0 to 0.08 for the early and 0.08 to 1 for the late part. onset: in frames.
/// Nothing if one of them is silent there.
std::optional<Correlation> correlate(Samples first, Samples second, std::size_t onset,
                                     double from, double to, double sampleRate);

}  // namespace ulmar::acoustics
