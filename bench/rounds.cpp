#include "bench/rounds.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

#include "bench/body.h"

namespace ulmar::bench {
namespace {

double seconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double cpuSeconds() { return seconds(CLOCK_PROCESS_CPUTIME_ID); }
double ownSeconds() { return seconds(CLOCK_THREAD_CPUTIME_ID); }
double otherSeconds() { return cpuSeconds() - ownSeconds(); }

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

// Whether every other thread of the process sleeps.
bool othersSleep() {
  const auto self = std::to_string(gettid());
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == self) continue;
    std::ifstream file(task.path() / "stat");
    std::string stat;
    std::getline(file, stat);
    // The state follows the name, which is in parentheses.
    const std::size_t name = stat.rfind(')');
    if (name != stat.npos && stat[name + 2] != 'S') return false;
  }
  return true;
}

// Seconds that one block takes, with what it leaves to other threads. They share the
// processor and get it by yielding: after a sleep the next block would measure cold
// caches instead.
double oneBlock(Convolver& convolver) {
  const double others = otherSeconds();
  const double start = ownSeconds();
  convolver.run();
  const double own = ownSeconds() - start;
  while (!othersSleep()) sched_yield();
  return own + otherSeconds() - others;
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
  constexpr int kNumRounds = 15;
  std::vector<std::vector<double>> seconds(static_cast<std::size_t>(numBlocks));
  for (int round = 0; round < kNumRounds; ++round) {
    drain();
    // Twice: the first time brings caches and clock up.
    for (const bool timed : {false, true}) {
      for (auto& block : seconds) {
        const double time = oneBlock(convolver);
        if (timed) block.push_back(time);
      }
    }
  }
  std::vector<double> medians;
  medians.reserve(seconds.size());
  for (auto& block : seconds) medians.push_back(median(std::move(block)));
  return medians;
}

}  // namespace ulmar::bench
