// Runs of three signals against one sample of one signal at a time, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "decoder/band_kernels.h"
#include "tests/support/random.h"

namespace ulmar::test {
namespace {

template <typename T>
bool sameBits(const T& a, const T& b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

SignalRun noise(Random& random) {
  SignalRun run;
  for (double* const signal : {run.w, run.x, run.y}) {
    // More bits than a single has.
    std::generate_n(signal, kMaxDecodeRun, [&] {
      return double{random.sample()} + 0x1p-30 * double{random.sample()};
    });
  }
  return run;
}

TEST(BandSplit, RunsOfThreeSignalsGiveTheBitsOfSingleSamples) {
  Random random(62);
  for (const int count : {0, 1, 2, 3, 17, kMaxDecodeRun}) {
    SCOPED_TRACE(testing::Message() << count << " frames, seed 62");
    const float c2 = 0.97F * random.sample();
    cApXOverCfs<float> cfs{0.99F * random.sample(), c2,
                           0.97F * (1.0F + c2) * random.sample()};
    sApXOverSts<float> states[3];
    for (sApXOverSts<float>& sts : states) {
      float words[7];
      std::ranges::generate(words, [&] { return random.sample(); });
      static_assert(sizeof words == sizeof sts);
      std::memcpy(&sts, words, sizeof sts);
    }
    SignalRun low = noise(random);
    SignalRun high = noise(random);

    SignalRun expectedLow = low;
    SignalRun expectedHigh = high;
    auto expectedStates = std::to_array(states);
    double* const lows[] = {expectedLow.w, expectedLow.x, expectedLow.y};
    double* const highs[] = {expectedHigh.w, expectedHigh.x, expectedHigh.y};
    for (std::size_t k = 0; k < 3; ++k) {
      for (int i = 0; i < count; ++i) {
        APSplit(lows[k][i], &lows[k][i], &highs[k][i], &cfs, &expectedStates[k]);
      }
    }
    splitBands(low, high, count, cfs, states);
    EXPECT_TRUE(sameBits(low, expectedLow));
    EXPECT_TRUE(sameBits(high, expectedHigh));
    EXPECT_TRUE(sameBits(std::to_array(states), expectedStates));
  }
}

}  // namespace
}  // namespace ulmar::test
