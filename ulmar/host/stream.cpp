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
#include "ulmar/host/checks.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/error.h"
#include "ulmar/process/Ulmar_Process.h"

namespace ulmar::host {
namespace {

constexpr int kMaxCallChannels = 6;

// Frames that are copied at a time where a sample cannot be used.
constexpr int kCopiedRun = 64;

// Samples from frame to frame of a call's channel k: the library takes the sixth for
// consecutive ones.
std::ptrdiff_t stepOf(const OstinSoundBuf* records, int k) {
  return k == kMaxCallChannels - 1 ? 1 : records[k].step;
}

void advance(OstinSoundBuf* records, int channels, int run) {
  for (int k = 0; k < channels; ++k) records[k].data += stepOf(records, k) * run;
}

// Zero, or a normal number within the limit: neither NaN nor a denormal one, which
// would only take time. By the bits, as a processor may take that time to compare as
// well.
bool isUsable(float sample) {
  constexpr auto kLeast =
      std::bit_cast<std::int32_t>(std::numeric_limits<float>::min());
  constexpr auto kMost = std::bit_cast<std::int32_t>(kMaxInputSample);
  const std::int32_t magnitude = std::bit_cast<std::int32_t>(sample) & 0x7FFFFFFF;
  return magnitude == 0 || (magnitude >= kLeast && magnitude <= kMost);
}

// Without a branch, so that consecutive samples are looked at four at a time.
bool areUsable(const float* samples, std::ptrdiff_t step, int count) {
  int unusable = 0;
  if (step == 1) {
    for (int i = 0; i < count; ++i) unusable |= static_cast<int>(!isUsable(samples[i]));
  } else {
    for (int i = 0; i < count; ++i) {
      unusable |= static_cast<int>(!isUsable(samples[i * step]));
    }
  }
  return unusable == 0;
}

// The areas that carry a stream; the others are tables, sets and scratch.
constexpr Area kCarried[] = {Area::inBlocks,  Area::outBlocks, Area::dryRings,
                             Area::rearRings, Area::histMem,   Area::accMem,
                             Area::outMem,    Area::dcSave};

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

// What a snapshot starts with: whatever decides on the layout and meaning of the rest.
struct SnapshotHeader {
  std::array<char, 8> magic = {'U', 'l', 'm', 'a', 'r', 'S', 'n', '2'};
  std::int32_t inChannels = 0;
  std::int32_t outChannels = 0;
  std::int32_t numInputs = 0;
  std::int32_t numOutputs = 0;
  std::int32_t dryRingLen = 0;
  std::int32_t foldToStereo = 0;
  struct Engine {
    std::int32_t blockLen = 0;
    std::int32_t irLen = 0;
    std::int32_t numSegments = 0;
    std::int32_t chunksPerSegment = 0;
    std::int32_t hfTruncate = 0;

    bool operator==(const Engine&) const = default;
  };
  Engine head;
  Engine tail;  // zeros without one

  bool operator==(const SnapshotHeader&) const = default;
};

SnapshotHeader::Engine engineOf(const Geometry& geometry) {
  return {geometry.blockLen, geometry.irLen, geometry.numSegments,
          geometry.chunksPerSegment, geometry.hfTruncate ? 1 : 0};
}

SnapshotHeader snapshotHeader(const StreamPlan& plan) {
  const ParamStruct& params = plan.params();
  SnapshotHeader header;
  header.inChannels = plan.inChannels();
  header.outChannels = plan.outChannels();
  header.numInputs = params.numInputs;
  header.numOutputs = params.numOutputs;
  header.dryRingLen = params.dryRingLen;
  header.foldToStereo = params.foldToStereo != 0 ? 1 : 0;
  header.head = engineOf(geometryOf(params));
  if (plan.tail()) header.tail = engineOf(plan.tail()->geometry);
  return header;
}

// The counters of an engine, by either of the records that hold them.
template <typename State>
void checkCounters(const State& state, const ParamStruct& params) {
  const ConvRTState engine = engineStateOf(params);
  checkRange("snapshot's ring position", state.ringPos, 0, engine.ringLen - 1);
  checkRange("snapshot's segment phase", state.segPhase, 0, engine.numSegments - 1);
  checkRange("snapshot's chunk phase", state.chunkPhase, 0,
             engine.chunksPerSegment - 1);
  checkRange("snapshot's overlap selector", state.overlapSel, 0, 1);
}

// Positions index the areas unchecked, so a damaged snapshot must not bring in others.
void checkPositions(const StateStruct& state, const TailState& tailState,
                    const StreamPlan& plan) {
  const ParamStruct& params = plan.params();
  checkRange("snapshot's block position", state.blockPos, 0, params.blockLen - 1);
  checkRange("snapshot's dry position", state.dryPos, 0, params.dryRingLen - 1);
  checkRange("snapshot's rear position", state.rearPos, 0,
             2 * std::int64_t{params.dryRingLen} - 1);
  if (params.irLen > 0) checkCounters(state, params);
  if (!plan.tail()) return;
  checkRange("snapshot's tail position", tailState.boundary, 0,
             2 * std::int64_t{plan.tail()->numSlots} - 1);
  checkRange("snapshot's tail flag", tailState.running, 0, 1);
  checkCounters(tailState, plan.tail()->params);
}

// Calls visit(engine, area) for all that a stream carries from call to call.
template <typename Visit>
void forEachCarried(const Areas& areas, Visit visit) {
  for (std::size_t engine = 0; engine < areas.sizes().size(); ++engine) {
    for (const Area area : kCarried) visit(engine, area);
  }
}

}  // namespace

Stream::Stream(const StreamPlan& plan, std::shared_ptr<const PartitionSets> sets)
    : plan_(plan),
      params_(plan.params()),
      sets_(std::move(sets)),
      areas_(plan.streamAreas()) {
  if (!sets_->plan().sharesSetsWith(plan)) {
    fail(
        "the partition sets were built for another plan, with other channels or "
        "geometries");
  }
  areas_.enterInto(ext_, 0);
  sets_->areas().enterInto(ext_, 0);
  if (!plan.tail()) return;
  ExternStruct tailTable{};
  areas_.enterInto(tailTable, 1);
  sets_->areas().enterInto(tailTable, 1);
  // The sets' own plan knows which pairs of theirs have a tail.
  tail_.emplace(*sets_->plan().tail(), tailTable);
}

Stream::Stream(const StreamPlan& plan, const Responses& responses)
    : Stream(plan, buildPartitionSets(plan, responses)) {}

Stream::Stream(int inChannels, int outChannels, const ParamStruct& params,
               const Responses& responses)
    : Stream(StreamPlan(inChannels, outChannels, params), responses) {}

// With a tail, UlmarProc is called up to each boundary of blocks, behind which the
// head's blocks of input and output stand.
void Stream::processToBoundaries(OstinSoundBuf* in, OstinSoundBuf* out,
                                 int frames) noexcept {
  const int numIns = plan_.inChannels();
  const int numOuts = plan_.outChannels();
  HostLong done = 0;
  if (!tail_) {
    UlmarProc(in, numIns, frames, out, numOuts, &done, asRecords<char>(&params_),
              asRecords<char>(&state_), &ext_);
    return;
  }
  while (frames > 0) {
    const int run = std::min(frames, params_.blockLen - state_.blockPos);
    UlmarProc(in, numIns, run, out, numOuts, &done, asRecords<char>(&params_),
              asRecords<char>(&state_), &ext_);
    if (state_.blockPos == 0) {
      tail_->passBoundary(tailState_, asRecords<double>(areas_[Area::inBlocks]),
                          asRecords<double>(areas_[Area::outBlocks]));
    }
    advance(in, numIns, run);
    advance(out, numOuts, run);
    frames -= run;
  }
}

// As the library would process the input with silence for each sample that it cannot
// use. Results do not depend on where calls end.
void Stream::processUsable(OstinSoundBuf* in, OstinSoundBuf* out, int frames) noexcept {
  const int numIns = plan_.inChannels();
  const auto allUsable = [&] {
    for (int k = 0; k < numIns; ++k) {
      if (!areUsable(in[k].data, stepOf(in, k), frames)) return false;
    }
    return true;
  };
  if (in[0].format != kFormatFloat || allUsable()) {
    processToBoundaries(in, out, frames);
    return;
  }
  float samples[kMaxCallChannels][kCopiedRun];
  for (int done = 0; done < frames; done += kCopiedRun) {
    const int run = std::min(frames - done, kCopiedRun);
    std::array<OstinSoundBuf, kMaxCallChannels> inCopies{};
    std::array<OstinSoundBuf, kMaxCallChannels> outRun{};
    for (int k = 0; k < numIns; ++k) {
      for (int i = 0; i < run; ++i) {
        const float sample = in[k].data[i * stepOf(in, k)];
        samples[k][i] = isUsable(sample) ? sample : 0.0F;
      }
      inCopies[static_cast<std::size_t>(k)] = {samples[k], 1, kFormatFloat, {}};
    }
    std::copy_n(out, plan_.outChannels(), outRun.begin());
    processToBoundaries(inCopies.data(), outRun.data(), run);
    advance(in, numIns, run);
    advance(out, plan_.outChannels(), run);
  }
}

void Stream::process(std::span<const OstinSoundBuf> in,
                     std::span<const OstinSoundBuf> out, int frames) {
  checkRecords("input", in.size(), plan_.inChannels());
  checkRecords("output", out.size(), plan_.outChannels());
  checkFrames(frames);
  std::array<OstinSoundBuf, kMaxCallChannels> inBufs{};
  std::array<OstinSoundBuf, kMaxCallChannels> outBufs{};
  std::copy(in.begin(), in.end(), inBufs.begin());
  std::copy(out.begin(), out.end(), outBufs.begin());
  const DefaultArithmetic arithmetic;
  processUsable(inBufs.data(), outBufs.data(), frames);
}

void Stream::process(const float* const* in, float* const* out, int frames) {
  std::array<OstinSoundBuf, kMaxCallChannels> inBufs{};
  std::array<OstinSoundBuf, kMaxCallChannels> outBufs{};
  const auto numIns = static_cast<std::size_t>(plan_.inChannels());
  const auto numOuts = static_cast<std::size_t>(plan_.outChannels());
  for (std::size_t k = 0; k < numIns; ++k) {
    // The library reads its inputs only.
    inBufs[k] = {const_cast<float*>(in[k]), 1, kFormatFloat, {}};
  }
  for (std::size_t k = 0; k < numOuts; ++k) outBufs[k] = {out[k], 1, kFormatFloat, {}};
  process(std::span(inBufs).first(numIns), std::span(outBufs).first(numOuts), frames);
}

void Stream::processInterleaved(const float* in, float* out, int frames) {
  if (plan_.inChannels() == kMaxCallChannels) {
    fail(
        "interleaved samples of six channels were handed in, and six channels must be "
        "planar");
  }
  checkFrames(frames);
  if (frames == 0) return;  // the addresses may be null
  std::array<OstinSoundBuf, kMaxCallChannels> inBufs{};
  std::array<OstinSoundBuf, kMaxCallChannels> outBufs{};
  const auto numIns = static_cast<std::size_t>(plan_.inChannels());
  const auto numOuts = static_cast<std::size_t>(plan_.outChannels());
  for (std::size_t k = 0; k < numIns; ++k) {
    inBufs[k] = {const_cast<float*>(in) + k, plan_.inChannels(), kFormatFloat, {}};
  }
  for (std::size_t k = 0; k < numOuts; ++k) {
    outBufs[k] = {out + k, plan_.outChannels(), kFormatFloat, {}};
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
             std::min(plan_.outChannels(), kMaxChannels) - 1);
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
  tailState_ = {};
  forEachCarried(areas_,
                 [&](std::size_t engine, Area area) { areas_.zero(engine, area); });
}

std::int64_t Stream::snapshotBytes() const {
  std::int64_t bytes = sizeof(SnapshotHeader) + sizeof state_ + sizeof tailState_;
  forEachCarried(areas_, [&](std::size_t engine, Area area) {
    bytes += areas_.sizes()[engine][area];
  });
  return bytes;
}

std::vector<std::byte> Stream::snapshot() const {
  std::vector<std::byte> bytes(static_cast<std::size_t>(snapshotBytes()));
  std::byte* to = bytes.data();
  const auto put = [&](const void* from, std::int64_t size) {
    if (size > 0) std::memcpy(to, from, static_cast<std::size_t>(size));
    to += size;
  };
  const SnapshotHeader header = snapshotHeader(plan_);
  put(&header, sizeof header);
  put(&state_, sizeof state_);
  put(&tailState_, sizeof tailState_);
  forEachCarried(areas_, [&](std::size_t engine, Area area) {
    put(areas_.at(engine, area), areas_.sizes()[engine][area]);
  });
  return bytes;
}

void Stream::restore(std::span<const std::byte> bytes) {
  const std::byte* from = bytes.data();
  const auto take = [&](void* to, std::int64_t size) {
    if (size > 0) std::memcpy(to, from, static_cast<std::size_t>(size));
    from += size;
  };
  SnapshotHeader header;
  if (std::cmp_less(bytes.size(), sizeof header)) {
    fail("the snapshot has ", bytes.size(), " bytes, and this stream's have ",
         snapshotBytes());
  }
  take(&header, sizeof header);
  if (header != snapshotHeader(plan_)) {
    fail("the snapshot is of a stream with other channels, geometry or rings: ",
         header.inChannels, " > ", header.outChannels, " channels, blocks of ",
         header.head.blockLen, ", a response of ", header.head.irLen, " samples");
  }
  if (std::cmp_not_equal(bytes.size(), snapshotBytes())) {
    fail("the snapshot has ", bytes.size(), " bytes, and this stream's have ",
         snapshotBytes());
  }
  StateStruct restored;
  TailState restoredTail;
  take(&restored, sizeof restored);
  take(&restoredTail, sizeof restoredTail);
  checkPositions(restored, restoredTail, plan_);
  state_ = restored;
  tailState_ = restoredTail;
  forEachCarried(areas_, [&](std::size_t engine, Area area) {
    take(areas_.at(engine, area), areas_.sizes()[engine][area]);
  });
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
