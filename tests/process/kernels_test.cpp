// Metering, clamp and store of a run: the scalar reference at values worked out by
// hand, the vector body against the reference, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>

#include "tests/support/guarded.h"
#include "tests/support/values.h"
#include "ulmar/process/output_kernels.h"

namespace ulmar::test {
namespace {

// The samples of a run, `step` apart, in memory that ends with the last of them.
struct Samples : Guarded {
  Samples(int run, int step)
      : Guarded(sizeof(float) * static_cast<std::size_t>(run * std::abs(step))),
        first(as<float>() + (step < 0 ? (1 - run) * step : 0)) {}

  float* first;
};

void expectStored(int run, int step, float peak, Values kind, Random& random) {
  SCOPED_TRACE(testing::Message()
               << run << " samples " << step << " apart, peak " << peak << ", values "
               << static_cast<int>(kind) << ", seed 72");
  // Up to the boundary that its alignment leaves behind it.
  const std::size_t padded = (static_cast<std::size_t>(run) + 3) / 4 * 4;
  const Guarded memory(padded * sizeof(float));
  float* const mix = memory.as<float>();
  for (int i = 0; i < run; ++i) mix[i] = 2.0F * valueOf<float>(kind, random);
  const Samples samples(run, step);
  const Samples expected(run, step);

  const float expectedPeak = storeRunScalar(mix, run, expected.first, step, peak);
  const float got = storeRun(mix, run, samples.first, step, peak);
  EXPECT_TRUE(sameValues(&got, &expectedPeak, 1)) << got;
  EXPECT_TRUE(sameValues(samples.as<float>(), expected.as<float>(),
                         samples.size() / sizeof(float)));
}

TEST(OutputKernel, ReferenceClampsAndMeters) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr float kLargest = 32767.0F / 32768.0F;
  struct Case {
    float mix, stored, peakFromHalf;
  };
  constexpr Case kCases[] = {{0.25F, 0.25F, 0.5F},
                             {-0.75F, -0.75F, 0.75F},
                             {kLargest, kLargest, kLargest},
                             {1.0F, kLargest, 1.0F},
                             {-1.0F, -1.0F, 1.0F},
                             {-1.5F, -1.0F, 1.5F},
                             {kInfinity, kLargest, kInfinity},
                             {-kInfinity, -1.0F, kInfinity},
                             {kNaN, -1.0F, 0.5F}};
  for (const Case& c : kCases) {
    float sample = 0.0F;
    EXPECT_EQ(storeRunScalar(&c.mix, 1, &sample, 1, 0.5F), c.peakFromHalf) << c.mix;
    EXPECT_EQ(sample, c.stored) << c.mix;
  }
  const float mix[] = {0.25F, -2.0F, 0.5F};
  std::array samples = {9.0F, 9.0F, 9.0F, 9.0F, 9.0F};
  EXPECT_EQ(storeRunScalar(mix, 3, &samples[4], -2, 0.0F), 2.0F);
  EXPECT_EQ(samples, (std::array{0.5F, 9.0F, -1.0F, 9.0F, 0.25F}));
}

TEST(OutputKernel, VectorBodyReturnsTheBitsOfTheReference) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  Random random(72);
  for (int run = 1; run <= 9; ++run) {
    for (const int step : {1, 2, 5, -1, -3}) {
      for (const float peak : {0.0F, -0.0F, 0.5F, 8.0F, -1.0F, kNaN}) {
        for (const Values kind : kAllValues) {
          expectStored(run, step, peak, kind, random);
        }
      }
    }
  }
  // A NaN changes no peak, in whichever lane it stands.
  alignas(16) float mix[5];
  std::ranges::fill(mix, kNaN);
  float samples[5];
  EXPECT_EQ(storeRun(mix, 5, samples, 1, -1.0F), -1.0F);
}

}  // namespace
}  // namespace ulmar::test
