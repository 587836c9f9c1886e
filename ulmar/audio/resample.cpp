#include "ulmar/audio/resample.h"

#include <soxr.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numeric>

#include "ulmar/host/error.h"

namespace ulmar::audio {
namespace {

using SoxrHandle = std::unique_ptr<struct soxr, decltype(&soxr_delete)>;

SoxrHandle openResampler(double fromRate, double toRate) {
  const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
  const soxr_quality_spec_t quality =
      soxr_quality_spec(SOXR_VHQ, SOXR_ROLLOFF_NONE | SOXR_HI_PREC_CLOCK);
  soxr_error_t error = nullptr;
  SoxrHandle handle(soxr_create(fromRate, toRate, 1, &error, &io, &quality, nullptr),
                    &soxr_delete);
  if (!handle || error != nullptr) {
    fail("cannot resample from ", fromRate, " to ", toRate,
         " Hz: ", soxr_strerror(error));
  }
  return handle;
}

// Feeds the signal, then silence until outFrames are there. Ending the stream instead
// would drop what the filter still holds: for a response shorter than the filter, most
// of the output.
std::vector<float> resampleChannel(const std::vector<float>& signal, double fromRate,
                                   double toRate, std::size_t outFrames) {
  static const std::array<float, 1024> kSilence{};
  const SoxrHandle resampler = openResampler(fromRate, toRate);
  std::vector<float> out(outFrames);
  std::size_t consumed = 0;
  std::size_t produced = 0;
  while (produced < outFrames) {
    const bool ended = consumed == signal.size();
    std::size_t taken = 0;
    std::size_t given = 0;
    const soxr_error_t error = soxr_process(
        resampler.get(), ended ? kSilence.data() : signal.data() + consumed,
        ended ? kSilence.size() : signal.size() - consumed, &taken,
        out.data() + produced, outFrames - produced, &given);
    if (error != nullptr) {
      fail("cannot resample from ", fromRate, " to ", toRate,
           " Hz: ", soxr_strerror(error));
    }
    if (!ended) consumed += taken;
    produced += given;
  }
  return out;
}

void refuseImpossibleRate(double rate) {
  constexpr double kMinRate = 1.0;
  constexpr double kMaxRate = 1e7;
  if (!(rate >= kMinRate && rate <= kMaxRate)) {
    fail("cannot resample at a rate of ", rate, " Hz: the limits are ", kMinRate,
         " and ", kMaxRate, " Hz");
  }
}

}  // namespace

Planar resample(const Planar& signal, double fromRate, double toRate) {
  refuseImpossibleRate(fromRate);
  refuseImpossibleRate(toRate);
  if (fromRate == toRate) return signal;
  Planar out;
  for (const auto& channel : signal) {
    const auto outFrames = static_cast<std::size_t>(
        std::ceil(static_cast<double>(channel.size()) * toRate / fromRate));
    out.push_back(resampleChannel(channel, fromRate, toRate, outFrames));
  }
  return out;
}

int resampleRinging(int fromRate, int toRate) {
  constexpr std::int64_t kHalfFilterLen = 128;
  if (fromRate == toRate) return 0;
  const std::int64_t lower = std::min(fromRate, toRate);
  return static_cast<int>((kHalfFilterLen * toRate + lower - 1) / lower);
}

Planar resampleResponse(const Planar& response, int fromRate, int toRate) {
  refuseImpossibleRate(fromRate);
  refuseImpossibleRate(toRate);
  if (fromRate == toRate) return response;
  // Silence around the response for the ringing; before it of a length that is a whole
  // number of frames at either rate.
  const auto fromPeriod =
      static_cast<std::size_t>(fromRate / std::gcd(fromRate, toRate));
  const auto toPeriod = static_cast<std::size_t>(toRate / std::gcd(fromRate, toRate));
  const auto ringing = static_cast<std::size_t>(resampleRinging(fromRate, toRate));
  const std::size_t numPeriods = (ringing - 1) / toPeriod + 1;
  const auto excess = static_cast<std::ptrdiff_t>(numPeriods * toPeriod - ringing);

  Planar out = response;
  for (auto& channel : out) {
    channel.insert(channel.begin(), numPeriods * fromPeriod, 0.0F);
    channel.resize(channel.size() + numPeriods * fromPeriod);
  }
  out = resample(out, fromRate, toRate);
  const double gain = static_cast<double>(fromRate) / toRate;
  for (auto& channel : out) {
    channel.erase(channel.begin(), channel.begin() + excess);
    channel.resize(channel.size() - static_cast<std::size_t>(excess));
    for (float& sample : channel) {
      sample = static_cast<float>(static_cast<double>(sample) * gain);
    }
  }
  return out;
}

}  // namespace ulmar::audio
