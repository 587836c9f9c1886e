#include "ulmar/host/cost_model.h"

#include <algorithm>
#include <bit>

namespace ulmar::host {
namespace {

using Picoseconds = std::int64_t;

// Of one row product among many, by the number of slots that one walk over a row
// serves, 1, 2, 4, 8 or 16 and more: the more slots, the fewer loads for each.
constexpr Picoseconds kRowProduct[] = {900, 640, 470, 420, 390};

Picoseconds rowProduct(int numSlots) {
  const auto log2 =
      static_cast<int>(std::bit_width(static_cast<unsigned>(numSlots))) - 1;
  return kRowProduct[std::clamp(log2, 0, 4)];
}

// A history and a partition set in units of 1/16 of 2 MiB, at most 40 of them: how far
// the rows of a pair lie beyond the second-level cache, and so how often the low tier,
// which takes a few columns of every row, waits for memory.
std::int64_t pairFootprint(const ConvRTState& state) {
  constexpr std::int64_t kUnit = (2 << 20) / 16;
  const std::int64_t bytes = std::int64_t{2} * state.numRows * state.rowPitch *
                             std::int64_t{sizeof(VecComplex)};
  return std::min<std::int64_t>(bytes / kUnit, 40);
}

}  // namespace

StageCosts stageCosts(const Geometry& geometry) {
  ParamStruct params{};
  setGeometry(params, geometry);
  params.numInputs = params.numOutputs = 1;
  const ConvRTState state = engineStateOf(params);
  const std::int64_t blockLen = state.blockLen;
  const std::int64_t log2Size = std::bit_width(static_cast<unsigned>(state.blockLen));
  const std::int64_t numRows = state.numRows;
  const std::int64_t numSegments = state.numSegments;
  const std::int64_t otherChunks = state.chunksPerSegment - 1;
  const BlockCost products = blockCost(geometry);
  const std::int64_t footprint = pairFootprint(state);

  // From blocks of 2048 on, transforms and their tables leave the caches step by step.
  const std::int64_t beyond = std::max<std::int64_t>(0, log2Size - 11);

  StageCosts costs;
  costs.transform = blockLen * (290 * log2Size + 1100) * (12 + beyond) / 12;
  costs.output = blockLen * (490 * log2Size + 620) * (12 + beyond) / 12;
  costs.low = 6000 * numSegments + 1350 * numRows +
              products.low * (900 + 1100 * footprint / 16);
  costs.high =
      7500 * numRows + products.high * (rowProduct(state.numChunks) + 3 * footprint);
  costs.mid = 700 * products.mid +
              state.rowsPerChunk * otherChunks * (1800 * numSegments + 14000);
  return costs;
}

}  // namespace ulmar::host
