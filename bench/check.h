// What is timed computes the right thing.
#pragma once

#include <span>

#include "bench/convolver.h"

namespace ulmar::bench {

/// Runs all contenders through noise longer than the responses and compares samples of
/// the outputs: of `whole` with direct convolution in double precision, of `truncated`,
/// which give up the same part of the band and have no lag, with the first of them.
/// Throws if one is off by more than -80 dB of the output's level: single precision
/// stays well below, and one wrong partition in thousands lies well above.
void checkOutputs(const Workload& workload, const host::Responses& responses,
                  std::span<Convolver* const> whole,
                  std::span<Convolver* const> truncated);

}  // namespace ulmar::bench
