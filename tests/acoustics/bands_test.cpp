// Octave bands: the filter against the formula of a Butterworth band-pass, and the
// measures of each band by itself.
#include <array>
#include <complex>

#include "tests/acoustics/signals.h"
#include "ulmar/acoustics/octave_centres.h"
#include "ulmar/acoustics/octave_filter.h"
#include "ulmar/acoustics/response_measures.h"

namespace ulmar::acoustics {
namespace {

// |H|^2 = 1 / (1 + q^6) with q = (w^2 - w1 w2) / (w (w2 - w1)), frequencies warped by
// the bilinear transform.
double butterworth(double frequency, double centre, double edge, double rate) {
  const auto warped = [&](double f) { return std::tan(std::numbers::pi * f / rate); };
  const double low = warped(centre / edge);
  const double high = warped(centre * edge);
  const double w = warped(frequency);
  return 1.0 / (1.0 + std::pow((w * w - low * high) / (w * (high - low)), 6.0));
}

TEST(OctaveFilter, HasItsEdgesHalfABandFromItsCentre) {
  for (const double rate : kRates) {
    for (const auto& [centre, perOctave, edge] :
         {std::tuple{63.0, 1, std::sqrt(2.0)},
          {1000.0, 1, std::sqrt(2.0)},
          {8000.0, 1, std::sqrt(2.0)},
          {16000.0, 1, std::sqrt(2.0)},
          {1000.0, 3, std::pow(2.0, 1.0 / 6.0)}}) {
      if (centre * edge >= 0.5 * rate) continue;
      OctaveFilter filter({centre, perOctave}, rate);
      std::vector<double> response;
      for (std::size_t n = 0; n < framesIn(filter.ringing(), rate); ++n) {
        response.push_back(filter(n == 0 ? 1.0 : 0.0));
      }
      for (const double octaves :
           {-2.0, -1.0, -0.5, -1.0 / 6.0, 0.0, 1.0 / 6.0, 0.5, 1.0}) {
        const double frequency = centre * std::pow(2.0, octaves);
        if (frequency >= 0.5 * rate) continue;
        std::complex<double> gain = 0.0;
        for (std::size_t n = 0; n < response.size(); ++n) {
          gain += std::polar(response[n], -2.0 * std::numbers::pi * frequency / rate *
                                              static_cast<double>(n));
        }
        EXPECT_NEAR(std::norm(gain), butterworth(frequency, centre, edge, rate), 0.002)
            << frequency << " in " << centre << " at " << rate;
      }
    }
  }
}

// A click has the noise bandwidth of the filter, which is that of a Butterworth filter
// of third order, (pi / 6) / sin(pi / 6) of the distance of the edges. Run backwards,
// the filter puts all of it before the click.
TEST(BandEnergy, OfAClickIsTheBandwidth) {
  for (const double rate : kRates) {
    for (const double centre : {125.0, 500.0}) {
      const double bandwidth = centre / std::numbers::sqrt2 * std::numbers::pi / 3.0;
      Signal click(1000);
      click[0] = 1.0F;
      expectAbout(bandEnergyOf(click, rate, {centre, 1}), 2.0 * bandwidth / rate,
                  0.003);
      const EnergyProfile profile = bandProfileOf(click, rate, 10, {centre, 1});
      double before = 0.0;
      double after = 0.0;
      for (std::size_t i = 0; i < profile.energy.size(); ++i) {
        (profile.timeOf(i) < 0.5 * profile.step ? before : after) += profile.energy[i];
      }
      expectAbout(before, 2.0 * bandwidth / rate, 0.003);
      EXPECT_EQ(after, 0.0);
    }
  }
}

TEST(Bands, AreMeasuredEachByItself) {
  constexpr std::array kT60 = {1.6, 1.5, 1.4, 1.2, 1.1, 1.0, 0.9};
  for (const double rate : kRates) {
    Signal signal(framesIn(2.0, rate));
    for (std::size_t i = 0; i < kT60.size(); ++i) {
      addTone(signal, kOctaveCentres[i], kT60[i], rate);
    }
    const ResponseMeasures measures = measureResponse(signal, rate, true);
    const auto measured = [&](const BandMeasures& band) {
      const auto* const found = std::ranges::find(kOctaveCentres, band.centre);
      return found == kOctaveCentres.end() ? -1 : found - kOctaveCentres.begin();
    };
    int numBands = 0;
    for (const auto& bands : {measures.octaves, measures.thirds}) {
      for (const BandMeasures& band : bands) {
        if (measured(band) < 0) continue;
        ++numBands;
        SCOPED_TRACE(testing::Message() << band.centre << " Hz at " << rate);
        const double t60 = kT60[static_cast<std::size_t>(measured(band))];
        for (const auto& fit : {band.decay.edt, band.decay.t20, band.decay.t30}) {
          ASSERT_TRUE(fit);
          expectAbout(fit->decayTime(), t60, 0.015);
        }
        const double k = decayRate(t60);
        // The filters of third octaves smear the limit by some milliseconds.
        const double blur = &bands == &measures.octaves ? 0.3 : 1.0;
        EXPECT_NEAR(band.clarity.c50.value(), decibels(std::expm1(0.05 * k)), blur);
        EXPECT_NEAR(band.clarity.c80.value(), decibels(std::expm1(0.08 * k)), blur);
        EXPECT_NEAR(band.d50.value(), -std::expm1(-0.05 * k), 0.1 * blur);
        EXPECT_NEAR(band.centreTime.value(), 1.0 / k, 0.01);
      }
    }
    EXPECT_EQ(numBands, 2 * std::ssize(kT60));
    // ISO 3382-1's single number is that of 500 Hz and 1 kHz.
    expectAbout(measures.midReverberationTime(), (kT60[2] + kT60[3]) / 2, 0.01);
  }
}

// A filter that ran forwards would ring for longer than this.
TEST(Bands, HaveShortDecaysToo) {
  for (const double centre : {125.0, 1000.0}) {
    const double t60 = 12.0 / centre;
    Signal signal(48000);
    addTone(signal, centre, t60, 48000.0);
    for (const BandMeasures& band : measureResponse(signal, 48000.0).octaves) {
      if (band.centre == centre) expectAbout(band.reverberationTime(), t60, 0.05);
    }
  }
}

TEST(Bands, AreThoseThatTheSampleRateHasRoomFor) {
  for (const auto& [rate, count] :
       {std::pair{8000.0, 6U}, {23500.0, 7U}, {24000.0, 8U}, {48000.0, 9U}}) {
    const ResponseMeasures measures = measureResponse(noise(2000, 1), rate);
    EXPECT_EQ(measures.octaves.size(), count) << rate;
  }
}

// At 2 kHz there is room for 500 Hz, but not for 1 kHz.
TEST(MidReverberationTime, NeedsBothBands) {
  Signal signal(4000);
  addTone(signal, 500.0, 1.0, 2000.0);
  const ResponseMeasures measures = measureResponse(signal, 2000.0);
  expectAbout(measures.octaves.back().reverberationTime(), 1.0, 0.02);
  EXPECT_FALSE(measures.midReverberationTime());
}

}  // namespace
}  // namespace ulmar::acoustics
