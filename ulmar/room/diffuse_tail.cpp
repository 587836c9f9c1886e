#include "ulmar/room/diffuse_tail.h"

#include "ulmar/host/portable_precision.h"
#include "ulmar/room/biquad.h"

namespace ulmar::room {
namespace {

// SplitMix64 (Steele, Lea and Flood, OOPSLA 2014). The same sequence everywhere, unlike
// the distributions of the standard library.
class WhiteNoise {
 public:
  // Scrambled, as seeds one step apart would otherwise give shifted copies of one
  // sequence.
  explicit WhiteNoise(std::uint64_t seed) : state_(scramble(seed)) {}

  // Evenly distributed, mean 0, variance 1.
  double operator()() {
    state_ += kStep;
    const auto centred = static_cast<std::int64_t>(scramble(state_)) >> 11;  // 53 bits
    return static_cast<double>(centred) * kScale;
  }

 private:
  static constexpr std::uint64_t kStep = 0x9E37'79B9'7F4A'7C15;
  static constexpr double kScale = std::numbers::sqrt3 / 4503599627370496.0;  // 2^52

  static std::uint64_t scramble(std::uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58'476D'1CE4'E5B9;
    z = (z ^ (z >> 27)) * 0x94D0'49BB'1331'11EB;
    return z ^ (z >> 31);
  }

  std::uint64_t state_;
};

double upperEdge(std::size_t band) {
  return kOctaveCentres[band] * std::numbers::sqrt2;
}

// The bands whose lower edge lies below 0.45 of the sample rate.
std::size_t numBandsAt(double sampleRate) {
  std::size_t numBands = 1;
  while (numBands < kOctaveCentres.size() &&
         upperEdge(numBands - 1) < 0.45 * sampleRate) {
    ++numBands;
  }
  return numBands;
}

// The sections between the edges of one band; the lowest and the highest band are open.
std::vector<Biquad> bandFilter(std::size_t band, std::size_t numBands,
                               double sampleRate) {
  std::vector<Biquad> sections;
  const auto add = [&](PassBand pass, double edge) {
    const auto filter = butterworth4(pass, edge, sampleRate);
    sections.insert(sections.end(), filter.begin(), filter.end());
  };
  if (band > 0) add(PassBand::high, upperEdge(band - 1));
  if (band + 1 < numBands) add(PassBand::low, upperEdge(band));
  return sections;
}

std::vector<double> fadeIn(const RoomTiming& timing, std::size_t frames) {
  std::vector<double> weights(frames);
  for (std::size_t n = 0; n < frames; ++n) {
    const double time = timing.start + static_cast<double>(n) / timing.sampleRate;
    const double mix = timing.mixAt(time);
    weights[n] =
        mix < 1.0 ? withPortablePrecision(std::sin(0.5 * std::numbers::pi * mix)) : 1.0;
  }
  return weights;
}

}  // namespace

void addDiffuseTail(const RoomSpec& room, const Microphone& mic,
                    const RoomTiming& timing, std::uint64_t seed,
                    std::vector<double>& response) {
  const double energyPerSecond =
      4.0 * std::numbers::pi * kSpeedOfSound / volume(room) * diffuseEnergyGain(mic);
  const double amplitude = std::sqrt(energyPerSecond / timing.sampleRate);
  const std::vector<double> weights = fadeIn(timing, response.size());
  const std::size_t numBands = numBandsAt(timing.sampleRate);
  WhiteNoise noise(seed);
  for (std::size_t band = 0; band < numBands; ++band) {
    std::vector<Biquad> sections = bandFilter(band, numBands, timing.sampleRate);
    const double decayRate = kSixtyDecibels / room.t60[band];  // nepers per second
    double level =
        withPortablePrecision(amplitude * std::exp(-decayRate * timing.start));
    const double decay =
        withPortablePrecision(std::exp(-decayRate / timing.sampleRate));
    for (std::size_t n = 0; n < response.size(); ++n) {
      double x = noise();
      for (Biquad& section : sections) x = section(x);
      response[n] += x * level * weights[n];
      level *= decay;
    }
  }
}

}  // namespace ulmar::room
