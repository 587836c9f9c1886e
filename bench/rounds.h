// Timing in rounds: every contender takes its turn in each, so that what disturbs one
// disturbs all, and figures are medians of ratios within a round.
#pragma once

#include <span>
#include <vector>

#include "bench/convolver.h"

namespace ulmar::bench {

double median(std::vector<double> values);

/// Processor time in seconds per block, of all threads: what a contender leaves to its
/// threads counts in full, since every stretch of blocks ends when they have nothing
/// left to do.
class Timing {
 public:
  /// Every contender runs through whole periods of its own, some milliseconds in each
  /// round and as long before that.
  Timing(std::span<Convolver* const> contenders, int numRounds);

  double mean(std::size_t contender) const;
  /// The median of the ratios of the means.
  double ratio(std::size_t contender, std::size_t to) const;

 private:
  /// [contender][round]
  std::vector<std::vector<double>> seconds_;
};

/// Of each contender, the processor time that each successive block of its period sets
/// off, threads included: medians over some rounds. At least `leastBlocks` of them, in
/// whole periods.
std::vector<std::vector<double>> successiveBlocks(
    std::span<Convolver* const> contenders, int leastBlocks = 1);

}  // namespace ulmar::bench
