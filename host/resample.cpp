#include "host/resample.h"

#include <soxr.h>

#include <array>
#include <cmath>
#include <memory>

#include "host/error.h"

namespace ulmar::host {
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

// Feeds the signal, then silence until outFrames are there: a resampler that is told of
// the end instead drops what still rings, which is all there is of a response of few
// frames.
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

Planar resampleResponse(const Planar& response, double fromRate, double toRate) {
  Planar out = resample(response, fromRate, toRate);
  if (fromRate == toRate) return out;
  const double gain = fromRate / toRate;
  for (auto& channel : out) {
    for (float& sample : channel) {
      sample = static_cast<float>(static_cast<double>(sample) * gain);
    }
  }
  return out;
}

}  // namespace ulmar::host
