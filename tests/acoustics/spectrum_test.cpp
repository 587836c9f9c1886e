// Spectra, their slope and spectrogram, and echoes in the cepstrum.
#include "ulmar/acoustics/spectrum.h"

#include <algorithm>
#include <complex>

#include "tests/acoustics/signals.h"
#include "ulmar/acoustics/cepstrum.h"

namespace ulmar::acoustics {
namespace {

TEST(Spectrum, IsThatOfTheDefinition) {
  const Signal signal = noise(500, 2);
  const EnergySpectrum spectrum = spectrumOf(signal, 48000.0);
  EXPECT_DOUBLE_EQ(spectrum.binWidth * static_cast<double>(spectrum.power.size() - 1),
                   24000.0);
  for (std::size_t k = 0; k < spectrum.power.size(); k += 97) {
    const double frequency = spectrum.binWidth * static_cast<double>(k);
    std::complex<double> direct = 0.0;
    for (std::size_t n = 0; n < signal.size(); ++n) {
      direct += std::polar(double{signal[n]}, -2.0 * std::numbers::pi * frequency *
                                                  static_cast<double>(n) / 48000.0);
    }
    EXPECT_NEAR(spectrum.power[k], std::norm(direct), 0.01) << k;
  }
}

// The fractional integrator (1 - z^-1)^-order has the power (2 sin(w/2))^(-2 order): of
// order 0 it is white, 1/2 pink, -1/2 blue and -1 violet, as far as the sine is
// straight.
Signal integrator(double order, std::size_t length) {
  Signal signal = {1.0F};
  double value = 1.0;
  for (std::size_t n = 1; n < length; ++n) {
    value *= (static_cast<double>(n) - 1.0 + order) / static_cast<double>(n);
    signal.push_back(static_cast<float>(value));
  }
  return signal;
}

TEST(Spectrum, HasATiltOfItsColour) {
  for (const double rate : kRates) {
    for (const double order : {0.0, 0.5, -0.5, -1.0}) {
      SCOPED_TRACE(testing::Message() << order << " at " << rate);
      const Signal signal = integrator(order, std::size_t{1} << 17);
      const EnergySpectrum spectrum = spectrumOf(signal, rate);
      expectAbout(spectralTilt(spectrum), -20.0 * std::log10(2.0) * order, 0.04);
      for (const auto& [frequency, level] : thirdOctaveLevels(spectrum)) {
        if (frequency < 100.0 || frequency > 0.4 * rate) continue;
        const double w = 2.0 * std::numbers::pi * frequency / rate;
        EXPECT_NEAR(level, -20.0 * order * std::log10(2.0 * std::sin(0.5 * w)), 0.2)
            << frequency;
      }
    }
    const EnergySpectrum white = spectrumOf(noise(std::size_t{1} << 17, 3), rate);
    EXPECT_NEAR(spectralTilt(white).value(), 0.0, 0.1);
  }
  EXPECT_FALSE(spectralTilt(spectrumOf(Signal{1.0F}, 300.0)));
}

TEST(Spectrum, AddsThePartsOfALongResponse) {
  Signal signal((std::size_t{1} << 18) + 500);
  signal.front() = signal.back() = 1.0F;
  for (const double power : spectrumOf(signal, 48000.0).power) {
    ASSERT_NEAR(power, 2.0, 1e-3);
  }
}

TEST(Spectrogram, ShowsATonesTimeAndFrequency) {
  constexpr double kTone = 1000.0;
  for (const double rate : kRates) {
    Signal signal(framesIn(1.0, rate));
    for (std::size_t n = framesIn(0.6, rate); n < framesIn(0.8, rate); ++n) {
      signal[n] = static_cast<float>(
          std::sin(2.0 * std::numbers::pi * kTone / rate * static_cast<double>(n)));
    }
    const Spectrogram spectrogram =
        spectrogramOf({signal, Signal(signal.size())}, rate, signal.size(), 50, 80);
    const double octaves = std::log2(spectrogram.highest / spectrogram.lowest);
    ASSERT_EQ(spectrogram.columns.size(), 50U);
    for (std::size_t column = 0; column < 50; ++column) {
      const std::vector<float>& levels = spectrogram.columns[column];
      ASSERT_EQ(levels.size(), 80U);
      const auto loudest = std::max_element(levels.begin(), levels.end());
      const auto band = static_cast<double>(loudest - levels.begin()) + 0.5;
      const bool inside = column > 31 && column < 38;
      const bool outside = column < 28 || column > 41;
      if (inside) {
        // A window's edges are no sound two octaves above.
        EXPECT_LT(levels.back(), -80.0F) << column;
        EXPECT_NEAR(*loudest, 0.0F, 1.0F) << column;
        EXPECT_NEAR(std::log2(spectrogram.lowest) + octaves * band / 80.0,
                    std::log2(kTone), octaves / 80.0);
      }
      if (outside) {
        EXPECT_LT(*loudest, -60.0F) << column;
      }
    }
  }
}

Signal decayingNoise(double rate, std::uint64_t seed) {
  Signal signal = noise(framesIn(1.0, rate), seed);
  for (std::size_t n = 0; n < signal.size(); ++n) {
    signal[n] *= static_cast<float>(
        0.03 * std::exp(-0.5 * decayRate(0.5) * static_cast<double>(n) / rate));
  }
  signal[0] = 1.0F;
  return signal;
}

// ln |1 + g e^-jwd| has g / 2 at d, and -g^2 / 4 at 2 d.
TEST(Echo, StandsInTheCepstrumAtItsDelay) {
  const std::pair<std::size_t, float> cases[] = {
      {49, 0.5F}, {96, 0.6F}, {576, 0.5F}, {1200, -0.4F}, {2047, 0.3F}};
  for (const double rate : kRates) {
    for (const auto& [delay, gain] : cases) {
      SCOPED_TRACE(testing::Message() << gain << " at " << delay << ", " << rate);
      Signal click(framesIn(0.5, rate));
      click[0] = 1e-8F;
      for (const bool reverberant : {false, true}) {
        const Signal direct = reverberant ? decayingNoise(rate, 3) : click;
        const Signal signal = sum(direct, delayed(direct, delay, gain));
        const CepstrumAnalysis cepstrum =
            analyseCepstrum(signal, double{direct[0]}, rate);
        ASSERT_TRUE(cepstrum.echo);
        // Of every second sample the top of the band rolls off.
        const bool halved = cepstrum.step > 1.5 / rate;
        expectAbout(cepstrum.echo->delay, static_cast<double>(delay) / rate,
                    halved || reverberant ? 0.2 / static_cast<double>(delay) : 1e-9);
        expectAbout(cepstrum.echo->combSpacing(), 1.0 / cepstrum.echo->delay, 1e-9);
        expectAbout(cepstrum.echo->gain(), double{gain},
                    reverberant || halved ? 0.1 : 0.001);
        if (reverberant || halved) continue;
        EXPECT_NEAR(cepstrum.values[delay], gain / 2.0F, 1e-3);
        EXPECT_NEAR(cepstrum.values[2 * delay], -gain * gain / 4.0F, 1e-3);
      }
    }
  }
}

// A sound of up to 20 kHz and its echo are the same at every rate.
TEST(Echo, IsAsStrongAtEveryRate) {
  for (const double rate : {44100.0, 96000.0, 192000.0}) {
    const auto pulse = [](double t) {
      const double x = 2.0 * std::numbers::pi * 20000.0 * (t - 0.005);
      return (x == 0.0 ? 1.0 : std::sin(x) / x) * std::exp(-std::pow(x / 300.0, 2.0));
    };
    Signal signal(framesIn(0.5, rate));
    for (std::size_t n = 0; n < signal.size(); ++n) {
      const double t = static_cast<double>(n) / rate;
      signal[n] = static_cast<float>(pulse(t) + 0.3 * pulse(t - 0.0031));
    }
    const CepstrumAnalysis cepstrum = analyseCepstrum(signal, 1.0, rate);
    ASSERT_TRUE(cepstrum.echo) << rate;
    expectAbout(cepstrum.echo->delay, 0.0031, 0.001);
    expectAbout(cepstrum.echo->gain(), 0.27, 0.1);
  }
}

TEST(Echo, IsNoneBeyondItsLimits) {
  const double rate = 48000.0;
  for (const auto& [delay, gain] : {std::pair{std::size_t{22}, 0.5F},
                                    {10, 0.9F},
                                    {17, -0.8F},
                                    {2450, 0.5F},
                                    {600, 0.01F},
                                    {600, 0.0F}}) {
    const Signal direct = decayingNoise(rate, 3);
    const Signal signal = sum(direct, delayed(direct, delay, gain));
    EXPECT_FALSE(analyseCepstrum(signal, 1.0, rate).echo) << gain << " at " << delay;
  }
  // A late sound, which a transform of 2^16 samples has 1000 samples before the click.
  Signal late(65536 - 999);
  late.front() = 1.0F;
  late.back() = 0.5F;
  EXPECT_FALSE(analyseCepstrum(late, 1.0, rate).echo);
}

}  // namespace
}  // namespace ulmar::acoustics
