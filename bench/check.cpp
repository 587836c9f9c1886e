#include "bench/check.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>

namespace ulmar::bench {
namespace {

constexpr int kNumSampled = 20;  // blocks, of which one sample per output is looked at

double convolved(const host::Responses& responses,
                 const std::vector<std::vector<float>>& signals, int output, int n) {
  double sum = 0.0;
  for (int input = 0; input < responses.numInputs; ++input) {
    const auto& signal = signals[static_cast<std::size_t>(input)];
    const auto& response = *responses.between(input, output);
    const int last = std::min(n, static_cast<int>(response.size()) - 1);
    for (int d = 0; d <= last; ++d) {
      sum += double{signal[static_cast<std::size_t>(n - d)]} *
             double{response[static_cast<std::size_t>(d)]};
    }
  }
  return sum;
}

double sampleOf(const Convolver& convolver, int output, std::vector<float>& block,
                int n) {
  convolver.fetch(output, block);
  return double{block[static_cast<std::size_t>(n)]};
}

void compare(const Workload& workload, double sample, double truth, double level) {
  if (std::abs(sample - truth) <= 1e-4 * level) return;
  throw std::runtime_error("a contender gives a wrong output for " + workload.name());
}

}  // namespace

void checkOutputs(const Workload& workload, const host::Responses& responses,
                  std::span<Convolver* const> whole,
                  std::span<Convolver* const> truncated) {
  const int blockLen = workload.blockLen;
  const int numBlocks = workload.numBlocks() + 2;
  std::vector<std::vector<float>> signals;
  for (int input = 0; input < workload.numInputs; ++input) {
    signals.push_back(noise(numBlocks * blockLen, static_cast<unsigned>(input)));
  }
  std::vector<float> block(static_cast<std::size_t>(blockLen));
  const auto advance = [&](Convolver& convolver, int start) {
    for (int input = 0; input < workload.numInputs; ++input) {
      const auto& signal = signals[static_cast<std::size_t>(input)];
      convolver.feed(input, {signal.data() + start, block.size()});
    }
    convolver.run();
  };

  const int stride = std::max(1, numBlocks / kNumSampled);
  for (int index = 0; index < numBlocks; ++index) {
    const int start = index * blockLen;
    for (Convolver* const convolver : whole) advance(*convolver, start);
    for (Convolver* const convolver : truncated) advance(*convolver, start);
    if ((numBlocks - 1 - index) % stride != 0) continue;

    const int n = 37 * index % blockLen;
    // Products of two uniform values have a variance of 1/9.
    const double numTerms =
        workload.numInputs * (1.0 + std::min(start + n, workload.irLen()));
    const double level = std::sqrt(numTerms) / 3.0;
    for (int output = 0; output < workload.numOutputs; ++output) {
      std::map<int, double> truths;  // by lag
      for (const Convolver* const convolver : whole) {
        const int lag = convolver->lag();
        if (!truths.contains(lag)) {
          const int at = start - lag * blockLen + n;
          truths[lag] = at < 0 ? 0.0 : convolved(responses, signals, output, at);
        }
        compare(workload, sampleOf(*convolver, output, block, n), truths[lag], level);
      }
      for (const Convolver* const convolver : truncated) {
        compare(workload, sampleOf(*convolver, output, block, n),
                sampleOf(*truncated[0], output, block, n), level);
      }
    }
  }
}

}  // namespace ulmar::bench
