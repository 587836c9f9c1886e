// Responses whose measures are known, and what the inspector says of them.
#pragma once

#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>
#include <vector>

#include "tests/audio/audio_samples.h"
#include "tests/render/program.h"
#include "tests/support/random.h"

namespace ulmar::inspect {

using Signal = std::vector<float>;
using Json = nlohmann::json;

inline constexpr int kRate = 48000;

inline std::size_t index(int frame) { return static_cast<std::size_t>(frame); }

/// Tones at octave centres from 125 Hz on that die away by 60 dB in t60[i] s: unlike
/// noise, they have smooth decays.
inline Signal decayingTones(const std::vector<double>& t60, double seconds,
                            int delay = 0) {
  const int numFrames = delay + static_cast<int>(seconds * kRate);
  Signal signal(index(numFrames));
  for (int n = delay; n < numFrames; ++n) {
    const double time = static_cast<double>(n - delay) / kRate;
    double sum = 0.0;
    double centre = 125.0;
    for (const double t : t60) {
      sum += 0.1 * std::exp(-3.0 * std::numbers::ln10 * time / t) *
             std::cos(2.0 * std::numbers::pi * centre * time);
      centre *= 2.0;
    }
    signal[index(n)] = static_cast<float>(sum);
  }
  return signal;
}

/// Noise that dies away by 60 dB in t60 s, behind a sound of amplitude 1.
inline Signal decayingNoise(double t60, double seconds, std::uint64_t seed) {
  Signal signal = test::Random(seed).signal(static_cast<int>(seconds * kRate));
  for (std::size_t n = 0; n < signal.size(); ++n) {
    const double time = static_cast<double>(n) / kRate;
    signal[n] *=
        static_cast<float>(0.2 * std::exp(-3.0 * std::numbers::ln10 * time / t60));
  }
  signal[0] = 1.0F;
  return signal;
}

/// Within so much of the expected value, relative to it.
inline void expectAbout(const Json& value, double expected, double tolerance) {
  ASSERT_TRUE(value.is_number()) << value;
  EXPECT_NEAR(value.get<double>(), expected, tolerance * std::abs(expected));
}

/// The figures of a response of some channels of the same length.
inline Json inspected(const std::vector<Signal>& channels) {
  const test::ScratchDir folder;
  Signal interleaved;
  for (std::size_t n = 0; n < channels[0].size(); ++n) {
    for (const Signal& channel : channels) interleaved.push_back(channel[n]);
  }
  audio::writeAudio(
      folder / "ir.wav",
      {.channels = static_cast<int>(channels.size()), .sampleRate = kRate},
      interleaved);
  return Json::parse(render::expectRun(folder, {"ir.wav", "--json"}).out);
}

}  // namespace ulmar::inspect
