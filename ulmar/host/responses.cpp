#include "ulmar/host/responses.h"

#include <algorithm>

#include "ulmar/base/align.h"
#include "ulmar/convrt/convrt.h"
#include "ulmar/host/arithmetic_mode.h"
#include "ulmar/host/error.h"
#include "ulmar/host/geometry.h"
#include "ulmar/spectral/UpdateOstinFFT.h"

namespace ulmar::host {
namespace {

std::vector<float> sum(const std::vector<float>& a, const std::vector<float>& b) {
  std::vector<float> result(a.size());
  std::transform(a.begin(), a.end(), b.begin(), result.begin(),
                 [](float x, float y) { return x + y; });
  return result;
}

}  // namespace

int Responses::length() const {
  std::size_t longest = 0;
  for (const auto& response : samples) longest = std::max(longest, response.size());
  return static_cast<int>(longest);
}

const std::vector<float>* Responses::between(int input, int output) const {
  const auto column = static_cast<std::size_t>(output);
  if (!perOutput) {
    const auto row = static_cast<std::size_t>(input);
    return &samples[row * static_cast<std::size_t>(numOutputs) + column];
  }
  const bool connected = output == input || output == input + numInputs || output == 4;
  return connected ? &samples[column] : nullptr;
}

int Responses::numPairs() const {
  int count = 0;
  for (int input = 0; input < numInputs; ++input) {
    for (int output = 0; output < numOutputs; ++output) {
      if (between(input, output) != nullptr) ++count;
    }
  }
  return count;
}

Responses arrangeResponses(const Planar& channels, int materialChannels) {
  if (materialChannels != 1 && materialChannels != 2) {
    fail("the material has ", materialChannels, " channels, and 1 or 2 are supported");
  }
  const bool mono = materialChannels == 1;
  switch (channels.size()) {
    case 1:
      if (mono) return {1, 1, true, channels};
      return {2, 2, true, {channels[0], channels[0]}};
    case 2:
      return {materialChannels, 2, true, channels};
    case 4:
      if (mono) {
        return {
            1, 2, true, {sum(channels[0], channels[2]), sum(channels[1], channels[3])}};
      }
      return {2, 2, false, channels};
    default:
      fail("the impulse response has ", channels.size(),
           " channels, and 1, 2 or 4 are supported");
  }
}

void buildPartitionSets(const ParamStruct& params, const Responses& responses,
                        const Areas& areas) {
  const DefaultArithmetic arithmetic;
  const HostLong fftSize = 2 * params.blockLen;
  dUpdateFFTTables(asRecords<HostLong>(areas[Area::fftBitRev]),
                   asRecords<dcmplx>(areas[Area::fftTwiddles]), fftSize);

  ConvRTState state = engineState(params);
  FFT fft(static_cast<int>(fftSize), asRecords<char>(areas[Area::fftTwiddles]),
          asRecords<char>(areas[Area::fftBitRev]),
          asRecords<char>(areas[Area::fftWork]));
  auto* const scratch = asRecords<cmplxFFT>(areas[Area::fwdSpectrum]);
  for (std::size_t index = 0; index < responses.samples.size(); ++index) {
    const auto& samples = responses.samples[index];
    std::byte* const set =
        areas[Area::irSets] + setOffset(params, static_cast<int>(index));
    ConvRTimpResp(state, fft, scratch, samples.data(), asRecords<VecComplex>(set),
                  static_cast<int>(samples.size()));
  }
}

}  // namespace ulmar::host
