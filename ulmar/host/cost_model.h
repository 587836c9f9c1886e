// What each stage of an engine's block costs on a fixed reference processor. Plans are
// made by it, the same on every machine: a choice by the clock would give a stream
// other geometries, and with them other roundings, from one machine to the next.
#pragma once

#include <cstdint>

#include "ulmar/host/geometry.h"

namespace ulmar::host {

/// The stages that one block of an engine consists of, each for one input, one output
/// or one pair of both.
struct StageCosts {
  std::int64_t transform = 0;  // per input: forward transform, into the history
  std::int64_t low = 0;        // per pair
  std::int64_t output = 0;     // per output: inverse transform, overlap-add
  std::int64_t high = 0;       // per pair
  std::int64_t mid = 0;        // per pair

  std::int64_t perPair() const { return low + high + mid; }
  /// Of a whole block.
  std::int64_t total(int numInputs, int numOutputs, int numPairs) const {
    return numInputs * transform + numOutputs * output + numPairs * perPair();
  }
};

/// In picoseconds. Fitted to stage times of 2448 combinations of block length (64 to
/// 8192), partitions (2 to 300), geometry and channels, with 256-bit and with 512-bit
/// kernels, on a Zen 4 server core. Plans depend on ratios only. Scaled by one factor
/// for the machine and body, the model has a median error of 10 % and a 90th percentile
/// of 45 % over the stage times. Farthest off, by up to several times, are the low and
/// mid tiers of partition sets and histories beyond some 8 MB, where what else uses the
/// caches decides. `ulmar_bench stages` prints the times and the model side by side.
StageCosts stageCosts(const Geometry& geometry);

}  // namespace ulmar::host
