#include "bench/convolver.h"

#include <random>
#include <sstream>

namespace ulmar::bench {

std::string Workload::name() const {
  std::ostringstream text;
  text << numInputs << 'x' << numOutputs << '/' << seconds << '/' << blockLen;
  return text.str();
}

std::vector<float> noise(int length, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<float> samples(static_cast<std::size_t>(length));
  for (float& sample : samples) {
    sample = static_cast<float>(static_cast<int>(random() >> 8) - (1 << 23)) * 0x1p-23F;
  }
  return samples;
}

std::vector<Workload> workloadTable(const std::set<std::string>& only) {
  constexpr int kPairs[][2] = {{1, 1}, {2, 2}, {2, 5}};
  std::vector<Workload> table;
  for (const auto& [numInputs, numOutputs] : kPairs) {
    for (const double seconds : {0.5, 2.0, 6.0, 10.0}) {
      for (const int blockLen : {64, 128, 512, 1024}) {
        const Workload workload{numInputs, numOutputs, seconds, blockLen};
        if (only.empty() || only.contains(workload.name())) table.push_back(workload);
      }
    }
  }
  return table;
}

host::Responses noiseResponses(const Workload& workload) {
  host::Responses responses{workload.numInputs, workload.numOutputs, false, {}};
  for (int pair = 0; pair < workload.numInputs * workload.numOutputs; ++pair) {
    responses.samples.push_back(
        noise(workload.irLen(), 1000 + static_cast<unsigned>(pair)));
  }
  return responses;
}

void feedNoise(Convolver& convolver, const Workload& workload) {
  for (int input = 0; input < workload.numInputs; ++input) {
    convolver.feed(input, noise(workload.blockLen, static_cast<unsigned>(input)));
  }
}

}  // namespace ulmar::bench
