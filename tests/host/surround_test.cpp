// What the kit makes of B-format and of speaker feeds, heard at the five outputs.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "tests/support/random.h"
#include "tests/support/scratch_dir.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/stream.h"
#include "ulmar/host/surround_responses.h"

namespace ulmar::host {
namespace {

using test::expectSentence;
using test::refusalOf;

using Feeds = std::vector<double>;

struct Source {
  double degrees;  // to the left
};

/// A response of one sample per channel: the plane wave of a source in either
/// convention.
Planar file(std::initializer_list<Source> sources, BFormat convention,
            bool withHeight = true) {
  Planar channels;
  for (const auto& [degrees] : sources) {
    const double azimuth = degrees * std::numbers::pi / 180.0;
    const auto put = [&](double value) {
      channels.push_back({static_cast<float>(value)});
    };
    constexpr double kHeight = 0.3;
    if (convention == BFormat::fuma) {
      put(std::sqrt(0.5));
      put(std::cos(azimuth));
      put(std::sin(azimuth));
      if (withHeight) put(kHeight);
    } else {
      put(1.0);
      put(std::sin(azimuth));
      put(kHeight);
      put(std::cos(azimuth));
    }
  }
  return channels;
}

Planar wave(std::initializer_list<Source> sources) {
  return horizontalBFormat(file(sources, BFormat::fuma), BFormat::fuma);
}

TEST(SurroundResponses, TakeBFormatInEitherConvention) {
  for (const std::initializer_list<Source> sources :
       {std::initializer_list<Source>{{30.0}},
        {{30.0}, {-100.0}},
        {{0.0}, {1.0}, {2.0}}}) {
    const Planar fuma = horizontalBFormat(file(sources, BFormat::fuma), BFormat::fuma);
    EXPECT_EQ(fuma.size(), 3 * sources.size());
    EXPECT_EQ(horizontalBFormat(file(sources, BFormat::ambix), BFormat::ambix), fuma);
    EXPECT_EQ(horizontalBFormat(file(sources, BFormat::fuma, false), BFormat::fuma),
              fuma);
  }
  for (const int count : {1, 2, 3, 5, 6, 9, 10, 15, 16}) {
    const Planar channels(static_cast<std::size_t>(count), {0.5F});
    const std::string number = std::to_string(count) + " channels";
    expectSentence(refusalOf([&] { horizontalBFormat(channels, BFormat::ambix); }),
                   {number, "4"});
    if (count % 3 == 0 && count < 12) continue;
    expectSentence(refusalOf([&] { horizontalBFormat(channels, BFormat::fuma); }),
                   {number, "3"});
  }
}

/// The five outputs to constant inputs. Without coefficients the crossover is two
/// delays, and constants are in its low band.
Feeds outputs(const Responses& responses, const std::vector<float>& inputs) {
  StreamOptions options;
  options.blockLen = 16;
  options.wetGain = 0.25F;
  options.foldToStereo = inputs.size() == 5;
  Stream stream(static_cast<int>(inputs.size()), 5, streamParams(responses, options),
                responses);
  constexpr std::size_t kFrames = 64;
  Planar in;
  Planar out(5, std::vector<float>(kFrames));
  for (const float value : inputs) in.emplace_back(kFrames, value);
  std::vector<const float*> from;
  std::vector<float*> to;
  for (const auto& channel : in) from.push_back(channel.data());
  for (auto& channel : out) to.push_back(channel.data());
  stream.process(from.data(), to.data(), kFrames);
  Feeds feeds;
  for (const auto& channel : out) feeds.push_back(4.0 * double{channel.back()});
  return feeds;
}

/// The wave's velocity vector at the listener: loudspeakers at 45, 0, -45, 130 and -130
/// degrees, in units of a wave of unit pressure.
struct Velocity {
  double front, left;
};
Velocity velocity(const Feeds& feeds) {
  constexpr double kDegrees[] = {45.0, 0.0, -45.0, 130.0, -130.0};
  Velocity v{};
  for (std::size_t j = 0; j < 5; ++j) {
    const double azimuth = kDegrees[j] * std::numbers::pi / 180.0;
    v.front += feeds[j] * std::cos(azimuth) * std::sqrt(0.5);
    v.left += feeds[j] * std::sin(azimuth) * std::sqrt(0.5);
  }
  return v;
}
double pressure(const Feeds& feeds) {
  double sum = 0.0;
  for (const double feed : feeds) sum += feed * std::sqrt(0.5);
  return sum;
}

// Five decimals of the matrices, and the rounding of single samples.
constexpr double kNear = 3e-5;

TEST(SurroundResponses, PutSoundWhereTheSourceWas) {
  constexpr float h = 0.70710678F;
  const struct {
    const char* name;
    std::initializer_list<Source> sources;
    std::vector<float> inputs;
    double pressure;
    double degrees;
    double length;  // of the velocity
  } cases[] = {
      // clang-format off
      {"mono", {{70.0}}, {1.0F}, 1.0, 70.0, 1.0},
      {"mono, two sources alike", {{-30.0}, {-30.0}}, {1.0F}, 2.0, -30.0, 2.0},
      {"what both sides have in common", {{70.0}}, {h, h}, 1.0, 70.0, 1.0},
      {"left alone", {{0.0}}, {1.0F, 0.0F}, h, 45.0, 1.0},
      {"right alone", {{0.0}}, {0.0F, 1.0F}, h, -45.0, 1.0},
      {"left alone, from behind", {{180.0}}, {1.0F, 0.0F}, h, -135.0, 1.0},
      {"left alone, off the axes", {{105.0}}, {1.0F, 0.0F}, h, 45.0, h},
      {"the left of two sources", {{25.0}, {-40.0}}, {1.0F, 0.0F}, 1.0, 25.0, 1.0},
      {"the right of two sources", {{25.0}, {-40.0}}, {0.0F, 1.0F}, 1.0, -40.0, 1.0},
      {"five, right surround", {{0.0}}, {0.0F, 0.0F, 0.0F, 0.0F, 1.0F},
       0.7071 * h, -45.0, 0.7071},
      {"five, centre", {{110.0}}, {0.0F, 1.0F, 0.0F, 0.0F, 0.0F}, 1.0, 110.0, 1.0},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Feeds feeds =
        outputs(arrangeForDecoding(wave(c.sources), static_cast<int>(c.inputs.size())),
                c.inputs);
    const double azimuth = c.degrees * std::numbers::pi / 180.0;
    EXPECT_NEAR(pressure(feeds), c.pressure, kNear);
    EXPECT_NEAR(velocity(feeds).front, c.length * std::cos(azimuth), kNear);
    EXPECT_NEAR(velocity(feeds).left, c.length * std::sin(azimuth), kNear);
  }
}

TEST(SurroundResponses, RefuseCountsThatAreOfNoSource) {
  const auto silent = [](std::size_t channels) { return Planar(channels, {0.0F}); };
  for (const std::size_t count : {0U, 1U, 2U, 4U, 5U, 7U, 8U, 9U}) {
    const std::string found = std::to_string(count) + " channels";
    expectSentence(refusalOf([&] { arrangeForDecoding(silent(count), 2); }),
                   {found, "3 or 6"});
    if (count == 5) continue;
    expectSentence(refusalOf([&] { arrangeFeeds(silent(count), 2); }),
                   {found, "5 or 10"});
  }
  for (const int inputs : {0, 3, 4, 7}) {
    const std::string found = std::to_string(inputs) + " channels";
    expectSentence(refusalOf([&] { arrangeForDecoding(silent(3), inputs); }), {found});
    expectSentence(refusalOf([&] { arrangeFeeds(silent(5), inputs); }), {found});
  }
}

// Three pairs in the mid/side arrangement or six without it: one field.
TEST(SurroundResponses, MidSideIsTheSameFieldForHalfTheWork) {
  test::Random random(71);
  for (int run = 0; run < 20; ++run) {
    const Planar wxy = {{random.sample()}, {random.sample()}, {random.sample()}};
    const std::vector<float> inputs = random.signal(2);
    const Responses midSide = arrangeMidSide(wxy);
    const Responses sides = arrangeSides(wxy);
    EXPECT_EQ(midSide.numPairs(), 3);
    EXPECT_EQ(sides.numPairs(), 6);
    const Feeds feeds = outputs(midSide, inputs);
    const Feeds same = outputs(sides, inputs);
    for (std::size_t j = 0; j < 5; ++j) EXPECT_NEAR(feeds[j], same[j], 1e-6) << j;
  }
}

TEST(CrossoverDesign, RefusesWhatIsNotStable) {
  const auto refusal = [](double frequency, double rate) {
    return refusalOf([&] { designCrossover(frequency, rate); });
  };
  expectSentence(refusal(24000.0, 48000.0), {"24000 Hz", "48000 Hz", "48", "23952"});
  expectSentence(refusal(30000.0, 48000.0), {"30000 Hz", "23952 Hz"});
  expectSentence(refusal(47.9, 48000.0), {"47.9 Hz", "48"});
  expectSentence(refusal(-400.0, 48000.0), {"-400 Hz"});
  expectSentence(refusal(std::nan(""), 48000.0), {"nan Hz"});

  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  const Responses mono = arrangeBFormat(wave({{0.0}}));
  for (const auto& cfs : {cApXOverCfs<float>{1.0F, 0.5F, 0.0F},
                          {0.0F, 1.0F, 0.0F},
                          {0.0F, 0.5F, -1.5F},
                          {0.0F, -0.5F, 0.5F},
                          {kNaN, 0.0F, 0.0F},
                          {0.0F, 0.0F, kNaN}}) {
    StreamOptions options;
    options.crossover = cfs;
    const ParamStruct params = streamParams(mono, options);
    expectSentence(refusalOf([&] { Stream(1, 5, params, mono); }),
                   {"c1, c2 and d2", "|d2| < 1 + c2"});
    Stream(1, 1, params, mono);
  }
}

// The rings hold either delay, and not much beyond a block more.
TEST(SurroundStream, TakesDelaysOfAnyLength) {
  constexpr int kMaxRingLen = 1 << 24;
  const Responses mono = arrangeBFormat(wave({{0.0}}));
  for (const auto& [dryDelay, rearDelay] : {std::array{0, 0},
                                            {0, 1},
                                            {1, 0},
                                            {511, 512},
                                            {512, 0},
                                            {0, 96000},
                                            {kMaxRingLen - 1, 2 * kMaxRingLen - 1}}) {
    StreamOptions options;
    options.dryDelay = dryDelay;
    options.rearDelay = rearDelay;
    const ParamStruct params = streamParams(mono, options);
    checkParams(params, 1, 5);
    EXPECT_LT(params.dryRingLen,
              2 * (std::max(dryDelay, rearDelay / 2) + options.blockLen));
  }
  StreamOptions options;
  options.rearDelay = -1;
  expectSentence(refusalOf([&] { streamParams(mono, options); }), {"rear delay", "-1"});
}

}  // namespace
}  // namespace ulmar::host
