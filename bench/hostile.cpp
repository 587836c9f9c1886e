// What streams cost under signals that no host should send, beside noise: prints the
// largest ratio. The rounds take turns, and the least of each signal counts, so that
// other programs hardly matter.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "bench/convolver.h"
#include "ulmar/host/stream.h"

namespace {

using ulmar::Planar;
using ulmar::bench::noise;

constexpr int kBlockLen = 128;
constexpr int kFrames = 64 * kBlockLen;
constexpr int kNumRounds = 60;

struct Signal {
  const char* name;
  /// Of the noise's sample and its number.
  float (*sample)(float, int);
};

float everySeventh(float value, float noise, int i) {
  return i % 7 == 0 ? value : noise;
}

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr std::array<Signal, 7> kSignals = {{
    {"noise", [](float noise, int) { return noise; }},
    {"NaN", [](float noise, int i) { return everySeventh(kNaN, noise, i); }},
    {"nothing but NaN", [](float, int) { return kNaN; }},
    {"infinities",
     [](float noise, int i) {
       return everySeventh(i % 2 == 0 ? kInf : -kInf, noise, i);
     }},
    {"1e30", [](float noise, int i) { return everySeventh(1e30F, noise, i); }},
    {"denormals", [](float noise, int) { return noise * 1e-39F; }},
    {"silence after noise",
     [](float noise, int i) { return i < kFrames / 8 ? noise : 0.0F; }},
}};

double secondsOf(ulmar::host::Stream& stream, const Planar& in, Planar& out) {
  std::vector<const float*> from;
  std::vector<float*> to;
  for (const auto& channel : in) from.push_back(channel.data());
  for (auto& channel : out) to.push_back(channel.data());
  const auto start = std::chrono::steady_clock::now();
  stream.process(from.data(), to.data(), kFrames);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start)
      .count();
}

// The largest ratio of a signal's time to that of noise.
double largestRatio(int inputs, int outputs, int irLen) {
  unsigned seed = 7;
  Planar samples(static_cast<std::size_t>(outputs == 5 ? 3 : 4));
  for (auto& channel : samples) channel = noise(irLen, seed++);
  ulmar::host::Responses responses{inputs, outputs == 5 ? 3 : 2, outputs == 5,
                                   std::move(samples)};
  ulmar::host::StreamOptions options;
  options.blockLen = kBlockLen;
  if (outputs == 5) options.crossover = {-0.95F, 0.93F, -1.93F};
  const ulmar::host::StreamPlan plan(inputs, outputs, responses.shape(), options);
  ulmar::host::Stream stream(plan, responses);

  std::array<Planar, kSignals.size()> inputsOf;
  for (std::size_t s = 0; s < kSignals.size(); ++s) {
    inputsOf[s].resize(static_cast<std::size_t>(inputs));
    for (auto& channel : inputsOf[s]) {
      channel = noise(kFrames, seed++);
      for (int i = 0; i < kFrames; ++i) {
        float& sample = channel[static_cast<std::size_t>(i)];
        sample = kSignals[s].sample(sample, i);
      }
    }
  }
  Planar out(static_cast<std::size_t>(outputs), std::vector<float>(kFrames));
  std::array<double, kSignals.size()> least;
  least.fill(std::numeric_limits<double>::infinity());
  for (int round = 0; round < kNumRounds; ++round) {
    for (std::size_t s = 0; s < kSignals.size(); ++s) {
      least[s] = std::min(least[s], secondsOf(stream, inputsOf[s], out));
    }
  }
  double largest = 0.0;
  for (std::size_t s = 1; s < kSignals.size(); ++s) {
    std::fprintf(stderr, "%d > %d, %d samples, %s: %.3f\n", inputs, outputs, irLen,
                 kSignals[s].name, least[s] / least[0]);
    largest = std::max(largest, least[s] / least[0]);
  }
  return largest;
}

}  // namespace

int main() {
  double largest = 0.0;
  for (const int irLen : {2000, 48000}) {
    for (const int outputs : {2, 5}) {
      largest = std::max(largest, largestRatio(2, outputs, irLen));
    }
  }
  std::printf("at most %.3f times the cost of noise\n", largest);
}
