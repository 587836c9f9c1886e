// The instructions of every boundary of blocks. Callgrind counts them, so this section
// has to run in it: the counts are exact, whatever else the machine does, and those of
// the AVX bodies, the widest that it knows.
#include <valgrind/callgrind.h>

#include <algorithm>
#include <iostream>
#include <numeric>

#include "bench/figures.h"
#include "bench/ulmar.h"
#include "ulmar/process/engine_state.h"

namespace ulmar::bench {
namespace {

// Blocks after which the phases of all engines have met in every combination.
int allPhases(const host::StreamPlan& plan) {
  const auto phasesOf = [](const ParamStruct& params) {
    const ConvRTState state = engineStateOf(params);
    return std::lcm(state.numChunks, state.ringLen);
  };
  // Where a ring wraps decides little; the combinations of chunks are always whole.
  constexpr int kMostBoundaries = 128;
  const int head = std::min(phasesOf(plan.params()), kMostBoundaries);
  if (!plan.tail()) return head;
  const ConvRTState tail = engineStateOf(plan.tail()->params);
  return std::max(head, plan.tail()->numSlots * tail.numChunks);
}

// Has callgrind write the instructions of each boundary under `name`.
void countBoundaries(const std::string& name, const Workload& workload,
                     const host::StreamPlan& plan, const host::Responses& responses) {
  std::cerr << name << '\n';
  PlanarStream stream(plan, responses);
  feedNoise(stream, workload);
  // Until a tail has begun.
  const int numSlots = plan.tail() ? plan.tail()->numSlots : 1;
  for (int block = 0; block < 2 * numSlots; ++block) stream.run();
  for (int block = allPhases(plan); block > 0; --block) {
    CALLGRIND_ZERO_STATS;
    stream.run();
    CALLGRIND_DUMP_STATS_AT(name.c_str());
  }
}

}  // namespace

void countInstructions(const std::set<std::string>& only) {
  for (const Workload& workload : workloadTable(only)) {
    const host::Responses responses = noiseResponses(workload);
    const std::string name = "block/" + workload.name() + "/";
    countBoundaries(name + "one-instructions", workload,
                    planFor(workload, responses.shape(), host::kTailOff), responses);
    const auto plan = planFor(workload, responses.shape(), host::kTailAuto);
    if (!plan.tail()) continue;
    countBoundaries(name + "two-instructions", workload, plan, responses);
  }
}

}  // namespace ulmar::bench
