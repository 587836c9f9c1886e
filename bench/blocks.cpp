#include <algorithm>
#include <iostream>
#include <numeric>

#include "bench/check.h"
#include "bench/figures.h"
#include "bench/instructions.h"
#include "bench/rounds.h"
#include "bench/ulmar.h"

namespace ulmar::bench {
namespace {

constexpr int kNumRounds = 25;

// All that convolve one workload, in the order of kNames.
constexpr const char* kNames[] = {"ulmar",        "ulmar-hf",     "plain",
                                  "zita-uniform", "zita-default", "plain-hf"};
enum : std::size_t {
  own,
  ownTruncated,
  plain,
  zitaUniform,
  zitaDefault,
  plainTruncated
};

struct Contenders {
  explicit Contenders(const Workload& workload)
      : responses(noiseResponses(workload)),
        whole(paramsFor(workload, responses, false), responses),
        truncated(paramsFor(workload, responses, true), responses) {
    peers.push_back(makePlain(workload, responses));
    peers.push_back(makeZita(workload, responses, workload.blockLen));
    peers.push_back(makeZita(workload, responses, kZitaMaxPart));
    peers.push_back(makePlain(workload, responses, truncated.geometry().hfKeepBlocks));
    all = {&whole, &truncated};
    for (const auto& peer : peers) all.push_back(peer.get());
  }

  host::Responses responses;
  Engine whole;
  Engine truncated;
  std::vector<std::unique_ptr<Convolver>> peers;
  std::vector<Convolver*> all;
};

// Blocks after which every contender's cost repeats.
int periodOf(const Workload& workload, const Contenders& contenders) {
  return std::max({contenders.whole.geometry().numChunks,
                   contenders.truncated.geometry().numChunks,
                   kZitaMaxPart / workload.blockLen});
}

// The instructions of the worst phase over the mean, and those of the worst block:
// through all combinations of phase and ring position.
void printInstructions(const std::string& name, Engine& engine) {
  const InstructionCounter counter;
  if (!counter.available()) return;
  const int numPhases = engine.geometry().numChunks;
  const int numRuns = std::lcm(numPhases, engine.geometry().ringLen) / numPhases;
  std::vector<std::int64_t> phases(static_cast<std::size_t>(numPhases));
  std::int64_t worst = 0;
  std::int64_t last = counter.read();
  for (int run = 0; run < numRuns; ++run) {
    for (std::int64_t& phase : phases) {
      engine.run();
      const std::int64_t now = counter.read();
      phase += now - last;
      worst = std::max(worst, now - last);
      last = now;
    }
  }
  const auto total = static_cast<double>(
      std::accumulate(phases.begin(), phases.end(), std::int64_t{0}));
  const auto worstPhase = static_cast<double>(std::ranges::max(phases));
  print(name + "/worst-phase", worstPhase * numPhases / total);
  print(name + "/worst-block",
        static_cast<double>(worst) * numPhases * numRuns / total);
}

void measure(const Workload& workload) {
  std::cerr << workload.name() << '\n';
  Contenders contenders(workload);
  const auto& all = contenders.all;
  checkOutputs(workload, contenders.responses,
               std::vector{all[own], all[plain], all[zitaUniform], all[zitaDefault]},
               std::vector{all[plainTruncated], all[ownTruncated]});

  const std::string name = "block/" + workload.name() + "/";
  const int period = periodOf(workload, contenders);
  const Timing timing(all, period, kNumRounds);
  for (std::size_t c = 0; c < all.size(); ++c) {
    print(name + kNames[c] + "/us", 1e6 * timing.mean(c));
    print(name + kNames[c] + "/ratio", timing.ratio(own, c));
    print(name + kNames[c] + "/ratio-hf", timing.ratio(ownTruncated, c));
  }
  const std::vector<double> blocks = successiveBlocks(*all[zitaDefault], period);
  print(name + "zita-default/worst",
        std::ranges::max(blocks) * period /
            std::accumulate(blocks.begin(), blocks.end(), 0.0));
  printInstructions(name + "ulmar/instructions", contenders.whole);
  printInstructions(name + "ulmar-hf/instructions", contenders.truncated);
}

}  // namespace

void measureBlocks() {
  constexpr int kPairs[][2] = {{1, 1}, {2, 2}, {2, 5}};
  for (const auto& [numInputs, numOutputs] : kPairs) {
    for (const double seconds : {0.5, 2.0, 6.0}) {
      for (const int blockLen : {128, 512, 1024}) {
        measure({numInputs, numOutputs, seconds, blockLen});
      }
    }
  }
}

void measureCurves() {
  for (const double seconds : {0.1, 0.25, 0.5, 1.0, 1.5, 2.0, 3.0, 4.0, 6.0, 8.0}) {
    const Workload workload{2, 2, seconds, 512};
    std::cerr << "curve " << workload.name() << '\n';
    Contenders contenders(workload);
    const int period = periodOf(workload, contenders);
    for (Convolver* const convolver : contenders.all) {
      for (int block = 0; block < 2 * period; ++block) {
        feedNoise(*convolver, workload);
        convolver->run();
      }
    }
    const Timing timing(contenders.all, period, kNumRounds);
    for (std::size_t c = 0; c < contenders.all.size(); ++c) {
      print("curve/" + workload.name() + "/" + kNames[c], 1e6 * timing.mean(c));
      if (seconds != 2.0) continue;
      const std::vector<double> blocks = successiveBlocks(*contenders.all[c], period);
      for (std::size_t block = 0; block < blocks.size(); ++block) {
        print("successive/" + std::to_string(block) + "/" + kNames[c],
              1e6 * blocks[block]);
      }
    }
  }
}

}  // namespace ulmar::bench
