#include "ulmar/host/geometry.h"

#include <algorithm>
#include <bit>

#include "ulmar/convrt/convrt.h"
#include "ulmar/host/error.h"

namespace ulmar::host {
namespace {

bool isPowerOfTwo(int value) {
  return value > 0 && std::has_single_bit(static_cast<unsigned>(value));
}

void checkPowerOfTwo(const char* name, int value) {
  if (!isPowerOfTwo(value))
    fail("the ", name, " is ", value, ", and must be a power of two");
}

void checkLengths(int blockLen, int irLen) {
  if (!isPowerOfTwo(blockLen) || blockLen < kMinBlockLen || blockLen > kMaxBlockLen) {
    fail("the block length is ", blockLen, " samples, and must be a power of two from ",
         kMinBlockLen, " to ", kMaxBlockLen);
  }
  if (irLen < 1 || irLen > kMaxIRLen) {
    fail("the impulse response has ", irLen, " samples, and the limits are 1 and ",
         kMaxIRLen);
  }
}

// What the engine derives from a geometry, whatever the numbers of channels.
ConvRTState countsOf(const Geometry& geometry) {
  ParamStruct params{};
  setGeometry(params, geometry);
  params.numInputs = params.numOutputs = 1;
  return engineStateOf(params);
}

// The divisions that measured best over all bodies of the kernels and both builds
// (docs/engine.md): from kSomePartitions on, in blocks of at least kWideBlockLen,
// sixteen slots pay; from kManyPartitions on, fewer segments do.
constexpr int kWideBlockLen = 256;
constexpr int kFewPartitions = 4;
constexpr int kSomePartitions = 12;
constexpr int kManyPartitions = 120;

}  // namespace

void checkGeometry(const Geometry& geometry) {
  checkLengths(geometry.blockLen, geometry.irLen);
  checkPowerOfTwo("number of segments", geometry.numSegments);
  checkPowerOfTwo("number of chunks per segment", geometry.chunksPerSegment);
  const std::int64_t numChunks =
      std::int64_t{geometry.numSegments} * geometry.chunksPerSegment;
  if (numChunks > geometry.blockLen / 4) {
    fail("a block of ", geometry.blockLen, " samples has ", geometry.blockLen / 4,
         " rows, and cannot be cut into ", numChunks, " chunks");
  }
  const ConvRTState state = countsOf(geometry);
  if (state.ringLen < state.numChunks) {
    fail("an impulse response of ", geometry.irLen, " samples makes ",
         state.numIRBlocks, " partitions of ", geometry.blockLen, ", too few for ",
         state.numChunks, " chunks in ", state.numSegments, " segments");
  }
}

Geometry chooseGeometry(int blockLen, int irLen, bool hfTruncate) {
  checkLengths(blockLen, irLen);
  if (hfTruncate && blockLen < kMinTruncatedBlockLen) {
    fail("the block length is ", blockLen,
         " samples, and truncating the upper band takes at "
         "least ",
         kMinTruncatedBlockLen);
  }
  // Row products do not depend on the division. What does is how many slots one walk
  // over a row serves, M = G C, against what the low tier (G) and the mid tier (C)
  // spend on rows of few products. Every block costs the same in any of them, so the
  // worst block is the mean.
  const int numPartitions = (irLen - 1) / blockLen + 1;
  Geometry geometry{blockLen, irLen, 8, 1, hfTruncate};
  if (numPartitions < kFewPartitions) {
    // The low tier alone, and no more of it than there are partitions.
    geometry.numSegments =
        static_cast<int>(std::bit_ceil(static_cast<unsigned>(numPartitions)));
  }
  if (numPartitions >= kManyPartitions) {
    geometry.chunksPerSegment = 2;
  } else if (numPartitions >= kSomePartitions && blockLen >= kWideBlockLen) {
    geometry.numSegments = 16;
  }
  // An upper band needs two rows in a chunk.
  const int mostChunks = std::max(1, blockLen / (hfTruncate ? 8 : 4));
  while (geometry.numSegments * geometry.chunksPerSegment > mostChunks) {
    int& halved = geometry.chunksPerSegment > 1 ? geometry.chunksPerSegment
                                                : geometry.numSegments;
    halved /= 2;
  }
  return geometry;
}

BlockCost blockCost(const Geometry& geometry) {
  const ConvRTState state = countsOf(geometry);
  const std::int64_t numSegments = state.numSegments;
  const std::int64_t chunksPerSegment = state.chunksPerSegment;
  BlockCost cost;
  cost.low = state.numRows * (numSegments + 1) / 2;
  cost.mid = state.rowsPerChunk * numSegments * numSegments * chunksPerSegment *
             (chunksPerSegment - 1) / 2;
  const std::int64_t upperRows = state.rowsPerChunk / 2;
  const auto rowCost = [&](std::int64_t numParts) {
    // Slot k takes numParts - 1 - k products, none once that is negative.
    const std::int64_t numSlots =
        std::clamp<std::int64_t>(numParts - 1, 0, state.numChunks);
    return numSlots * (numParts - 1) - numSlots * (numSlots - 1) / 2;
  };
  cost.high = (state.rowsPerChunk - upperRows) * rowCost(state.numIRBlocks) +
              upperRows * rowCost(state.numIRBlocks - std::max(state.hfSkipBlocks, 0));
  return cost;
}

void setGeometry(ParamStruct& params, const Geometry& geometry) {
  params.blockLen = geometry.blockLen;
  params.irLen = geometry.irLen;
  params.numSegments = geometry.numSegments;
  params.chunksPerSegment = geometry.chunksPerSegment;
  params.hfTruncate = geometry.hfTruncate ? 1 : 0;
}

Geometry geometryOf(const ParamStruct& params) {
  return {params.blockLen, params.irLen, params.numSegments, params.chunksPerSegment,
          params.hfTruncate != 0};
}

}  // namespace ulmar::host
