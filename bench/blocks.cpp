#include <algorithm>
#include <iostream>
#include <numeric>

#include "bench/contenders.h"
#include "bench/figures.h"
#include "bench/rounds.h"

namespace ulmar::bench {
namespace {

constexpr int kNumRounds = 9;

// The workload of the goals for one engine alone and for a truncated upper band.
bool isEngineWorkload(const Workload& workload) {
  return workload.name() == "2x2/2/512";
}

struct Evenness {
  double mean;
  double worst;
};

Evenness evenness(const std::vector<double>& blocks) {
  return {std::accumulate(blocks.begin(), blocks.end(), 0.0) /
              static_cast<double>(blocks.size()),
          std::ranges::max(blocks)};
}

void printRatios(const std::string& name, const Contenders& contenders,
                 const Timing& timing, const std::string& suffix) {
  const std::size_t chosen = contenders.index("ulmar" + suffix);
  const std::size_t one = contenders.index("one" + suffix);
  print(name + "us" + suffix, 1e6 * timing.mean(chosen));
  for (const char* const peer : {"plain", "zita-uniform", "zita-default"}) {
    if (!contenders.has(peer)) continue;
    print(name + "over-" + peer + suffix, timing.ratio(chosen, contenders.index(peer)));
  }
  print(name + "one-over-zita-default" + suffix,
        timing.ratio(one, contenders.index("zita-default")));
  std::size_t best = one;
  for (const char* const rival : {"two", "two-shorter", "two-longer"}) {
    if (!contenders.has(rival)) continue;
    const std::size_t two = contenders.index(rival + suffix);
    if (timing.mean(two) < timing.mean(best)) best = two;
  }
  print(name + "over-best" + suffix, timing.ratio(chosen, best));
}

void measure(const Workload& workload) {
  std::cerr << workload.name() << '\n';
  Contenders contenders(workload, true);
  if (isEngineWorkload(workload)) contenders.addEngines();

  const std::string name = "block/" + workload.name() + "/";
  const host::StreamPlan& plan = contenders.plan("ulmar");
  print(name + "tail", plan.tail() ? plan.tail()->geometry.blockLen : 0);

  const Timing timing(contenders.all(), kNumRounds);
  for (const char* const suffix : {"", "-avx"}) {
    printRatios(name, contenders, timing, suffix);
  }
  print(name + "zita-default/us", 1e6 * timing.mean(contenders.index("zita-default")));
  if (contenders.has("engine")) {
    for (const char* const peer : {"plain", "zita-default"}) {
      for (const char* const own : {"engine", "engine-hf"}) {
        print(name + own + "-over-" + peer,
              timing.ratio(contenders.index(own), contenders.index(peer)));
      }
    }
  }

  constexpr int kLeastSuccessive = 32;
  const int numSlots = plan.tail() ? plan.tail()->numSlots : 1;
  Convolver& peer = contenders.at("zita-default");
  const Evenness own = evenness(
      successiveBlocks(contenders.at("ulmar"), std::max(numSlots, kLeastSuccessive)));
  const Evenness zita =
      evenness(successiveBlocks(peer, std::max(peer.period(), kLeastSuccessive)));
  print(name + "worst", own.worst / own.mean);
  print(name + "zita-default/worst", zita.worst / zita.mean);
  print(name + "worst-over-zita-default", own.worst / zita.worst);
}

// How the cost grows with the response, by the plans for each.
void measureGrowth() {
  std::cerr << "growth\n";
  const Workload shorter{2, 2, 2.0, 128};
  const Workload longer{2, 2, 6.0, 128};
  std::vector<std::unique_ptr<Convolver>> owned;
  std::vector<Convolver*> all;
  for (const Workload& workload : {shorter, longer}) {
    const host::Responses responses = noiseResponses(workload);
    owned.push_back(std::make_unique<PlanarStream>(
        planFor(workload, responses.shape(), host::kTailAuto), responses));
    feedNoise(*owned.back(), workload);
    all.push_back(owned.back().get());
    owned.push_back(std::make_unique<WithBody>(*all.back(), Isa::avx));
    all.push_back(owned.back().get());
    for (int block = 0; block < workload.numBlocks(); ++block) all.back()->run();
  }
  const Timing timing(all, kNumRounds);
  print("growth/2x2/128/2-6", timing.ratio(2, 0));
  print("growth/2x2/128/2-6-avx", timing.ratio(3, 1));
}

}  // namespace

void measureBlocks(const std::set<std::string>& only) {
  for (const Workload& workload : workloadTable(only)) measure(workload);
  if (only.empty()) measureGrowth();
}

void measureCurves() {
  constexpr const char* kNames[] = {"ulmar", "one", "plain", "zita-uniform",
                                    "zita-default"};
  for (const double seconds : {0.1, 0.25, 0.5, 1.0, 1.5, 2.0, 3.0, 4.0, 6.0, 8.0}) {
    const Workload workload{2, 2, seconds, 128};
    std::cerr << "curve " << workload.name() << '\n';
    const Contenders contenders(workload, false);
    const Timing timing(contenders.all(), kNumRounds);
    for (const char* const name : kNames) {
      if (!contenders.has(name)) continue;
      print("curve/" + workload.name() + "/" + name,
            1e6 * timing.mean(contenders.index(name)));
    }
    if (seconds != 2.0) continue;
    const int numBlocks = contenders.at("zita-default").period();
    for (const char* const name : kNames) {
      const auto blocks = successiveBlocks(contenders.at(name), numBlocks);
      for (std::size_t block = 0; block < blocks.size(); ++block) {
        print("successive/" + std::to_string(block) + "/" + name, 1e6 * blocks[block]);
      }
    }
  }
}

}  // namespace ulmar::bench
