// What the kit makes of B-format and of speaker feeds, heard at the five outputs.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "host/crossover_design.h"
#include "host/stream.h"
#include "host/surround_responses.h"
#include "tests/host/scratch_dir.h"
#include "tests/support/random.h"

namespace ulmar::host {
namespace {

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
Feeds outputs(const Responses& responses, const std::vector<float>& inputs,
              bool passThrough) {
  StreamOptions options;
  options.blockLen = 16;
  options.passThrough = passThrough;
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
  for (const auto& channel : out) feeds.push_back(double{channel.back()});
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
    Responses responses;
    std::vector<float> inputs;
    double pressure;
    double degrees;
    double length;  // of the velocity
  } cases[] = {
      {"mono", arrangeForDecoding(wave({{70.0}}), 1), {0.25F}, 0.25, 70.0, 0.25},
      {"mono, two sources alike",
       arrangeForDecoding(wave({{-30.0}, {-30.0}}), 1),
       {0.25F},
       0.5,
       -30.0,
       0.5},
      {"what both sides have in common",
       arrangeForDecoding(wave({{70.0}}), 2),
       {0.25F * h, 0.25F * h},
       0.25,
       70.0,
       0.25},
      {"left alone",
       arrangeForDecoding(wave({{0.0}}), 2),
       {0.25F, 0.0F},
       0.25 * h,
       45.0,
       0.25},
      {"right alone",
       arrangeForDecoding(wave({{0.0}}), 2),
       {0.0F, 0.25F},
       0.25 * h,
       -45.0,
       0.25},
      {"left alone, from behind",
       arrangeForDecoding(wave({{180.0}}), 2),
       {0.25F, 0.0F},
       0.25 * h,
       -135.0,
       0.25},
      {"left alone, off the axes",
       arrangeForDecoding(wave({{105.0}}), 2),
       {0.25F, 0.0F},
       0.25 * h,
       45.0,
       0.25 * h},
      {"the left of two sources",
       arrangeForDecoding(wave({{25.0}, {-40.0}}), 2),
       {0.25F, 0.0F},
       0.25,
       25.0,
       0.25},
      {"the right of two sources",
       arrangeForDecoding(wave({{25.0}, {-40.0}}), 2),
       {0.0F, 0.25F},
       0.25,
       -40.0,
       0.25},
      {"five, right surround",
       arrangeForDecoding(wave({{0.0}}), 5),
       {0.0F, 0.0F, 0.0F, 0.0F, 0.25F},
       0.7071 * 0.25 * h,
       -45.0,
       0.7071 * 0.25},
      {"five, centre",
       arrangeForDecoding(wave({{110.0}}), 5),
       {0.0F, 0.25F, 0.0F, 0.0F, 0.0F},
       0.25,
       110.0,
       0.25},
      {"five, the left of two",
       arrangeForDecoding(wave({{25.0}, {-40.0}}), 5),
       {0.25F, 0.0F, 0.0F, 0.0F, 0.0F},
       0.25,
       25.0,
       0.25},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Feeds feeds = outputs(c.responses, c.inputs, false);
    const double azimuth = c.degrees * std::numbers::pi / 180.0;
    EXPECT_NEAR(pressure(feeds), c.pressure, kNear);
    EXPECT_NEAR(velocity(feeds).front, c.length * std::cos(azimuth), kNear);
    EXPECT_NEAR(velocity(feeds).left, c.length * std::sin(azimuth), kNear);
  }
}

// Three pairs in the mid/side arrangement or six without it: one field.
TEST(SurroundResponses, MidSideIsTheSameFieldForHalfTheWork) {
  test::Random random(71);
  for (int run = 0; run < 20; ++run) {
    const Planar wxy = {{random.sample()}, {random.sample()}, {random.sample()}};
    const std::vector<float> inputs = {0.25F * random.sample(),
                                       0.25F * random.sample()};
    const Responses midSide = arrangeMidSide(wxy);
    const Responses sides = arrangeSides(wxy);
    EXPECT_EQ(midSide.numPairs(), 3);
    EXPECT_EQ(sides.numPairs(), 6);
    const Feeds feeds = outputs(midSide, inputs, false);
    const Feeds same = outputs(sides, inputs, false);
    for (std::size_t j = 0; j < 5; ++j) EXPECT_NEAR(feeds[j], same[j], 1e-6) << j;
  }
}

// Each feed's response a number of its own, from left front on; the outputs have the
// centre second.
TEST(SurroundResponses, PassSpeakerFeedsAsRecorded) {
  const Planar five = {{0.1F}, {0.2F}, {0.3F}, {0.4F}, {0.5F}};
  Planar ten = five;
  for (const float h : {0.01F, 0.02F, 0.03F, 0.04F, 0.05F}) ten.push_back({h});
  const double half = std::sqrt(0.5);
  const struct {
    const char* name;
    Planar feeds;
    std::vector<float> inputs;
    Feeds expected;
  } cases[] = {
      {"mono", five, {1.0F}, {0.1, 0.5, 0.2, 0.3, 0.4}},
      {"left, one response", five, {1.0F, 0.0F}, {0.1, 0.5 * half, 0.0, 0.3, 0.0}},
      {"right, one response", five, {0.0F, 1.0F}, {0.0, 0.5 * half, 0.2, 0.0, 0.4}},
      {"left, its own responses", ten, {1.0F, 0.0F}, {0.1, 0.5, 0.2, 0.3, 0.4}},
      {"right, its own responses", ten, {0.0F, 1.0F}, {0.01, 0.05, 0.02, 0.03, 0.04}},
      {"mono, both", ten, {1.0F}, {0.11, 0.55, 0.22, 0.33, 0.44}},
      {"left surround",
       ten,
       {0.0F, 0.0F, 0.0F, 1.0F, 0.0F},
       {0.07071, 0.35355, 0.14142, 0.21213, 0.28284}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const int channels = static_cast<int>(c.inputs.size());
    const Feeds feeds = outputs(arrangeFeeds(c.feeds, channels), c.inputs, true);
    for (std::size_t j = 0; j < 5; ++j) EXPECT_NEAR(feeds[j], c.expected[j], 1e-6) << j;
  }
}

TEST(SurroundResponses, RefuseWhatTheyCannotArrange) {
  const Planar three(3, {0.5F});
  expectSentence(refusalOf([&] { arrangeForDecoding(three, 3); }), {"3 channels"});
  expectSentence(refusalOf([&] { arrangeFeeds(three, 1); }), {"3 channels", "5 or 10"});
  expectSentence(refusalOf([&] { arrangeFeeds(Planar(5, {0.5F}), 4); }),
                 {"4 channels"});
  expectSentence(refusalOf([&] { arrangeForDecoding(Planar(9, {0.5F}), 2); }),
                 {"3 sources", "1 or 2"});
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
