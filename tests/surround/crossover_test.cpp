// The two-band split: what its bands are, and to the bit how it is computed.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>

#include "tests/support/random.h"
#include "ulmar/host/crossover_design.h"

namespace ulmar::test {
namespace {

using Cfs = cApXOverCfs<float>;
using Sts = sApXOverSts<float>;

struct Bands {
  std::vector<double> low, high;
};

/// From rest, after which the state is left behind.
Bands split(const std::vector<double>& input, Cfs cfs) {
  Sts sts{};
  Bands bands{input, input};
  for (std::size_t n = 0; n < input.size(); ++n) {
    APSplit(input[n], &bands.low[n], &bands.high[n], &cfs, &sts);
  }
  return bands;
}

std::complex<double> responseAt(const std::vector<double>& impulseResponse,
                                double angle) {
  std::complex<double> sum;
  for (std::size_t n = 0; n < impulseResponse.size(); ++n) {
    sum += impulseResponse[n] * std::polar(1.0, -angle * static_cast<double>(n));
  }
  return sum;
}

double decibels(double gain) { return 20.0 * std::log10(gain); }

struct Design {
  double rate;
  double frequency;
};
constexpr Design kDesigns[] = {{44100.0, 400.0},   {48000.0, 400.0},  {96000.0, 400.0},
                               {192000.0, 400.0},  {8000.0, 400.0},   {48000.0, 48.0},
                               {48000.0, 12000.0}, {48000.0, 23952.0}};

// The bands of every design are a third-order Butterworth low-pass and high-pass, and
// their sum has the same gain at every frequency. Near the limits of the design the
// coefficients' own rounding shows: 0.2 % of the frequency.
TEST(Crossover, SplitsIntoButterworthBandsThatSumToAnAllPass) {
  for (const auto& [rate, frequency] : kDesigns) {
    SCOPED_TRACE(testing::Message() << frequency << " Hz at " << rate << " Hz");
    const Cfs cfs = host::designCrossover(frequency, rate);
    host::checkCrossover(cfs);
    std::vector<double> impulse(static_cast<std::size_t>(host::crossoverTail(cfs)) + 1);
    impulse[0] = 1.0;
    const Bands bands = split(impulse, cfs);
    std::vector<double> sum = bands.low;
    for (std::size_t n = 0; n < sum.size(); ++n) sum[n] += bands.high[n];

    const bool usual = frequency == 400.0;
    const double warped = std::tan(std::numbers::pi * frequency / rate);
    for (double f = 20.0; f <= std::min(20000.0, 0.499 * rate); f *= 1.1) {
      const double angle = 2.0 * std::numbers::pi * f / rate;
      const double order3 = std::pow(std::tan(0.5 * angle) / warped, 3.0);
      EXPECT_NEAR(decibels(std::abs(responseAt(sum, angle))), 0.0, 0.01) << f;
      EXPECT_NEAR(std::abs(responseAt(bands.low, angle)), 1.0 / std::hypot(1.0, order3),
                  usual ? 0.001 : 0.003)
          << f;
      EXPECT_NEAR(std::abs(responseAt(bands.high, angle)),
                  order3 / std::hypot(1.0, order3), usual ? 0.001 : 0.003)
          << f;
    }
  }
}

// Products of a coefficient with a stored value and the sum of the two recursive ones
// are rounded to single precision, once each; the input and the outputs never.
// In double precision every such product is exact, and a sum rounds to the same single
// value from there.
TEST(Crossover, RoundsToSinglePrecisionWhereItMust) {
  Random random(61);
  const auto single = [](double value) { return double{static_cast<float>(value)}; };
  for (int run = 0; run < 20; ++run) {
    const float c2 = 0.97F * random.sample();
    Cfs cfs{0.99F * random.sample(), c2, 0.97F * (1.0F + c2) * random.sample()};
    struct {
      float before[3];
      Sts sts;
      float after[3];
    } memory;
    constexpr std::uint32_t kUnread = 0x7FA00001;  // a NaN that arithmetic would change
    for (std::size_t word = 0; word < sizeof memory / sizeof kUnread; ++word) {
      std::memcpy(reinterpret_cast<char*>(&memory) + word * sizeof kUnread, &kUnread,
                  sizeof kUnread);
    }
    const auto untouched = memory;
    Sts& sts = memory.sts;
    sts.x1 = sts.y1 = sts.x2 = sts.z2 = sts.z1 = 0.0F;

    double x1 = 0.0, x2 = 0.0, y1 = 0.0, z1 = 0.0, z2 = 0.0;
    for (int n = 0; n < 500; ++n) {
      // More bits than a single has.
      const double x = double{random.sample()} + 0x1p-30 * double{random.sample()};
      double low = 0.0;
      double high = 0.0;
      APSplit(x, &low, &high, &cfs, &sts);

      const double a = double{cfs.c1} * x + x1 - single(double{cfs.c1} * y1);
      const double fed = single(double{cfs.d2} * x1);
      const double back =
          single(single(double{cfs.d2} * z1) + single(double{cfs.c2} * z2));
      const double b = double{cfs.c2} * x + fed + x2 - back;
      x2 = x1;
      x1 = single(x);
      y1 = single(a);
      z2 = z1;
      z1 = single(b);
      ASSERT_EQ(low, 0.5 * (a + b));
      ASSERT_EQ(high, 0.5 * (b - a));
      ASSERT_TRUE(sts.x1 == x1 && sts.x2 == x2 && sts.y1 == y1 && sts.z1 == z1 &&
                  sts.z2 == z2);
    }
    // The third and the seventh word are the host's, like what lies around the record.
    EXPECT_EQ(std::memcmp(&sts.unused3, &untouched.sts.unused3, sizeof(float)), 0);
    EXPECT_EQ(std::memcmp(&sts.unused7, &untouched.sts.unused7, sizeof(float)), 0);
    EXPECT_EQ(std::memcmp(memory.before, untouched.before, sizeof memory.before), 0);
    EXPECT_EQ(std::memcmp(memory.after, untouched.after, sizeof memory.after), 0);
  }
}

}  // namespace
}  // namespace ulmar::test
