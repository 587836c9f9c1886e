// The inspector's measures on responses for which they are known in closed form.
#include "tests/inspect/responses.h"

namespace ulmar::inspect {
namespace {

void expectDecayTimes(const Json& band, double t60) {
  for (const char* const fit : {"edt", "t20", "t30"}) {
    SCOPED_TRACE(fit);
    expectAbout(band[fit]["seconds"], t60, 0.02);
    EXPECT_LT(band[fit]["correlation"], -0.999);
  }
}

/// Of an exponential decay: early over late energy is e^(k t) - 1.
double clarity(double t60, double limit) {
  return 10.0 * std::log10(std::expm1(6.0 * std::numbers::ln10 * limit / t60));
}

TEST(Decay, IsMeasuredInEveryBandByItself) {
  const std::vector<double> t60 = {1.6, 1.5, 1.4, 1.2, 1.1, 1.0, 0.9};
  const Json channel = inspected({decayingTones(t60, 2.0)})["channels"][0];
  // Behind 63 Hz.
  ASSERT_EQ(channel["octaves"].size(), t60.size() + 2);
  for (std::size_t i = 0; i < t60.size(); ++i) {
    const Json& band = channel["octaves"][i + 1];
    SCOPED_TRACE(band["centre"]);
    expectDecayTimes(band, t60[i]);
    EXPECT_NEAR(band["c50"], clarity(t60[i], 0.05), 0.3);
    EXPECT_NEAR(band["c80"], clarity(t60[i], 0.08), 0.3);
  }
  expectAbout(channel["reverberationTime"], (t60[2] + t60[3]) / 2, 0.02);
}

TEST(Decay, IsFoundAboveNoiseAndBehindSilence) {
  constexpr double kT60 = 0.8;
  constexpr int kDelay = 4800;
  constexpr double kNoise = 1e-4;  // largest value, of a uniform distribution
  Signal signal = decayingTones(std::vector<double>(7, kT60), 2.0, kDelay);
  test::Random random(7);
  for (float& sample : signal) sample += static_cast<float>(kNoise) * random.sample();
  const Json figures = inspected({signal});
  const Json& channel = figures["channels"][0];
  EXPECT_EQ(channel["onsetFrame"], kDelay);
  expectDecayTimes(channel["broadband"], kT60);
  for (const Json& band : channel["octaves"]) {
    // The tones reach neither end.
    if (band["centre"] < 100 || band["centre"] > 10000) continue;
    SCOPED_TRACE(band["centre"]);
    expectDecayTimes(band, kT60);
  }
  EXPECT_NEAR(channel["broadband"]["c80"], clarity(kT60, 0.08), 0.1);
  const double early = std::pow(10.0, clarity(kT60, 0.05) / 10.0);
  expectAbout(channel["broadband"]["definition"], early / (1.0 + early), 0.02);
  expectAbout(channel["broadband"]["centreTime"], kT60 / (6.0 * std::numbers::ln10),
              0.02);

  EXPECT_NEAR(channel["noiseFloor"]["level"],
              20.0 * std::log10(kNoise / std::numbers::sqrt3), 0.3);
  // Seven tones of 0.1 have this power, which falls to that of the noise.
  const double fall = 10.0 * std::log10(7 * 0.005 / (kNoise * kNoise / 3.0));
  const double knee = 0.1 + kT60 * fall / 60.0;
  expectAbout(channel["noiseFloor"]["fromSeconds"], knee, 0.02);
  const Json& suggestions = figures["suggestions"];
  EXPECT_EQ(suggestions["startFrame"], kDelay - kRate / 1000);
  expectAbout(suggestions["frames"], kRate * (knee - 0.099), 0.02);
}

TEST(Decay, IsNotToldWhereTheRangeIsTooShort) {
  // Ends 28 dB below its start: enough for the early decay alone.
  const Json band = inspected(
      {decayingTones(std::vector<double>(7, 1.5), 0.7)})["channels"][0]["broadband"];
  expectAbout(band["edt"]["seconds"], 1.5, 0.02);
  EXPECT_NEAR(band["range"], 28.0, 1.0);
  EXPECT_TRUE(band["t20"].is_null());
  EXPECT_TRUE(band["t30"].is_null());
}

TEST(Levels, AreThoseOfTheSamples) {
  Signal signal(1000, 0.25F);
  signal[400] = -0.75F;
  const Json channel = inspected({signal})["channels"][0];
  EXPECT_EQ(channel["peak"], 0.75);
  EXPECT_EQ(channel["peakFrame"], 400);
  EXPECT_NEAR(channel["energy"], 999 * 0.0625 + 0.5625, 1e-9);
  EXPECT_NEAR(channel["dcOffset"], 0.249, 1e-9);
}

TEST(Echoes, StandInTheCepstrum) {
  for (const auto& [delay, gain] :
       {std::pair{576, 0.5F}, {1200, -0.4F}, {96, 0.6F}, {2000, 0.0F}}) {
    SCOPED_TRACE(testing::Message() << gain << " at " << delay);
    Signal signal = decayingNoise(0.5, 1.0, 3);
    for (std::size_t n = 1; n < signal.size(); ++n) signal[n] *= 0.3F;
    for (std::size_t n = signal.size(); n-- > index(delay);) {
      signal[n] += gain * signal[n - index(delay)];
    }
    const Json echo = inspected({signal})["channels"][0]["echo"];
    if (gain == 0.0F) {
      EXPECT_TRUE(echo.is_null()) << echo;
      continue;
    }
    // To a fraction of a sample.
    expectAbout(echo["delay"], static_cast<double>(delay) / kRate, 0.1 / delay);
    expectAbout(echo["combSpacing"], static_cast<double>(kRate) / delay, 0.1 / delay);
    expectAbout(echo["gain"], double{gain}, 0.1);
  }
}

TEST(Spectrum, HasATilt) {
  EXPECT_NEAR(inspected({{0.5F}})["channels"][0]["tilt"], 0.0, 1e-3);
  // A step is an integrated impulse.
  EXPECT_NEAR(inspected({Signal(index(kRate), 0.5F)})["channels"][0]["tilt"], -6.0,
              0.1);
}

// The more pairs of input and output stereo input needs, the more load; what cannot be
// told is not guessed.
TEST(Suggestions, CountTheWorkOfEveryLayout) {
  const Signal signal = decayingNoise(0.3, 0.5, 6);
  const auto loadOf = [&](std::size_t numChannels) {
    const Json figures = inspected(std::vector<Signal>(numChannels, signal));
    const Json& blocks = figures["suggestions"]["blocks"];
    return blocks.empty() ? 0.0 : blocks[0]["meanLoad"].get<double>();
  };
  const double two = loadOf(1);
  EXPECT_EQ(loadOf(2), two);
  double last = two;
  for (const std::size_t numChannels : {4U, 3U, 8U, 10U}) {
    const double load = loadOf(numChannels);
    EXPECT_GT(load, last) << numChannels;
    EXPECT_LT(load, 5.0 * two) << numChannels;
    last = load;
  }
  EXPECT_EQ(loadOf(6), 0.0);
  EXPECT_EQ(loadOf(7), 0.0);
}

TEST(Pairs, AreAsAlikeAsTheyAre) {
  const Signal left = decayingNoise(1.0, 1.0, 4);
  Signal late(left.size());
  Signal turned(left.size());
  for (std::size_t n = 0; n < left.size(); ++n) {
    turned[n] = -left[n];
    if (n >= 24) late[n] = left[n - 24];
  }
  const Json alike = inspected({left, late})["pairs"][0]["whole"];
  expectAbout(alike["value"], 1.0, 0.001);
  expectAbout(alike["lag"], 0.0005, 1e-9);
  const Json pairs =
      inspected({left, turned, left, decayingNoise(1.0, 1.0, 5)})["pairs"];
  ASSERT_EQ(pairs.size(), 2U);
  expectAbout(pairs[0]["early"]["value"], -1.0, 0.001);
  // What is left of independent noise, over nearly a hundred lags.
  EXPECT_LT(std::abs(pairs[1]["late"]["value"].get<double>()), 0.1);
  EXPECT_TRUE(pairs[1]["late"]["lag"].is_null());
}

}  // namespace
}  // namespace ulmar::inspect
