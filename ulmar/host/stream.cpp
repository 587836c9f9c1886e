#include "ulmar/host/stream.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "ulmar/base/align.h"
#include "ulmar/convrt/convrt.h"
#include "ulmar/host/arithmetic_mode.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/error.h"
#include "ulmar/process/Ulmar_Process.h"

namespace ulmar::host {
namespace {

constexpr int kMaxCallChannels = 6;
constexpr int kMaxRingLen = 1 << 24;  // samples of dry delay
constexpr std::pair<int, int> kChannelPairs[] = {{1, 1}, {1, 2}, {2, 2}, {1, 5},
                                                 {2, 5}, {5, 5}, {6, 6}};

// The areas that carry a stream; the others are tables, sets and scratch.
constexpr Area kCarried[] = {Area::inBlocks,  Area::outBlocks, Area::dryRings,
                             Area::rearRings, Area::histMem,   Area::accMem,
                             Area::outMem,    Area::dcSave};

void checkRange(const char* name, std::int64_t value, std::int64_t low,
                std::int64_t high) {
  if (value < low || value > high) {
    fail("the ", name, " is ", value, ", and the limits are ", low, " and ", high);
  }
}

void checkFinite(const char* name, float value) {
  if (!std::isfinite(value)) fail("the ", name, " is ", value, ", and must be finite");
}

void checkResponses(const ParamStruct& params, const Responses& responses) {
  if (params.irLen <= 0 && responses.samples.empty()) return;
  if (responses.numInputs != params.numInputs ||
      responses.numOutputs != params.numOutputs) {
    fail("the impulse responses are for ", responses.numInputs, " > ",
         responses.numOutputs, " channels, and the stream's engine has ",
         params.numInputs, " > ", params.numOutputs);
  }
  if (responses.perOutput != (params.perOutputIR != 0)) {
    fail("the impulse responses are one per ", responses.perOutput ? "output" : "pair",
         ", and the stream's engine takes one per ",
         params.perOutputIR != 0 ? "output" : "pair");
  }
  const int numSets = params.perOutputIR != 0 ? params.numOutputs
                                              : params.numInputs * params.numOutputs;
  if (std::cmp_not_equal(responses.samples.size(), numSets)) {
    fail("the stream has ", responses.samples.size(), " impulse responses, and needs ",
         numSets);
  }
  if (responses.length() > params.irLen) {
    fail("an impulse response has ", responses.length(),
         " samples, and the geometry holds ", params.irLen);
  }
  for (const auto& response : responses.samples) {
    const auto bad =
        std::find_if_not(response.begin(), response.end(),
                         [](float sample) { return std::isfinite(sample); });
    if (bad != response.end()) {
      fail("an impulse response is ", *bad, " at sample ", bad - response.begin(),
           ", and must be finite");
    }
  }
}

void checkFrames(int frames) {
  if (frames < 0) {
    fail("a call of ", frames, " frames was asked for, and the least is 0");
  }
}

void checkRecords(const char* name, std::size_t found, int channels) {
  if (std::cmp_not_equal(found, channels)) {
    fail("a call has ", found, " ", name, " records, and the stream has ", channels,
         " ", name, " channels");
  }
}

// What a snapshot starts with: whatever decides on the layout of the rest.
struct SnapshotHeader {
  std::array<char, 8> magic = {'U', 'l', 'm', 'a', 'r', 'S', 'n', '1'};
  std::int32_t inChannels = 0;
  std::int32_t outChannels = 0;
  std::int32_t blockLen = 0;
  std::int32_t irLen = 0;
  std::int32_t numInputs = 0;
  std::int32_t numOutputs = 0;
  std::int32_t numSegments = 0;
  std::int32_t chunksPerSegment = 0;
  std::int32_t dryRingLen = 0;
  std::int32_t foldToStereo = 0;

  bool operator==(const SnapshotHeader&) const = default;
};

SnapshotHeader snapshotHeader(const ParamStruct& params, int inChannels,
                              int outChannels) {
  SnapshotHeader header;
  header.inChannels = inChannels;
  header.outChannels = outChannels;
  header.blockLen = params.blockLen;
  header.irLen = params.irLen;
  header.numInputs = params.numInputs;
  header.numOutputs = params.numOutputs;
  header.numSegments = params.numSegments;
  header.chunksPerSegment = params.chunksPerSegment;
  header.dryRingLen = params.dryRingLen;
  header.foldToStereo = params.foldToStereo != 0 ? 1 : 0;
  return header;
}

// Positions index the areas unchecked, so a damaged snapshot must not bring in others.
void checkPositions(const StateStruct& state, const ParamStruct& params) {
  checkRange("snapshot's block position", state.blockPos, 0, params.blockLen - 1);
  checkRange("snapshot's dry position", state.dryPos, 0, params.dryRingLen - 1);
  checkRange("snapshot's rear position", state.rearPos, 0,
             2 * std::int64_t{params.dryRingLen} - 1);
  if (params.irLen <= 0) return;
  const ConvRTState engine = engineState(params);
  checkRange("snapshot's ring position", state.ringPos, 0, engine.ringLen - 1);
  checkRange("snapshot's segment phase", state.segPhase, 0, engine.numSegments - 1);
  checkRange("snapshot's chunk phase", state.chunkPhase, 0,
             engine.chunksPerSegment - 1);
  checkRange("snapshot's overlap selector", state.overlapSel, 0, 1);
}

}  // namespace

ParamStruct streamParams(const Responses& responses, const StreamOptions& options) {
  checkRange("dry delay", options.dryDelay, 0, kMaxRingLen - 1);
  checkRange("rear delay", options.rearDelay, 0, 2 * kMaxRingLen - 1);
  ParamStruct params{};
  const int irLen = responses.length();
  if (irLen > 0) {
    setGeometry(params, chooseGeometry(options.blockLen, irLen, options.hfTruncate));
  } else {
    params.blockLen = options.blockLen;
  }
  params.numInputs = responses.numInputs;
  params.numOutputs = responses.numOutputs;
  params.perOutputIR = responses.perOutput ? 1 : 0;
  params.foldToStereo = options.foldToStereo ? 1 : 0;
  params.passThrough = options.passThrough ? 1 : 0;
  params.xoverCfs = options.crossover;
  params.rearDelay = options.rearDelay;
  params.dryDelay = options.dryDelay;
  // A rear ring is twice as long as a dry ring.
  const int longest = std::max(options.dryDelay, options.rearDelay / 2);
  // A block's room beyond the delay: the library then takes whole runs of frames at
  // once.
  const auto roomy = std::bit_ceil(
      static_cast<unsigned>(longest) +
      static_cast<unsigned>(std::clamp(options.blockLen, 1, kMaxBlockLen)));
  params.dryRingLen = std::min(static_cast<int>(roomy), kMaxRingLen);
  params.crossfeed = options.crossfeed;
  params.dryGain = options.dryGain;
  std::fill(std::begin(params.wetGain), std::end(params.wetGain), options.wetGain);
  return params;
}

void checkParams(const ParamStruct& params, int inChannels, int outChannels) {
  if (std::find(std::begin(kChannelPairs), std::end(kChannelPairs),
                std::pair(inChannels, outChannels)) == std::end(kChannelPairs)) {
    fail(inChannels, " input and ", outChannels,
         " output channels were asked for, and the pairs supported are 1 > 1, 1 > 2, "
         "2 > 2, 1 > 5, 2 > 5, 5 > 5 and 6 > 6");
  }
  checkRange("number of engine inputs", params.numInputs, 1, ConvRT::kMaxInputs);
  checkRange("number of engine outputs", params.numOutputs, 1, ConvRT::kMaxOutputs);
  if (params.irLen > 0) {
    checkGeometry(geometryOf(params));
  } else {
    checkRange("block length", params.blockLen, 1, kMaxBlockLen);
  }
  checkRange("dry ring length", params.dryRingLen, 1, kMaxRingLen);
  if (!std::has_single_bit(static_cast<unsigned>(params.dryRingLen))) {
    fail("the dry ring length is ", params.dryRingLen, ", and must be a power of two");
  }
  checkRange("dry delay", params.dryDelay, 0, params.dryRingLen - 1);
  if (outChannels >= 5) {
    checkRange("rear delay", params.rearDelay, 0,
               2 * std::int64_t{params.dryRingLen} - 1);
    checkCrossover(params.xoverCfs);
  }
  checkFinite("dry gain", params.dryGain);
  for (const float gain : params.wetGain) checkFinite("wet gain", gain);
  checkFinite("cross-feed", params.crossfeed);
}

Stream::Stream(int inChannels, int outChannels, const ParamStruct& params,
               const Responses& responses)
    : inChannels_(inChannels),
      outChannels_(outChannels),
      params_((checkParams(params, inChannels, outChannels),
               checkResponses(params, responses), params)),
      areas_(areaSizes(params, inChannels, outChannels)),
      ext_(areas_.table()) {
  if (params.irLen > 0) buildPartitionSets(params, responses, areas_);
}

void Stream::process(std::span<OstinSoundBuf> in, std::span<OstinSoundBuf> out,
                     int frames) {
  checkRecords("input", in.size(), inChannels_);
  checkRecords("output", out.size(), outChannels_);
  checkFrames(frames);
  const DefaultArithmetic arithmetic;
  HostLong done = 0;
  UlmarProc(in.data(), inChannels_, frames, out.data(), outChannels_, &done,
            asRecords<char>(&params_), asRecords<char>(&state_), &ext_);
}

void Stream::process(const float* const* in, float* const* out, int frames) {
  std::array<OstinSoundBuf, kMaxCallChannels> inBufs{};
  std::array<OstinSoundBuf, kMaxCallChannels> outBufs{};
  const auto numIns = static_cast<std::size_t>(inChannels_);
  const auto numOuts = static_cast<std::size_t>(outChannels_);
  for (std::size_t k = 0; k < numIns; ++k) {
    // The library reads its inputs only.
    inBufs[k] = {const_cast<float*>(in[k]), 1, kFormatFloat, {}};
  }
  for (std::size_t k = 0; k < numOuts; ++k) outBufs[k] = {out[k], 1, kFormatFloat, {}};
  process(std::span(inBufs).first(numIns), std::span(outBufs).first(numOuts), frames);
}

void Stream::processInterleaved(const float* in, float* out, int frames) {
  if (inChannels_ == kMaxCallChannels) {
    fail(
        "interleaved samples of six channels were handed in, and six channels must be "
        "planar");
  }
  checkFrames(frames);
  if (frames == 0) return;  // the addresses may be null
  std::array<OstinSoundBuf, kMaxCallChannels> inBufs{};
  std::array<OstinSoundBuf, kMaxCallChannels> outBufs{};
  const auto numIns = static_cast<std::size_t>(inChannels_);
  const auto numOuts = static_cast<std::size_t>(outChannels_);
  for (std::size_t k = 0; k < numIns; ++k) {
    inBufs[k] = {const_cast<float*>(in) + k, inChannels_, kFormatFloat, {}};
  }
  for (std::size_t k = 0; k < numOuts; ++k) {
    outBufs[k] = {out + k, outChannels_, kFormatFloat, {}};
  }
  process(std::span(inBufs).first(numIns), std::span(outBufs).first(numOuts), frames);
}

void Stream::setDryGain(float gain) {
  checkFinite("dry gain", gain);
  params_.dryGain = gain;
}

void Stream::setWetGain(float gain) {
  checkFinite("wet gain", gain);
  std::fill(std::begin(params_.wetGain), std::end(params_.wetGain), gain);
}

void Stream::setWetGain(int output, float gain) {
  checkRange("output of a wet gain", output, 0,
             std::min(outChannels_, kMaxChannels) - 1);
  checkFinite("wet gain", gain);
  params_.wetGain[output] = gain;
}

void Stream::setCrossfeed(float gain) {
  checkFinite("cross-feed", gain);
  params_.crossfeed = gain;
}

void Stream::setDryDelay(int samples) {
  checkRange("dry delay", samples, 0, params_.dryRingLen - 1);
  params_.dryDelay = samples;
}

void Stream::setBypass(bool on) { params_.bypass = on ? 1 : 0; }

void Stream::setRearDelay(int samples) {
  checkRange("rear delay", samples, 0, 2 * std::int64_t{params_.dryRingLen} - 1);
  params_.rearDelay = samples;
}

void Stream::setPassThrough(bool on) { params_.passThrough = on ? 1 : 0; }

void Stream::setCrossover(const cApXOverCfs<float>& coefficients) {
  checkCrossover(coefficients);
  params_.xoverCfs = coefficients;
}

void Stream::reset() {
  state_ = {};
  for (const Area area : kCarried) areas_.zero(area);
}

std::int64_t Stream::snapshotBytes() const {
  std::int64_t bytes = sizeof(SnapshotHeader) + sizeof(StateStruct);
  for (const Area area : kCarried) bytes += areas_.sizes()[area];
  return bytes;
}

std::vector<std::byte> Stream::snapshot() const {
  std::vector<std::byte> bytes(static_cast<std::size_t>(snapshotBytes()));
  std::byte* to = bytes.data();
  const auto put = [&](const void* from, std::int64_t size) {
    std::memcpy(to, from, static_cast<std::size_t>(size));
    to += size;
  };
  const SnapshotHeader header = snapshotHeader(params_, inChannels_, outChannels_);
  put(&header, sizeof header);
  put(&state_, sizeof state_);
  for (const Area area : kCarried) put(areas_[area], areas_.sizes()[area]);
  return bytes;
}

void Stream::restore(std::span<const std::byte> bytes) {
  if (std::cmp_not_equal(bytes.size(), snapshotBytes())) {
    fail("the snapshot has ", bytes.size(), " bytes, and this stream's have ",
         snapshotBytes());
  }
  SnapshotHeader header;
  std::memcpy(&header, bytes.data(), sizeof header);
  if (header != snapshotHeader(params_, inChannels_, outChannels_)) {
    fail("the snapshot is of a stream with other channels, geometry or rings: ",
         header.inChannels, " > ", header.outChannels, " channels, blocks of ",
         header.blockLen, ", a response of ", header.irLen, " samples");
  }
  const std::byte* from = bytes.data() + sizeof header;
  StateStruct restored;
  std::memcpy(&restored, from, sizeof restored);
  checkPositions(restored, params_);
  const auto take = [&](void* to, std::int64_t size) {
    std::memcpy(to, from, static_cast<std::size_t>(size));
    from += size;
  };
  take(&state_, sizeof state_);
  for (const Area area : kCarried) take(areas_[area], areas_.sizes()[area]);
}

std::array<float, kMaxChannels> Stream::peaks() const {
  std::array<float, kMaxChannels> result{};
  std::copy(std::begin(state_.peak), std::end(state_.peak), result.begin());
  return result;
}

void Stream::clearPeaks() {
  std::fill(std::begin(state_.peak), std::end(state_.peak), 0.0F);
}

}  // namespace ulmar::host
