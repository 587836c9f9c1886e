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

        const double whole = slopes.energyAfter(0.0);
        const auto clarity = [&](double limit) {
          return decibels(whole / slopes.energyAfter(limit) - 1.0);
        };
        EXPECT_NEAR(all.clarity.c50.value(), clarity(0.05), 0.02);
        EXPECT_NEAR(all.clarity.c80.value(), clarity(0.08), 0.02);
        expectAbout(measures.d50, 1.0 - slopes.energyAfter(0.05) / whole, 0.002);
        const double rates[] = {decayRate(slopes.t60), decayRate(slopes.secondT60)};
        const double moment =
            1.0 / (rates[0] * rates[0]) + slopes.second / (rates[1] * rates[1]);
        expectAbout(measures.centreTime, moment / whole, 0.003);
      }
    }
  }
}

TEST(Decay, EndsWhereItMeetsTheNoise) {
  constexpr double kT60 = 0.8;
  for (const double rate : kRates) {
    for (const double noiseLevel : {-50.0, -65.0, -75.0}) {
      SCOPED_TRACE(testing::Message() << noiseLevel << " dB at " << rate);
      const Signal floor = noise(framesIn(2.5, rate), 7);
      const auto gain = static_cast<float>(0.5 * std::sqrt(power(noiseLevel)));
      const ResponseMeasures measures = measureResponse(
          sum(Slopes{kT60}.sampled(2.5, rate), delayed(floor, 0, gain)), rate);
      const Decay& decay = measures.broadband.decay;
      EXPECT_TRUE(decay.reachesNoise);
      EXPECT_NEAR(decibels(decay.noisePower / rate), decibels(0.25) + noiseLevel, 0.2);
      expectAbout(decay.end, -noiseLevel / 60.0 * kT60, 0.03);
      // The decay has as much to come as the power of the noise at its rate.
      EXPECT_NEAR(decay.range, -noiseLevel, 0.5);
      expectAbout(timeOf(decay.edt), kT60, 0.01);
      expectAbout(timeOf(decay.t20), kT60, 0.01);
      if (noiseLevel < -50.0) expectAbout(timeOf(decay.t30), kT60, 0.01);
      expectAbout(measures.centreTime, 1.0 / decayRate(kT60), 0.01);
      EXPECT_NEAR(measures.broadband.clarity.c80.value(),
                  decibels(std::expm1(decayRate(kT60) * 0.08)), 0.05);
    }
  }
}

// A response that is cut off keeps its slope, and has the measures that its range
// allows.
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
    EXPECT_EQ(measures.d50.has_value(), edt);
    EXPECT_EQ(measures.centreTime.has_value(), edt);
    EXPECT_EQ(all.reverberationTime().has_value(), t20);
  }
}

TEST(Decay, IsNotMadeUp) {
  Signal clicks(20000);
  clicks[0] = clicks[10000] = clicks[19999] = 1.0F;
  for (const Signal& signal :
       {Signal(48000, 0.25F), noise(48000, 1), clicks, Signal{0.5F}, Signal{1e-40F}}) {
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
    EXPECT_EQ(measureResponse(signal, 48000.0).onset, onset) << before;
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
