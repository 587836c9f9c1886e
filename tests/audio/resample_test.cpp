// Sample rate conversion against the continuous signal: what is resampled must be what
// would have been sampled at the other rate.
#include "ulmar/audio/resample.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <random>

#include "tests/support/scratch_dir.h"

namespace ulmar::audio {
namespace {

using test::expectSentence;
using test::refusalOf;

struct Rates {
  int from;
  int to;
};

constexpr Rates kRates[] = {{44100, 48000}, {48000, 44100}, {48000, 96000},
                            {96000, 44100}, {8000, 384000}, {192000, 8000},
                            {44100, 44101}, {11025, 22050}};

// 28 bits of quality leave the 24 bits of float as the larger error: half a step of the
// sum of two signals of at most 1 (2^-24), and as much again for the steps of the
// input.
constexpr double kFloatError = 0x1p-22;

// A quarter of a second of a tone under a bell that is silent at both ends, so that
// nothing rings into the edges.
std::vector<float> tone(double frequency, double rate, std::size_t frames) {
  constexpr double kCentre = 0.125;  // s
  constexpr double kWidth = 0.02;    // s
  std::vector<float> samples(frames);
  for (std::size_t n = 0; n < frames; ++n) {
    const double t = static_cast<double>(n) / rate;
    const double bell = std::exp(-std::pow((t - kCentre) / kWidth, 2));
    samples[n] = static_cast<float>(
        bell * std::cos(2.0 * std::numbers::pi * frequency * t + 0.3));
  }
  return samples;
}

double peakDifference(const std::vector<float>& a, const std::vector<float>& b) {
  double peak = 0.0;
  for (std::size_t n = 0; n < std::min(a.size(), b.size()); ++n) {
    peak = std::max(peak, std::abs(double{a[n]} - double{b[n]}));
  }
  return peak;
}

TEST(Resample, TonesStayInPlaceOrGo) {
  for (const auto& [from, to] : kRates) {
    SCOPED_TRACE(testing::Message() << from << " to " << to);
    const std::size_t frames = static_cast<std::size_t>(from) / 4;
    const std::size_t outFrames =
        (frames * static_cast<std::size_t>(to) + static_cast<std::size_t>(from) - 1) /
        static_cast<std::size_t>(from);
    const double nyquist = 0.5 * std::min(from, to);
    for (const double part : {0.01, 0.5, 0.9}) {
      const double frequency = part * nyquist;
      const Planar out = resample({tone(frequency, from, frames)}, from, to);
      ASSERT_EQ(out[0].size(), outFrames);
      EXPECT_LT(peakDifference(out[0], tone(frequency, to, outFrames)), kFloatError)
          << part;
    }
    if (to < from) {
      const Planar gone = resample({tone(1.1 * nyquist, from, frames)}, from, to);
      EXPECT_LT(peakDifference(gone[0], std::vector<float>(outFrames)), kFloatError);
    }
  }
}

std::complex<double> responseAt(double frequency, double rate,
                                const std::vector<float>& impulseResponse) {
  std::complex<double> sum = 0.0;
  for (std::size_t n = 0; n < impulseResponse.size(); ++n) {
    sum += double{impulseResponse[n]} *
           std::polar(1.0, -2.0 * std::numbers::pi * frequency *
                               static_cast<double>(n) / rate);
  }
  return sum;
}

// Decaying noise from `onset` on to the last frame.
Planar decayingNoise(std::size_t frames, std::size_t onset) {
  std::minstd_rand random(7);
  Planar response(2, std::vector<float>(frames));
  for (auto& channel : response) {
    for (std::size_t n = onset; n < frames; ++n) {
      const double decay = std::exp(-40.0 * static_cast<double>(n - onset) /
                                    static_cast<double>(frames));
      channel[n] = static_cast<float>(
          decay * (static_cast<double>(random() % 65536) / 32768.0 - 1.0));
    }
  }
  return response;
}

// But for the delay, by which a sound in the first frame has room to ring before it.
TEST(Resample, ResponsesFilterAlike) {
  for (const auto& [from, to] : kRates) {
    const std::size_t frames = static_cast<std::size_t>(from) / 4;
    for (const std::size_t onset : {std::size_t{0}, frames / 4, frames - 1}) {
      SCOPED_TRACE(testing::Message() << from << " to " << to << ", onset " << onset);
      const Planar response = decayingNoise(frames, onset);
      const Planar out = resampleResponse(response, from, to);
      ASSERT_EQ(out.size(), 2U);
      const double nyquist = 0.5 * std::min(from, to);
      for (const double part : {0.0, 0.003, 0.2, 0.6, 0.9}) {
        const auto delay = std::polar(1.0, -2.0 * std::numbers::pi * part * nyquist *
                                               resampleRinging(from, to) / to);
        for (std::size_t c = 0; c < 2; ++c) {
          const auto before = delay * responseAt(part * nyquist, from, response[c]);
          const auto after = responseAt(part * nyquist, to, out[c]);
          // Errors of single samples add up as their energies do.
          double energy = 0.0;
          for (const float x : response[c]) energy += double{x} * double{x};
          EXPECT_LT(std::abs(before - after), kFloatError * std::sqrt(energy)) << part;
        }
      }
    }
  }
}

TEST(Resample, LengthsRoundUpAndShortSignalsStay) {
  struct Case {
    std::size_t frames;
    Rates rates;
    std::size_t expected;
  };
  for (const auto& [frames, rates, expected] :
       {Case{0, {44100, 48000}, 0}, Case{1, {44100, 48000}, 2},
        Case{1, {192000, 8000}, 1}, Case{147, {44100, 48000}, 160},
        Case{148, {44100, 48000}, 162}, Case{160, {48000, 44100}, 147},
        Case{3, {8000, 384000}, 144}}) {
    std::vector<float> impulse(frames);
    if (frames > 0) impulse[0] = 1.0F;
    const Planar out = resampleResponse({impulse}, rates.from, rates.to);
    const int ringing = resampleRinging(rates.from, rates.to);
    EXPECT_EQ(out[0].size(), expected + 2 * static_cast<std::size_t>(ringing));
    // A response of one frame keeps its sum.
    EXPECT_NEAR(std::abs(responseAt(0.0, rates.to, out[0])), frames > 0 ? 1.0 : 0.0,
                kFloatError);
  }
  const Planar same = {{1.0F, -0.1F}, {0.3F, 0.0F}};
  EXPECT_EQ(resampleResponse(same, 48000, 48000), same);
}

TEST(Resample, ImpossibleRatesAreRefused) {
  for (const double rate :
       {0.0, -48000.0, 1e9, std::numeric_limits<double>::quiet_NaN()}) {
    expectSentence(refusalOf([&] { resample({{1.0F}}, rate, 48000); }),
                   {"the limits are"});
    expectSentence(refusalOf([&] { resample({{1.0F}}, 48000, rate); }),
                   {"the limits are"});
  }
}

}  // namespace
}  // namespace ulmar::audio
