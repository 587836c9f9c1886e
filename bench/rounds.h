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

/// The processor time that each of `numBlocks` successive blocks sets off, threads
/// included: medians over some rounds, so blocks that far apart should be alike.
std::vector<double> successiveBlocks(Convolver& convolver, int numBlocks);

}  // namespace ulmar::bench
