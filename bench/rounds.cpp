#include "bench/rounds.h"

#include <algorithm>
#include <ctime>
#include <limits>

#include "bench/body.h"

namespace ulmar::bench {
namespace {

double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Sleeps until no thread of the process has worked for a while. What that takes of the
// processor is far below kIdle.
void drain() {
  constexpr double kIdle = 20e-6;
  double before = cpuSeconds();
  for (;;) {
    settle();
    const double now = cpuSeconds();
    if (now - before < kIdle) return;
    before = now;
  }
}

// What measuring costs by itself.
double drainCost() {
  double least = std::numeric_limits<double>::max();
  for (int k = 0; k < 100; ++k) {
    const double start = cpuSeconds();
    drain();
    least = std::min(least, cpuSeconds() - start);
  }
  return least;
}

void run(Convolver& convolver, int numBlocks) {
  for (int block = 0; block < numBlocks; ++block) convolver.run();
}

// Seconds that `numBlocks` blocks take with all that they set off.
double drained(Convolver& convolver, int numBlocks, double overhead) {
  drain();
  const double start = cpuSeconds();
  run(convolver, numBlocks);
  drain();
  return cpuSeconds() - start - overhead;
}

int wholePeriods(const Convolver& convolver, int leastBlocks) {
  const int period = convolver.period();
  return (leastBlocks + period - 1) / period * period;
}

// Blocks in whole periods that take long enough for what they begin with, cold caches
// and a clock that has to rise, not to count.
int stretch(Convolver& convolver) {
  constexpr double kLeastSeconds = 5e-3;
  int numBlocks = wholePeriods(convolver, 16);
  for (;;) {
    const double start = cpuSeconds();
    run(convolver, numBlocks);
    if (cpuSeconds() - start >= kLeastSeconds) return numBlocks;
    numBlocks *= 2;
  }
}

}  // namespace

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

Timing::Timing(std::span<Convolver* const> contenders, int numRounds)
    : seconds_(contenders.size()) {
  const double overhead = drainCost();
  std::vector<int> numBlocks;
  for (Convolver* const convolver : contenders)
    numBlocks.push_back(stretch(*convolver));
  for (int round = 0; round < numRounds; ++round) {
    for (std::size_t c = 0; c < contenders.size(); ++c) {
      run(*contenders[c], numBlocks[c]);
      seconds_[c].push_back(drained(*contenders[c], numBlocks[c], overhead) /
                            numBlocks[c]);
    }
  }
}

double Timing::mean(std::size_t contender) const { return median(seconds_[contender]); }

double Timing::ratio(std::size_t contender, std::size_t to) const {
  std::vector<double> ratios;
  for (std::size_t round = 0; round < seconds_[contender].size(); ++round) {
    ratios.push_back(seconds_[contender][round] / seconds_[to][round]);
  }
  return median(std::move(ratios));
}

std::vector<double> successiveBlocks(Convolver& convolver, int numBlocks) {
  constexpr int kNumRounds = 5;
  const double overhead = drainCost();
  std::vector<std::vector<double>> seconds(static_cast<std::size_t>(numBlocks));
  for (int round = 0; round < kNumRounds; ++round) {
    for (auto& block : seconds) block.push_back(drained(convolver, 1, overhead));
  }
  std::vector<double> medians;
  medians.reserve(seconds.size());
  for (auto& block : seconds) medians.push_back(median(std::move(block)));
  return medians;
}

}  // namespace ulmar::bench
