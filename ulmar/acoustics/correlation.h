// The cross-correlation of two channels, as ISO 3382-1, annex B, defines that of a
// dummy head's ears, the interaural cross-correlation coefficient (IACC).
#pragma once

#include <optional>

#include "ulmar/acoustics/samples.h"

namespace ulmar::acoustics {

/// The extremum of the normalised cross-correlation over lags of up to 1 ms.
struct Correlation {
  double value = 0.0;  // from -1 to 1: unlike the IACC it keeps the sign
  /// s, above 0 where the second channel is late. Nothing if the magnitude of the value
  /// is below 0.3, where the extremum of two independent signals lies at any lag.
  std::optional<double> lag;
};

/// Of the part between two times in s after the onset: annex B has 0 to 1 for the
/// whole, 0 to 0.08 for the early and 0.08 to 1 for the late part. onset: the frame of
/// the earlier of the two onsets. A channel that is shorter goes on in silence. Nothing
/// if one of them is silent in that part.
std::optional<Correlation> correlate(Samples first, Samples second, std::size_t onset,
                                     double from, double to, double sampleRate);

}  // namespace ulmar::acoustics
