#include "bench/rounds.h"

#include <algorithm>
#include <ctime>
#include <limits>
#include <numeric>

#include "bench/body.h"

namespace ulmar::bench {
namespace {

double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// What reading the clock costs.
double clockCost() {
  double least = std::numeric_limits<double>::max();
  for (int k = 0; k < 1000; ++k) {
    const double start = cpuSeconds();
    least = std::min(least, cpuSeconds() - start);
  }
  return least;
}

double meanOf(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0) /
         static_cast<double>(values.size());
}

}  // namespace

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

Timing::Timing(std::span<Convolver* const> contenders, int period, int numRounds)
    : seconds_(contenders.size()) {
  const double overhead = clockCost();
  for (int round = 0; round < numRounds; ++round) {
    for (std::size_t c = 0; c < contenders.size(); ++c) {
      settle();
      for (int block = 0; block < period; ++block) contenders[c]->run();
      std::vector<double> blocks;
      double last = cpuSeconds();
      for (int block = 0; block < period; ++block) {
        contenders[c]->run();
        const double now = cpuSeconds();
        blocks.push_back(now - last - overhead);
        last = now;
      }
      seconds_[c].push_back(std::move(blocks));
    }
  }
}

double Timing::mean(std::size_t contender) const {
  std::vector<double> means;
  for (const auto& blocks : seconds_[contender]) means.push_back(meanOf(blocks));
  return median(std::move(means));
}

double Timing::ratio(std::size_t contender, std::size_t to) const {
  std::vector<double> ratios;
  for (std::size_t round = 0; round < seconds_[contender].size(); ++round) {
    ratios.push_back(meanOf(seconds_[contender][round]) / meanOf(seconds_[to][round]));
  }
  return median(std::move(ratios));
}

std::vector<double> Timing::blocks(std::size_t contender) const {
  const auto& rounds = seconds_[contender];
  std::vector<double> result;
  for (std::size_t block = 0; block < rounds[0].size(); ++block) {
    std::vector<double> times;
    for (const auto& round : rounds) times.push_back(round[block]);
    result.push_back(median(std::move(times)));
  }
  return result;
}

}  // namespace ulmar::bench
