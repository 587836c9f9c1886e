// Windows, fades and half-circle tables against their closed forms; the setup pointers.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

#include "tests/support/at.h"
#include "ulmar/spectral/UpdateOstinFFT.h"
#include "ulmar/spectral/VecLibSetupPtr.h"

namespace ulmar::test {
namespace {

constexpr float kUntouched = -77.0F;

// The table and one element behind it.
std::vector<float> window(HostLong size, HostLong type, HostLong normLength,
                          bool normalize) {
  std::vector<float> table(static_cast<std::size_t>(std::max(size, HostLong{0})) + 1,
                           kUntouched);
  FillWinTab(size, type, normLength, normalize, table.data());
  EXPECT_EQ(table.back(), kUntouched);
  table.pop_back();
  return table;
}

double cubic(double h) { return h * h * (3 - 2 * h); }
double quintic(double h) { return h * h * h * (6 * h * h - 15 * h + 10); }

struct Curve {
  HostLong type;
  std::function<double(double)> unscaled;  // of h, which rises from 0 to 1
  bool isRoot = false;                     // of the scaled value
  double pairSum = 1.0;                    // of a value, or its square, and its mirror
};

const Curve kCurves[] = {
    {1, cubic, true},
    {2, quintic, true},
    {3, [](double h) { return h; }},
    {4, cubic},
    {5, quintic},
    {7, [](double h) { return 0.54 - 0.46 * (1 - 2 * h); }, false, 1.08},
    {0, [](double h) { return h; }, true},
    {8, [](double h) { return h; }, true},
    {-3, [](double h) { return h; }, true},
};

TEST(WindowTables, FollowTheirCurves) {
  for (const Curve& curve : kCurves) {
    for (const HostLong size : {1, 2, 4, 5, 64, 1000, 65536}) {
      for (const bool normalize : {false, true}) {
        SCOPED_TRACE(testing::Message() << "type " << curve.type << ", size " << size
                                        << ", normalize " << normalize);
        const HostLong normLength = normalize ? 3 * size : 0;
        const double scale = normalize ? 2.0 / normLength : 1.0;
        const auto table = window(size, curve.type, normLength, normalize);
        for (HostLong i = 0; i < size; ++i) {
          const double phi = std::numbers::pi * (i + 0.5) / size;
          const double scaled = scale * curve.unscaled((1 - std::cos(phi)) / 2);
          const double expected = curve.isRoot ? std::sqrt(scaled) : scaled;
          // One rounding to single precision; the position, summed up in double
          // precision, is off by size 2^-53 at most, which counts only where the curve
          // is next to nothing.
          ASSERT_NEAR(at(table, i), expected, 0x1p-24 * expected + size * 0x1p-51) << i;

          const auto value = [&](HostLong k) {
            const double v = at(table, k);
            return curve.isRoot ? v * v : v;
          };
          ASSERT_NEAR(value(i) + value(size - 1 - i), scale * curve.pairSum,
                      3 * 0x1p-24 * scale + size * 0x1p-50);
        }
      }
    }
  }
}

TEST(WindowTables, TheConstantIsOneOrAShare) {
  EXPECT_EQ(window(4, 6, 0, false), std::vector<float>(4, 1.0F));
  EXPECT_EQ(window(4, 6, 8, true), std::vector<float>(4, 0.125F));
  EXPECT_EQ(window(1, 6, 3, true), std::vector<float>(1, 1.0F / 3.0F));
}

TEST(WindowTables, NoSizeWritesNothing) {
  for (HostLong type = 0; type <= 8; ++type) {
    window(0, type, 1, true);
    window(-5, type, 1, false);
  }
}

TEST(HalfCircle, HoldsNegatedSinesAndCosines) {
  for (const HostLong n : {-1, 0, 1, 4, 100, 4096}) {
    SCOPED_TRACE(n);
    const auto length = static_cast<std::size_t>(std::max(n, HostLong{0}));
    std::vector<float> sines(length + 1, kUntouched);
    std::vector<float> cosines(length + 1, kUntouched);
    FillSinCosTabDSP(n, sines.data(), cosines.data());
    for (HostLong i = 0; i < n; ++i) {
      const double angle = std::numbers::pi * i / n;
      // Next to a zero the error of the angle, below 2^-51, is all there is.
      ASSERT_NEAR(at(sines, i), -std::sin(angle), 0x1p-24 * std::sin(angle) + 0x1p-51);
      ASSERT_NEAR(at(cosines, i), -std::cos(angle),
                  0x1p-24 * std::abs(std::cos(angle)) + 0x1p-51);
    }
    EXPECT_EQ(sines.back(), kUntouched);
    EXPECT_EQ(cosines.back(), kUntouched);
    EXPECT_TRUE(std::signbit(sines[0])) << "minus zero";
  }
}

TEST(SetupPointers, AreNullAndStay) {
  for (const HostLong size : {-1, 0, 1024}) {
    EXPECT_EQ(GetVecLibSetupPtr(size), nullptr);
    EXPECT_EQ(dGetVecLibSetupPtr(size), nullptr);
  }
  int something = 0;
  void* setup = &something;
  DisposeVecLibSetupPtr(setup);
  EXPECT_EQ(setup, &something);
}

}  // namespace
}  // namespace ulmar::test
