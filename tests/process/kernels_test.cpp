// Metering, clamp and store of a run against one sample after the other.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

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

float clampedPlainly(float v) {
  if (!(v > -1.0F)) return -1.0F;
  return v > 0x7FFFp-15F ? 0x7FFFp-15F : v;
}

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

  float expectedPeak = peak;
  for (int i = 0; i < run; ++i) {
    if (std::fabs(mix[i]) > expectedPeak) expectedPeak = std::fabs(mix[i]);
    expected.first[i * step] = clampedPlainly(mix[i]);
  }
  const float got = storeRun(mix, run, samples.first, step, peak);
  EXPECT_TRUE(sameValues(&got, &expectedPeak, 1)) << got;
  EXPECT_TRUE(sameValues(samples.as<float>(), expected.as<float>(),
                         samples.size() / sizeof(float)));
}

TEST(OutputKernel, MetersClampsAndStoresSampleBySample) {
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
    // Not a number alone leaves any peak as it is.
    alignas(16) float mix[12];
    std::ranges::fill(mix, kNaN);
    float samples[12];
    EXPECT_EQ(storeRun(mix, run, samples, 1, -1.0F), -1.0F) << run;
  }
}

}  // namespace
}  // namespace ulmar::test
