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
  /// period: a number of blocks after which the cost of every contender repeats.
  Timing(std::span<Convolver* const> contenders, int period, int numRounds);

  double mean(std::size_t contender) const;
  /// The median of the ratios of the means.
  double ratio(std::size_t contender, std::size_t to) const;

 private:
  /// [contender][round]
  std::vector<std::vector<double>> seconds_;
};

/// Of each successive block of a period, the processor time that it sets off, threads
/// included: the median over some rounds.
std::vector<double> successiveBlocks(Convolver& convolver, int period);

}  // namespace ulmar::bench
