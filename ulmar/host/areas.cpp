#include "ulmar/host/areas.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <numeric>

#include "ulmar/convrt/convrt.h"
#include "ulmar/fft/fft.h"
#include "ulmar/host/error.h"
#include "ulmar/host/geometry.h"

namespace ulmar::host {
namespace {

constexpr std::int64_t kAlign = 64;  // bytes, a cache line

constexpr std::int64_t roundUp(std::int64_t bytes) {
  return (bytes + kAlign - 1) / kAlign * kAlign;
}

template <typename T>
constexpr auto kSizeOf = static_cast<std::int64_t>(sizeof(T));

std::int64_t setBytes(const ParamStruct& params) {
  const ConvRTState state = engineStateOf(params);
  return (std::int64_t{state.numRows} * state.rowPitch + 1) * kSizeOf<VecComplex>;
}

void addEngineAreas(const ParamStruct& params, AreaSizes& sizes) {
  const ConvRTState state = engineStateOf(params);
  const std::int64_t blockLen = params.blockLen;
  const std::int64_t inputs = params.numInputs;
  const std::int64_t outputs = params.numOutputs;
  const std::int64_t histLen = std::int64_t{state.rowPitch} * state.numRows;
  const std::int64_t accLen = std::int64_t{state.numRows} * state.numChunks;

  const std::int64_t fftSize = 2 * blockLen;
  sizes[Area::fftTwiddles] = fftSize / 2 * kSizeOf<cmplxFFT>;
  sizes[Area::fftBitRev] = fftSize * kSizeOf<HostLong>;
  sizes[Area::fftWork] = fftSize * (kSizeOf<cmplxFFT> + kSizeOf<double>);
  sizes[Area::histMem] = inputs * (histLen + 1) * kSizeOf<VecComplex>;
  sizes[Area::accMem] = inputs * outputs * (accLen + 1) * kSizeOf<VecComplex>;
  sizes[Area::outMem] = outputs * (40 * blockLen + 32);
  sizes[Area::fwdSpectrum] = blockLen * kSizeOf<cmplxFFT>;
  sizes[Area::dcSave] = state.numSegments * 2 * kSizeOf<float>;
  sizes[Area::irSets] = setTableOf(params).numSets() * setBytes(params);
}

}  // namespace

ExternStruct::Area& entry(ExternStruct& ext, Area area) {
  ExternStruct::Area* const entries[kNumAreas] = {
      &ext.fftTwiddles, &ext.fftBitRev, &ext.fftWork, &ext.inBlocks, &ext.outBlocks,
      &ext.dryRings,    &ext.rearRings, &ext.histMem, &ext.accMem,   &ext.outMem,
      &ext.fwdSpectrum, &ext.dcSave,    &ext.irSets};
  return *entries[static_cast<std::size_t>(area)];
}

std::int64_t AreaSizes::total() const {
  return std::accumulate(bytes.begin(), bytes.end(), std::int64_t{0});
}

AreaSizes areaSizes(const ParamStruct& params, int inChannels, int outChannels) {
  // The sixth channel of six is copied past the driver.
  const std::int64_t driverInputs = inChannels == 6 ? 5 : inChannels;
  const std::int64_t engineInputs =
      params.foldToStereo != 0 ? driverInputs : params.numInputs;
  AreaSizes sizes;
  sizes[Area::inBlocks] = engineInputs * params.blockLen * kSizeOf<double>;
  sizes[Area::outBlocks] =
      std::int64_t{params.numOutputs} * params.blockLen * kSizeOf<double>;
  sizes[Area::dryRings] = engineInputs * params.dryRingLen * kSizeOf<float>;
  if (outChannels >= 5) {
    sizes[Area::rearRings] = 2 * 2 * std::int64_t{params.dryRingLen} * kSizeOf<float>;
  }
  if (params.irLen > 0) addEngineAreas(params, sizes);
  return sizes;
}

std::int64_t setOffset(const ParamStruct& params, int index) {
  return index * setBytes(params);
}

std::int64_t Areas::bytesFor(const std::vector<AreaSizes>& sizes) {
  std::int64_t bytes = 0;
  for (const AreaSizes& engine : sizes) {
    for (const Area area : kAllAreas) bytes += roundUp(engine[area]);
  }
  return bytes;
}

Areas::Areas(const std::vector<AreaSizes>& sizes)
    : sizes_(sizes), offsets_(sizes.size()) {
  for (std::size_t engine = 0; engine < sizes.size(); ++engine) {
    for (const Area area : kAllAreas) {
      offsets_[engine][static_cast<std::size_t>(area)] = bytes_;
      bytes_ += roundUp(sizes[engine][area]);
    }
  }
  if (bytes_ == 0) return;
  const bool addressable = bytes_ <= std::numeric_limits<std::ptrdiff_t>::max();
  if (addressable) {
    memory_.reset(static_cast<std::byte*>(std::aligned_alloc(
        static_cast<std::size_t>(kAlign), static_cast<std::size_t>(bytes_))));
  }
  if (memory_ == nullptr) {
    fail("the stream needs ", bytes_ / (1 << 20), " MiB of memory, more than there is");
  }
  std::memset(memory_.get(), 0, static_cast<std::size_t>(bytes_));
}

void Areas::Free::operator()(std::byte* memory) const { std::free(memory); }

void Areas::zero(std::size_t engine, Area area) {
  const std::int64_t bytes = sizes_[engine][area];
  if (bytes > 0) std::memset(at(engine, area), 0, static_cast<std::size_t>(bytes));
}

ExternStruct Areas::table() const {
  ExternStruct ext{};
  enterInto(ext, 0);
  return ext;
}

void Areas::enterInto(ExternStruct& ext, std::size_t engine) const {
  for (const Area area : kAllAreas) {
    if (sizes_[engine][area] > 0) entry(ext, area).address = at(engine, area);
  }
}

}  // namespace ulmar::host
