#include "plugins/ulmar.lv2/loudness.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace ulmar::lv2 {
namespace {

constexpr int kChunk = 4096;

/// An impulse through low-passes of first order, one an octave from 5 Hz to 20 kHz,
/// each with half the power of the one an octave below: from 20 Hz to 20 kHz within 1
/// dB the spectrum of pink noise at 44.1 and 48 kHz.
class PinkPulse {
 public:
  explicit PinkPulse(double sampleRate) {
    double frequency = 5.0;
    for (std::size_t k = 0; k < kNumPoles; ++k, frequency *= 2.0) {
      poles_[k] = std::exp(-2.0 * std::numbers::pi * frequency / sampleRate);
      // (1 - p) is the gain at low frequencies of 1 / (1 - p/z).
      values_[k] = std::exp2(-0.5 * static_cast<double>(k)) * (1.0 - poles_[k]);
    }
  }

  double next() {
    double sum = 0.0;
    for (std::size_t k = 0; k < kNumPoles; ++k) {
      sum += values_[k];
      values_[k] *= poles_[k];
    }
    return sum;
  }

 private:
  static constexpr std::size_t kNumPoles = 13;
  std::array<double, kNumPoles> poles_{};
  std::array<double, kNumPoles> values_{};
};

}  // namespace

double pinkNoiseGain(host::Stream& stream, const Setting& setting) {
  const auto numInputs = static_cast<std::size_t>(setting.variant.streamInputs());
  const auto numOutputs = static_cast<std::size_t>(setting.variant.outputs);
  // The pulse has died away by 50 dB after 0.2 s.
  const int frames = stream.plan().shape().length() + stream.latency() +
                     stream.params().rearDelay + setting.sampleRate / 5;
  double wet = 0.0;
  double dry = 0.0;
  for (std::size_t input = 0; input < numInputs; ++input) {
    PinkPulse pulse(setting.sampleRate);
    std::vector<std::vector<float>> in(numInputs, std::vector<float>(kChunk));
    std::vector<std::vector<float>> out(numOutputs, std::vector<float>(kChunk));
    std::vector<const float*> from;
    std::vector<float*> to;
    from.reserve(numInputs);
    to.reserve(numOutputs);
    for (const auto& channel : in) from.push_back(channel.data());
    for (auto& channel : out) to.push_back(channel.data());
    stream.reset();
    for (int done = 0; done < frames; done += kChunk) {
      for (float& sample : in[input]) {
        sample = static_cast<float>(pulse.next());
        dry += double{sample} * double{sample};
      }
      stream.process(from.data(), to.data(), kChunk);
      for (const auto& channel : out) {
        for (const float sample : channel) wet += double{sample} * double{sample};
      }
    }
  }
  stream.reset();
  // A mono input is heard dry from both outputs of stereo.
  if (numInputs == 1 && numOutputs == 2) dry *= 2.0;
  return std::sqrt(wet / dry) / double{kScale};
}

}  // namespace ulmar::lv2
