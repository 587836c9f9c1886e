// Responses whose measures are known in closed form.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "tests/support/random.h"

namespace ulmar::acoustics {

using Signal = std::vector<float>;

inline constexpr double kRates[] = {44100.0, 48000.0, 96000.0};

inline std::size_t framesIn(double seconds, double rate) {
  return static_cast<std::size_t>(std::llround(seconds * rate));
}

inline double power(double decibels) { return std::pow(10.0, decibels / 10.0); }

inline double decibels(double power) { return 10.0 * std::log10(power); }

/// Nepers per second of the energy of a decay of 60 dB in t60 s.
inline double decayRate(double t60) { return 6.0 * std::numbers::ln10 / t60; }

/// Energy that decays in one slope or two, without the fluctuation of noise. Its square
/// root alternates in sign, which takes it to half the sample rate.
struct Slopes {
  double t60;
  double secondT60 = 1.0;
  double second =
      0.0;  // power of the second slope at time 0, against that of the first

  double powerAt(double time) const {
    return std::exp(-decayRate(t60) * time) +
           second * std::exp(-decayRate(secondT60) * time);
  }
  /// The integral of that from a time on.
  double energyAfter(double time) const {
    return std::exp(-decayRate(t60) * time) / decayRate(t60) +
           second * std::exp(-decayRate(secondT60) * time) / decayRate(secondT60);
  }
  /// The least-squares slope of the energy that is still to come, from one level of it
  /// to another in dB, as the time in which it would fall by 60 dB.
  double decayTime(double high, double low) const {
    double n = 0.0, x = 0.0, y = 0.0, xx = 0.0, xy = 0.0;
    for (int i = 0; i < 400000; ++i) {
      const double time = 1e-5 * i;
      const double level = decibels(energyAfter(time) / energyAfter(0.0));
      if (level > high) continue;
      if (level < low) break;
      n += 1.0;
      x += time;
      y += level;
      xx += time * time;
      xy += time * level;
    }
    return -60.0 * (n * xx - x * x) / (n * xy - x * y);
  }
  Signal sampled(double seconds, double rate) const {
    Signal signal(framesIn(seconds, rate));
    for (std::size_t n = 0; n < signal.size(); ++n) {
      // The midpoint of the frame: what the frame sums is what lies in its time.
      const double value =
          0.5 * std::sqrt(powerAt((static_cast<double>(n) + 0.5) / rate));
      signal[n] = static_cast<float>(n % 2 == 0 ? value : -value);
    }
    return signal;
  }
};

/// A tone that decays by 60 dB in t60 s.
inline void addTone(Signal& signal, double frequency, double t60, double rate) {
  for (std::size_t n = 0; n < signal.size(); ++n) {
    const double time = static_cast<double>(n) / rate;
    signal[n] +=
        static_cast<float>(0.1 * std::exp(-0.5 * decayRate(t60) * time) *
                           std::cos(2.0 * std::numbers::pi * frequency * time));
  }
}

/// Normal noise of power 1.
inline Signal noise(std::size_t length, std::uint64_t seed) {
  test::Random random(seed);
  Signal signal(length);
  for (float& sample : signal) {
    double sum = 0.0;  // of twelve uniform numbers of variance 1/3
    for (int i = 0; i < 12; ++i) sum += double{random.sample()};
    sample = static_cast<float>(0.5 * sum);
  }
  return signal;
}

inline Signal delayed(const Signal& signal, std::size_t frames, float gain = 1.0F) {
  Signal result(frames);
  for (const float sample : signal) result.push_back(gain * sample);
  return result;
}

/// The sum, as long as the first.
inline Signal sum(Signal a, const Signal& b) {
  for (std::size_t n = 0; n < std::min(a.size(), b.size()); ++n) a[n] += b[n];
  return a;
}

/// Within a part of the expected value.
template <class Value>
void expectAbout(const Value& value, double expected, double tolerance) {
  if constexpr (std::is_arithmetic_v<Value>) {
    EXPECT_NEAR(value, expected, tolerance * std::abs(expected));
  } else {
    ASSERT_TRUE(value.has_value()) << "not " << expected;
    EXPECT_NEAR(*value, expected, tolerance * std::abs(expected));
  }
}

}  // namespace ulmar::acoustics
