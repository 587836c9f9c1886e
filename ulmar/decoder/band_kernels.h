// The three crossovers of the decoder, side by side. One body serves all processors:
// the crossovers wait for their own results, and wider registers would wait with them.
#pragma once

#include "ulmar/decoder/crossover.h"

namespace ulmar {

/// Most frames of one run.
inline constexpr int kMaxDecodeRun = 128;

/// A run of W, X and Y.
struct SignalRun {
  double w[kMaxDecodeRun];
  double x[kMaxDecodeRun];
  double y[kMaxDecodeRun];
};

/// Splits the first `count` frames of `signals`, with the bits of APSplit: the low
/// bands take their place, the high bands go to `high`. The states of W, X and Y
/// advance.
void splitBands(SignalRun& signals, SignalRun& high, int count,
                const cApXOverCfs<float>& cfs, sApXOverSts<float>* states) noexcept;

}  // namespace ulmar
