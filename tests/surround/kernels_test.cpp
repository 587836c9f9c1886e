// Runs of three signals against one sample of one signal at a time, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/support/values.h"
#include "ulmar/decoder/band_kernels.h"

namespace ulmar::test {
namespace {

constexpr std::size_t kNumSignals = 3;

// W, X and Y with their states, as the decoder keeps them.
struct Bands {
  SignalRun low;
  SignalRun high;
  sApXOverSts<float> states[kNumSignals];

  double* lowOf(std::size_t k) {
    return std::array<double*, kNumSignals>{low.w, low.x, low.y}[k];
  }
  double* highOf(std::size_t k) {
    return std::array<double*, kNumSignals>{high.w, high.x, high.y}[k];
  }
};

Bands bandsOf(Values kind, Random& random) {
  Bands bands;
  for (std::size_t k = 0; k < kNumSignals; ++k) {
    // More bits than a single has.
    const auto sample = [&] {
      return double{valueOf<float>(kind, random)} + 0x1p-30 * double{random.sample()};
    };
    std::generate_n(bands.lowOf(k), kMaxDecodeRun, sample);
    std::generate_n(bands.highOf(k), kMaxDecodeRun, sample);
    sApXOverSts<float>& sts = bands.states[k];
    for (float* const word :
         {&sts.x1, &sts.y1, &sts.unused3, &sts.x2, &sts.z2, &sts.z1, &sts.unused7}) {
      *word = valueOf<float>(kind, random);
    }
  }
  return bands;
}

void expectSame(Bands& a, Bands& b) {
  for (std::size_t k = 0; k < kNumSignals; ++k) {
    EXPECT_TRUE(sameValues(a.lowOf(k), b.lowOf(k), kMaxDecodeRun)) << "low " << k;
    EXPECT_TRUE(sameValues(a.highOf(k), b.highOf(k), kMaxDecodeRun)) << "high " << k;
    EXPECT_TRUE(sameValues(&a.states[k].x1, &b.states[k].x1, 7)) << "state " << k;
  }
}

TEST(BandKernel, GivesTheBitsOfSingleSamples) {
  Random random(62);
  for (const int count : {0, 1, 2, 3, 17, kMaxDecodeRun}) {
    for (const Values kind : kAllValues) {
      SCOPED_TRACE(testing::Message() << count << " frames, values "
                                      << static_cast<int>(kind) << ", seed 62");
      const float c2 = 0.97F * random.sample();
      cApXOverCfs<float> cfs{0.99F * random.sample(), c2,
                             0.97F * (1.0F + c2) * random.sample()};
      Bands bands = bandsOf(kind, random);
      Bands expected = bands;
      for (std::size_t k = 0; k < kNumSignals; ++k) {
        double* const low = expected.lowOf(k);
        double* const high = expected.highOf(k);
        for (int i = 0; i < count; ++i) {
          APSplit(low[i], low + i, high + i, &cfs, &expected.states[k]);
        }
      }
      splitBands(bands.low, bands.high, count, cfs, bands.states);
      expectSame(bands, expected);
    }
  }
}

}  // namespace
}  // namespace ulmar::test
