// The crossovers of the decoder's three signals W, X and Y, computed in parallel. The
// scalar reference is APSplit. The only vector body uses SSE2: a crossover is
// recursive, so its samples cannot be computed in parallel, and three signals leave
// wider registers no more to do.
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

/// Splits the first `count` frames of `signals` into two bands, with the same bits as
/// APSplit on each signal: the low bands replace the signals, the high bands go to
/// `high`. states: of W, X and Y; they advance by `count` samples.
void splitBands(SignalRun& signals, SignalRun& high, int count,
                const cApXOverCfs<float>& cfs, sApXOverSts<float>* states) noexcept;

}  // namespace ulmar
