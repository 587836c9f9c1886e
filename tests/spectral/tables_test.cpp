// The table builders against the closed form of what they fill in.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <numbers>
#include <vector>

#include "ulmar/spectral/UpdateOstinFFT.h"

namespace ulmar::test {
namespace {

constexpr HostLong kUntouched = -77;

struct Tables {
  explicit Tables(HostLong size)
      : rev(length(size), kUntouched),
        doubleRev(length(size), kUntouched),
        single(length(size) / 2 + 1, cmplx{kUntouched, kUntouched}),
        twice(length(size) / 2 + 1, dcmplx{kUntouched, kUntouched}) {
    UpdateFFTTables(rev.data(), single.data(), size);
    dUpdateFFTTables(doubleRev.data(), twice.data(), size);
  }

  // One element beyond the table, to see that it stays.
  static std::size_t length(HostLong size) {
    return static_cast<std::size_t>(std::max(size, HostLong{0})) + 1;
  }

  std::vector<HostLong> rev;
  std::vector<HostLong> doubleRev;
  std::vector<cmplx> single;
  std::vector<dcmplx> twice;
};

TEST(FftTables, TwiddlesAreTheUnitRoots) {
  for (const HostLong size : {2, 5, 6, 8, 12, 64, 4096, 131072}) {
    SCOPED_TRACE(size);
    const Tables tables(size);
    for (HostLong k = 0; k < size / 2; ++k) {
      const auto [re, im] = tables.twice[static_cast<std::size_t>(k)];
      const long double angle = 2 * std::numbers::pi_v<long double> * k / size;
      // Three roundings of an angle of at most pi, and the result's.
      EXPECT_NEAR(re, static_cast<double>(std::cos(angle)), 9 * 0x1p-53) << k;
      EXPECT_NEAR(im, static_cast<double>(-std::sin(angle)), 9 * 0x1p-53) << k;
      EXPECT_EQ(tables.single[static_cast<std::size_t>(k)].re, static_cast<float>(re));
      EXPECT_EQ(tables.single[static_cast<std::size_t>(k)].im, static_cast<float>(im));
    }
    EXPECT_TRUE(std::signbit(tables.twice[0].im));
    EXPECT_TRUE(std::signbit(tables.single[0].im));
    EXPECT_EQ(tables.twice[static_cast<std::size_t>(size / 2)].re, kUntouched);
    EXPECT_EQ(tables.single[static_cast<std::size_t>(size / 2)].im, kUntouched);
  }
}

TEST(FftTables, ReversalMirrorsTheBits) {
  // Sizes that are no power of two: the exponent is the nearest, bits above it drop.
  const struct {
    HostLong size;
    int numBits;
  } cases[] = {{1, 0},  {2, 1},  {5, 2},  {6, 3},     {8, 3},
               {11, 3}, {12, 4}, {16, 4}, {1024, 10}, {131072, 17}};
  for (const auto& [size, numBits] : cases) {
    SCOPED_TRACE(size);
    const Tables tables(size);
    EXPECT_EQ(tables.rev, tables.doubleRev);
    for (HostLong i = 0; i < size; ++i) {
      const HostLong reversed = tables.rev[static_cast<std::size_t>(i)];
      EXPECT_EQ(reversed >> numBits, 0);
      for (int bit = 0; bit < numBits; ++bit) {
        ASSERT_EQ((reversed >> bit) & 1, (i >> (numBits - 1 - bit)) & 1) << i;
      }
    }
    EXPECT_EQ(tables.rev.back(), kUntouched);
  }
}

TEST(FftTables, NoSizeWritesNothing) {
  for (const HostLong size : {0, -1, -8}) {
    const Tables tables(size);
    EXPECT_EQ(tables.rev[0], kUntouched);
    EXPECT_EQ(tables.doubleRev[0], kUntouched);
    EXPECT_EQ(tables.single[0].re, kUntouched);
    EXPECT_EQ(tables.twice[0].re, kUntouched);
  }
  EXPECT_EQ(Tables(1).twice[0].re, kUntouched);
}

}  // namespace
}  // namespace ulmar::test
