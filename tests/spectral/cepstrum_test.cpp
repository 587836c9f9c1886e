// The real cepstrum against closed forms, and of signals of known echoes.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/spectral/toolkit.h"
#include "tests/support/dft.h"
#include "tests/support/random.h"

namespace ulmar::test {
namespace {

constexpr float kFloor = -13.815511F;  // ln 1e-6

std::vector<float> silence(int length) {
  return std::vector<float>(static_cast<std::size_t>(length));
}

void expectCleared(const Toolkit::Cepstrum& cepstrum) {
  for (const cmplx& value : cepstrum.work) {
    ASSERT_EQ(value.re, 0.0F);
    ASSERT_EQ(value.im, 0.0F);
  }
}

TEST(Cepstrum, ClosedForms) {
  // Value 0, every other even one and every odd one, and the level, of size 8.
  const float kNaN = std::numeric_limits<float>::quiet_NaN();
  const float half = static_cast<float>((std::log(4.0) - double{kFloor}) / 8);
  const struct {
    const char* name;
    std::vector<float> input;
    float first, even, odd, level;
  } cases[] = {
      {"silence", silence(8), kFloor, 0.0F, 0.0F, std::sqrt(5e-16F / 8)},
      {"impulse", {1, 0, 0, 0, 0, 0, 0, 0}, 0.0F, 0.0F, 0.0F, std::sqrt(5.0F / 8)},
      // Two bins, DC and Nyquist, are negative and fall to the floor.
      {"negative impulse",
       {-1, 0, 0, 0, 0, 0, 0, 0},
       kFloor / 4,
       kFloor / 4,
       0.0F,
       std::sqrt(5.0F / 8)},
      {"constant", std::vector<float>(8, 0.5F), half + kFloor, half, half,
       std::sqrt(2.0F)},
      {"no number", std::vector<float>(8, kNaN), kFloor, 0.0F, 0.0F, kNaN},
  };
  for (const auto& [name, input, first, even, odd, level] : cases) {
    SCOPED_TRACE(name);
    const auto cepstrum = Toolkit(8).cepstrum(input);
    // Sums of eight logarithms of at most 14, each rounded in six passes.
    constexpr float kTolerance = 14 * 6 * 0x1p-24F;
    for (int t = 0; t < 8; ++t) {
      const float expected = t == 0 ? first : t % 2 == 0 ? even : odd;
      EXPECT_NEAR(at(cepstrum.values, t), expected, kTolerance) << t;
    }
    if (std::isnan(level)) {
      EXPECT_TRUE(std::isnan(cepstrum.level));
    } else {
      EXPECT_NEAR(cepstrum.level, level, 4e-7F * level);
    }
    expectCleared(cepstrum);
    // Of the input only the first sample changes.
    EXPECT_EQ(std::memcmp(&cepstrum.input[1], &input[1], 7 * sizeof(float)), 0);
  }
}

TEST(Cepstrum, FirstSampleGainsATinyOffsetThatStays) {
  EXPECT_EQ(Toolkit(8).cepstrum(silence(8)).input[0], 1e-8F);
  const std::vector<float> loud(8, 0.5F);
  EXPECT_EQ(Toolkit(8).cepstrum(loud).input, loud);
}

TEST(Cepstrum, AnEchoStandsAtItsDelay) {
  // ln |1 + g w^d| = sum over m > 0 of (-1)^(m+1) g^m cos(2 pi k m d / N) / m, so that
  // the cepstrum has (-1)^(m+1) g^m / (2 m) at m d and at N - m d.
  const struct {
    int size, delay;
    float gain;
  } cases[] = {{8, 1, 0.5F},         {64, 7, -0.5F},         {256, 32, 0.25F},
               {1024, 100, -0.125F}, {1 << 16, 1234, 0.75F}, {1 << 17, 1 << 16, 0.5F}};
  for (const auto& [size, delay, gain] : cases) {
    SCOPED_TRACE(size);
    auto input = silence(size);
    input[0] = 1.0F;
    at(input, delay) = gain;
    std::vector<double> expected(static_cast<std::size_t>(size));
    double power = gain;
    for (int m = 1; std::abs(power) > 1e-12; ++m, power *= -double{gain}) {
      const auto place = static_cast<int>(std::int64_t{m} * delay % size);
      at(expected, place) += power / (2 * m);
      at(expected, (size - place) % size) += power / (2 * m);
    }
    const auto cepstrum = Toolkit(size).cepstrum(input);
    // Bins of 1/4 and more are known to 7 u per pass or better; the logarithm passes
    // that on four times as large, and the mean over all bins adds as much again.
    const double tolerance = 2 * 4 * 7 * Toolkit(size).log2Size * 0x1p-24;
    for (int t = 0; t < size; ++t) {
      ASSERT_NEAR(at(cepstrum.values, t), at(expected, t), tolerance) << t;
    }
    expectCleared(cepstrum);
  }
}

TEST(Cepstrum, LevelCountsHalfTheSpectrum) {
  for (const int size : {8, 64, 512}) {
    SCOPED_TRACE(size);
    const auto x = Random(5).signal(size);
    const Spectrum bins = directDft({x.begin(), x.end()});
    long double energy = 0;
    for (int k = 0; k <= size / 2; ++k) energy += std::norm(at(bins, k));
    const auto expected = static_cast<double>(std::sqrt(energy / size));
    // The running sum rounds once per bin.
    EXPECT_NEAR(Toolkit(size).cepstrum(x).level, expected, size * 0x1p-24 * expected);
  }
}

}  // namespace
}  // namespace ulmar::test
