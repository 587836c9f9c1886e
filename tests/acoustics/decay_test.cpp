// Decay, clarity, definition and centre time over all frequencies, on decays for which
// the integrals of ISO 3382-1 are known.
#include <array>

#include "tests/acoustics/signals.h"
#include "ulmar/acoustics/response_measures.h"
#include "ulmar/host/error.h"

namespace ulmar::acoustics {
namespace {

std::optional<double> timeOf(const std::optional<DecayFit>& fit) {
  return fit ? std::optional(fit->decayTime()) : std::nullopt;
}

// How a program that has a response in memory asks for its reverberation time.
TEST(Example, TellsTheReverberationTimeOfAResponse) {
  const double sampleRate = 48000.0;
  const std::vector<float> response = Slopes{1.2}.sampled(2.0, sampleRate);

  const ResponseMeasures measures = measureResponse(response, sampleRate);
  ASSERT_TRUE(measures.onset);  // else it is silent
  const std::optional<double> seconds = measures.broadband.reverberationTime();
  ASSERT_TRUE(seconds);  // else it has too little range, measures.broadband.decay.range

  EXPECT_NEAR(*seconds, 1.2, 0.001);
}

TEST(Decay, FollowsOneSlopeOrTwoFromTheOnset) {
  for (const double rate : kRates) {
    for (const Slopes& slopes :
         {Slopes{0.3}, Slopes{2.0}, Slopes{0.2, 1.2, 0.02}, Slopes{0.5, 1.0, 0.001}}) {
      for (const double delay : {0.0, 0.1}) {
        SCOPED_TRACE(testing::Message() << slopes.t60 << " s and " << slopes.secondT60
                                        << " s after " << delay << " s at " << rate);
        const double duration =
            slopes.second > 0.0 ? 1.2 * slopes.secondT60 : 1.2 * slopes.t60;
        // Sound 26 dB below the peak comes before the onset and counts for nothing.
        Signal signal = delayed(slopes.sampled(duration, rate), framesIn(delay, rate));
        for (std::size_t n = framesIn(0.5 * delay, rate); n < framesIn(delay, rate);
             ++n) {
          signal[n] = 0.025F;
        }
        const ResponseMeasures measures = measureResponse(signal, rate);
        const BandMeasures& all = measures.broadband;
        EXPECT_EQ(measures.onset, framesIn(delay, rate));
        expectAbout(timeOf(all.decay.edt), slopes.decayTime(-0.1, -10.0), 0.003);
        expectAbout(timeOf(all.decay.t20), slopes.decayTime(-5.0, -25.0), 0.003);
        expectAbout(timeOf(all.decay.t30), slopes.decayTime(-5.0, -35.0), 0.003);

        EXPECT_EQ(all.reverberationTime(), timeOf(all.decay.t30));
        const double whole = slopes.energyAfter(0.0);
        const auto clarity = [&](double limit) {
          return decibels(whole / slopes.energyAfter(limit) - 1.0);
        };
        EXPECT_NEAR(all.clarity.c50.value(), clarity(0.05), 0.02);
        EXPECT_NEAR(all.clarity.c80.value(), clarity(0.08), 0.02);
        expectAbout(all.d50, 1.0 - slopes.energyAfter(0.05) / whole, 0.002);
        const double rates[] = {decayRate(slopes.t60), decayRate(slopes.secondT60)};
        const double moment =
            1.0 / (rates[0] * rates[0]) + slopes.second / (rates[1] * rates[1]);
        expectAbout(all.centreTime, moment / whole, 0.003);
      }
    }
  }
}

TEST(Decay, EndsWhereItMeetsTheNoise) {
  const struct {
    Slopes slopes;
    double noiseLevel;  // dB against the power at the start
    double tolerance;   // of times; noise beats with the decay
  } cases[] = {{{0.8}, -50.0, 0.01},
               {{0.8}, -65.0, 0.01},
               {{0.8}, -75.0, 0.01},
               {{0.2, 1.2, 0.02}, -60.0, 0.01},
               {{0.3}, -25.0, 0.02}};
  for (const double rate : kRates) {
    for (const auto& [slopes, noiseLevel, tolerance] : cases) {
      SCOPED_TRACE(testing::Message()
                   << slopes.t60 << " s above " << noiseLevel << " dB at " << rate);
      const Signal floor = noise(framesIn(2.5, rate), 7);
      const auto gain = static_cast<float>(0.5 * std::sqrt(power(noiseLevel)));
      const ResponseMeasures measures = measureResponse(
          sum(slopes.sampled(2.5, rate), delayed(floor, 0, gain)), rate);
      const BandMeasures& all = measures.broadband;
      EXPECT_TRUE(all.decay.reachesNoise);
      EXPECT_NEAR(decibels(all.decay.noisePower / rate), decibels(0.25) + noiseLevel,
                  0.2);
      const double lateTime = slopes.second > 0.0 ? slopes.secondT60 : slopes.t60;
      const double lateLevel = slopes.second > 0.0 ? decibels(slopes.second) : 0.0;
      const double end = (lateLevel - noiseLevel) / 60.0 * lateTime;
      expectAbout(all.decay.end, end, 0.03 + tolerance);
      const double whole = slopes.energyAfter(0.0);
      EXPECT_NEAR(all.decay.range, decibels(whole / slopes.energyAfter(end)), 0.6);

      expectAbout(timeOf(all.decay.edt), slopes.decayTime(-0.1, -10.0), tolerance);
      EXPECT_EQ(all.decay.t20.has_value(), all.decay.range > 35.0);
      EXPECT_EQ(all.decay.t30.has_value(), all.decay.range > 45.0);
      if (all.decay.t20) {
        expectAbout(timeOf(all.decay.t20), slopes.decayTime(-5.0, -25.0), tolerance);
      }
      if (all.decay.t30) {
        expectAbout(timeOf(all.decay.t30), slopes.decayTime(-5.0, -35.0), tolerance);
      }
      EXPECT_NEAR(all.clarity.c80.value(),
                  decibels(whole / slopes.energyAfter(0.08) - 1.0), 10.0 * tolerance);
      if (slopes.second > 0.0) continue;
      // The centre of the energy up to the noise.
      const double k = decayRate(slopes.t60);
      expectAbout(
          all.centreTime,
          (1.0 - (1.0 + k * end) * std::exp(-k * end)) / -std::expm1(-k * end) / k,
          tolerance);
    }
  }
}

// A response that is cut off keeps its slope, and has the measures that its range
// allows.
// Sound that dies away at once in some octaves and lingers in others, as in rooms: its
// decay bends, and where it is cut short the line of its early part seems to meet a
// floor. Below a real floor it does.
TEST(Decay, GoesOnToTheEndOfAResponseThatIsCutShort) {
  constexpr double kRate = 48000.0;
  for (const Slopes& slopes : {Slopes{0.4, 2.0, 0.1}, Slopes{0.8, 3.0, 0.03}}) {
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
      Signal whole = noise(framesIn(4.0, kRate), seed);
      for (std::size_t n = 0; n < whole.size(); ++n) {
        const double time = static_cast<double>(n) / kRate;
        whole[n] *= static_cast<float>(std::sqrt(slopes.powerAt(time)));
      }
      const double early =
          measureResponse(whole, kRate).broadband.decay.edt->decayTime();
      for (const double cut : {0.3, 0.6, 1.0, 1.4}) {
        SCOPED_TRACE(testing::Message() << slopes.t60 << " s, seed " << seed
                                        << ", cut at " << cut << " s");
        const Signal part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(
                                                             framesIn(cut, kRate)));
        const Decay decay = measureResponse(part, kRate).broadband.decay;
        EXPECT_FALSE(decay.reachesNoise);
        if (decay.edt) {
          EXPECT_NEAR(decay.edt->decayTime() / early, 1.0, 0.03);
        }
      }
      Signal noisy = noise(whole.size(), seed + 100);
      for (std::size_t n = 0; n < noisy.size(); ++n) {
        noisy[n] = 1e-2F * noisy[n] + whole[n];
      }
      EXPECT_TRUE(measureResponse(noisy, kRate).broadband.decay.reachesNoise);
    }
  }
}

TEST(Decay, IsToldAsFarAsTheRangeGoes) {
  const struct {
    double range;
    bool edt, t20, t30;
  } cases[] = {{18.0, false, false, false}, {22.0, true, false, false},
               {33.0, true, false, false},  {37.0, true, true, false},
               {43.0, true, true, false},   {47.0, true, true, true}};
  for (const auto& [range, edt, t20, t30] : cases) {
    SCOPED_TRACE(range);
    const ResponseMeasures measures =
        measureResponse(Slopes{1.5}.sampled(1.5 * range / 60.0, 48000.0), 48000.0);
    const BandMeasures& all = measures.broadband;
    EXPECT_FALSE(all.decay.reachesNoise);
    EXPECT_NEAR(all.decay.range, range, 0.3);
    for (const auto& [fit, there] :
         {std::pair{all.decay.edt, edt}, {all.decay.t20, t20}, {all.decay.t30, t30}}) {
      EXPECT_EQ(fit.has_value(), there);
      if (!fit) continue;
      expectAbout(fit->decayTime(), 1.5, 0.005);
      EXPECT_LT(fit->correlation, -0.9999);
    }
    EXPECT_EQ(all.clarity.c50.has_value(), edt);
    EXPECT_EQ(all.d50.has_value(), edt);
    EXPECT_EQ(all.centreTime.has_value(), edt);
    EXPECT_EQ(all.reverberationTime().has_value(), t20);
  }
}

// Two clicks and a decay that is short and late, above noise: the curve is a staircase.
Signal staircase(std::size_t second, float gain, std::size_t third, float lateGain,
                 float noiseGain) {
  Signal signal(144000);
  signal[0] = 1.0F;
  signal[second] = gain;
  signal = sum(signal, delayed(Slopes{0.3}.sampled(0.4, 48000.0), third, lateGain));
  return sum(signal, delayed(noise(signal.size(), 3), 0, noiseGain));
}

TEST(Decay, IsNotMadeUp) {
  Signal clicks(20000);
  clicks[0] = clicks[10000] = clicks[19999] = 1.0F;
  const std::pair<const char*, Signal> cases[] = {
      {"a constant", Signal(48000, 0.25F)},
      {"noise", noise(48000, 1)},
      {"three clicks", clicks},
      {"steps far from a line", staircase(9000, 0.4F, 36000, 0.002F, 3e-5F)},
      {"one step, almost level", staircase(30000, 0.2F, 48000, 0.001F, 1e-4F)},
      {"a sample", {0.5F}},
      {"the smallest sample", {1e-40F}},
  };
  for (const auto& [name, signal] : cases) {
    SCOPED_TRACE(name);
    const BandMeasures all = measureResponse(signal, 48000.0).broadband;
    EXPECT_FALSE(all.decay.t20);
    EXPECT_FALSE(all.decay.t30);
    EXPECT_FALSE(all.reverberationTime());
  }
}

TEST(Levels, AreThoseOfTheSamples) {
  Signal signal(1000, 0.25F);
  signal[400] = -0.75F;
  signal[600] = 0.75F;
  const ResponseMeasures measures = measureResponse(signal, 48000.0);
  EXPECT_EQ(measures.peak, 0.75);
  EXPECT_EQ(measures.peakFrame, 400U);
  EXPECT_NEAR(measures.energy, 998 * 0.0625 + 2 * 0.5625, 1e-9);
  EXPECT_NEAR(measures.dcOffset, 0.2495, 1e-9);
}

TEST(Onset, Is20DecibelsBelowThePeak) {
  for (const auto& [before, onset] :
       {std::pair{0.049F, 300U}, {0.051F, 100U}, {-0.051F, 100U}}) {
    Signal signal(1000);
    signal[100] = before;
    signal[300] = -0.5F;
    const ResponseMeasures measures = measureResponse(signal, 48000.0);
    EXPECT_EQ(measures.onset, onset) << before;
    EXPECT_EQ(measures.profile.energy.size(), 301U - onset);
  }
  EXPECT_FALSE(measureResponse(Signal(1000), 48000.0).onset);
}

TEST(Refusals, NameWhatCannotBeMeasured) {
  EXPECT_THROW(measureResponse({}, 48000.0), Error);
  EXPECT_THROW(measureResponse(Signal{0.5F}, 0.0), Error);
  EXPECT_THROW(measureResponse(Signal{0.5F, NAN}, 48000.0), Error);
}

}  // namespace
}  // namespace ulmar::acoustics
