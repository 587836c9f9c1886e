// From engine channels to five loudspeakers: where a sound is heard, and which channel
// goes where.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <numbers>

#include "tests/support/random.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/process/Ulmar_Process.h"

namespace ulmar::test {
namespace {

using Frame = std::array<double, 5>;

struct Crossovers {
  cApXOverCfs<float> cfs{};
  sApXOverSts<float> sts[3]{};
};

struct Mode {
  bool plainXY = true;
  bool passThrough = false;
  float yGain = 1.0F;
};

/// One frame of a configuration's decoder. Channels beyond those given are out of
/// reach.
template <int In>
Frame decode(std::vector<double> channels, Crossovers& crossovers, Mode mode = {}) {
  constexpr HostLong kPos = 2;
  std::array<std::array<double, kPos + 1>, 5> blocks{};
  std::array<double*, 5> chanBufs{};
  for (std::size_t k = 0; k < channels.size(); ++k) {
    blocks[k][kPos] = channels[k];
    chanBufs[k] = blocks[k].data();
  }
  Frame frame{};
  ProcessType<float, In, 5>().Decoder(chanBufs.data(), kPos, frame.data(), 0.5F,
                                      &crossovers.cfs, crossovers.sts, mode.plainXY,
                                      mode.passThrough, mode.yGain);
  return frame;
}

/// With all coefficients zero the sections are delays by one frame and by two, and a
/// constant is in the low band, an alternation in the high band, to the last bit after
/// two frames.
Frame settled(const std::vector<double>& wxy, bool high) {
  Crossovers crossovers;
  std::vector<double> opposite = wxy;
  for (double& x : opposite) x = high ? -x : x;
  decode<5>(wxy, crossovers);
  decode<5>(opposite, crossovers);
  return decode<5>(wxy, crossovers);
}

struct Vector {
  double x = 0.0;
  double y = 0.0;

  double length() const { return std::hypot(x, y); }
  /// Degrees by which it points elsewhere.
  double awayFrom(double azimuth) const {
    return std::fabs(std::remainder(std::atan2(y, x) - azimuth, 2 * std::numbers::pi)) *
           180.0 / std::numbers::pi;
  }
};

/// Gerzon's vector of loudspeakers at 45, 0, -45, 130 and -130 degrees: of velocity
/// with the gains as weights, of energy with their squares.
Vector localisation(const Frame& weights) {
  constexpr double kAzimuths[] = {45.0, 0.0, -45.0, 130.0, -130.0};
  Vector sum;
  double total = 0.0;
  for (std::size_t j = 0; j < 5; ++j) {
    const double azimuth = kAzimuths[j] * std::numbers::pi / 180.0;
    sum.x += weights[j] * std::cos(azimuth);
    sum.y += weights[j] * std::sin(azimuth);
    total += weights[j];
  }
  return {sum.x / total, sum.y / total};
}

Frame squared(Frame gains) {
  for (double& gain : gains) gain *= gain;
  return gains;
}

// A plane wave from anywhere, with W at -3 dB. The matrices have five decimals: five
// gains, each wrong by 5e-6, in a sum of 1.4 make 2e-5 of the vector and 0.001 degrees.
TEST(Decoder, PutsEverySoundWhereItComesFrom) {
  double shortest = 1.0;
  for (int degrees = 0; degrees < 360; ++degrees) {
    SCOPED_TRACE(degrees);
    const double azimuth = degrees * std::numbers::pi / 180.0;
    const std::vector<double> wave = {std::sqrt(0.5), std::cos(azimuth),
                                      std::sin(azimuth)};
    const Frame low = settled(wave, false);
    const Frame high = settled(wave, true);
    EXPECT_NEAR(localisation(low).length(), 1.0, 2e-5);
    EXPECT_LT(localisation(low).awayFrom(azimuth), 0.001);
    EXPECT_LT(localisation(high).awayFrom(azimuth), 0.001);
    EXPECT_LT(localisation(squared(low)).awayFrom(azimuth), 0.001);
    EXPECT_LT(localisation(squared(high)).awayFrom(azimuth), 0.001);
    // What the second matrix is for.
    EXPECT_GT(localisation(squared(high)).length(),
              localisation(squared(low)).length());
    shortest = std::min(shortest, localisation(squared(high)).length());
  }
  EXPECT_GT(shortest, 0.62);
}

TEST(Decoder, FormsXAndYFromAPair) {
  constexpr double k = 0.7071067811865476;
  Random random(62);
  Crossovers formed{.cfs = host::designCrossover(400.0, 48000.0)};
  Crossovers plain = formed;
  for (const float yGain : {1.0F, -1.0F, 0.25F}) {
    for (int n = 0; n < 100; ++n) {
      const auto c = random.signal<double>(3);
      const double y = double{yGain} * c[2];
      EXPECT_EQ(decode<2>(c, formed, {.plainXY = false, .yGain = yGain}),
                decode<1>({c[0], (c[1] + y) * k, (c[1] - y) * k}, plain));
      EXPECT_EQ(decode<5>(c, formed, {.yGain = yGain}),
                decode<1>({c[0], c[1], y}, plain));
    }
  }
}

TEST(Decoder, PassesThroughWithoutTouchingTheCrossovers) {
  Crossovers crossovers{.cfs = {0.1F, 0.2F, 0.3F}};
  decode<5>({1.0, 2.0, 3.0}, crossovers);
  const Crossovers before = crossovers;
  for (const bool plainXY : {true, false}) {
    const Mode mode = {.plainXY = plainXY, .passThrough = true, .yGain = -1.0F};
    const std::vector<double> channels = {1.0, 2.0, 3.0, 4.0, 5.0};
    const Frame expected = {1.0, 2.5, 2.0, 3.0, 4.0};
    EXPECT_EQ(decode<1>(channels, crossovers, mode), expected);
    EXPECT_EQ(decode<2>(channels, crossovers, mode), expected);
    EXPECT_EQ(decode<5>(channels, crossovers, mode), expected);
  }
  EXPECT_EQ(std::memcmp(before.sts, crossovers.sts, sizeof before.sts), 0);
}

}  // namespace
}  // namespace ulmar::test
