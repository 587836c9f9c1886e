#include "ulmar/host/plan.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <numeric>
#include <utility>

#include "ulmar/host/arithmetic_mode.h"
#include "ulmar/host/checks.h"
#include "ulmar/host/cost_model.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/error.h"

namespace ulmar::host {
namespace {

constexpr int kMaxRingLen = 1 << 24;  // samples of dry delay
constexpr std::pair<int, int> kChannelPairs[] = {{1, 1}, {1, 2}, {2, 2}, {1, 5},
                                                 {2, 5}, {5, 5}, {6, 6}};

// The longest tail block that is chosen by itself. Longer ones cost more than they
// save: their transforms leave the cache, and no boundary can take one in.
constexpr int kMaxAutoTail = 1 << 14;

// Up to this ratio of the largest boundary to the mean, the mean alone decides between
// plans; beyond it, evenness weighs more the less there is of it.
constexpr double kEvenEnough = 2.3;

// Fewest rows of a slice of the high tier: the kernels gather as many before they
// store.
constexpr int kMinSliceRows = 8;

using Costs = std::vector<std::int64_t>;

int headLen(int blockLen, int tailBlockLen) { return 2 * tailBlockLen - blockLen; }

bool isPowerOfTwo(int value) {
  return value > 0 && std::has_single_bit(static_cast<unsigned>(value));
}

// Pairs of input and output that have samples from `start` on.
int numPairsFrom(const ResponseShape& shape, int start) {
  int count = 0;
  for (int input = 0; input < shape.numInputs; ++input) {
    for (int output = 0; output < shape.numOutputs; ++output) {
      if (shape.lengthBetween(input, output) > start) ++count;
    }
  }
  return count;
}

std::int64_t blockCostOf(const Geometry& geometry, const ResponseShape& shape,
                         int start) {
  return stageCosts(geometry).total(shape.numInputs, shape.numOutputs,
                                    numPairsFrom(shape, start));
}

// Slices of the high tier that are small beside an even share of all the work.
int chooseSlices(const Geometry& geometry, const ResponseShape& shape, int start,
                 int numSlots) {
  ParamStruct params{};
  setGeometry(params, geometry);
  const int mostSlices =
      std::max(1, engineStateOf(params).rowsPerChunk / kMinSliceRows);
  const std::int64_t share = blockCostOf(geometry, shape, start) / numSlots;
  const std::int64_t high = stageCosts(geometry).high;
  int numSlices = 1;
  while (2 * numSlices <= mostSlices && high / numSlices > share / 3) numSlices *= 2;
  return numSlices;
}

// Stages of one block in the order of the engine: the low tier of an input follows its
// transform, the tiers that work ahead follow the counters' step.
std::vector<TailStage> stagesOf(const ResponseShape& shape, const TailPlan& tail) {
  using Kind = TailStage::Kind;
  std::vector<TailStage> stages;
  const auto addPairs = [&](Kind kind, int input, int numSlices) {
    for (int output = 0; output < shape.numOutputs; ++output) {
      if (shape.lengthBetween(input, output) <= tail.start) continue;
      for (int slice = 0; slice < numSlices; ++slice) {
        stages.push_back({kind, input, output, slice});
      }
    }
  };
  for (int input = 0; input < shape.numInputs; ++input) {
    stages.push_back({Kind::transform, input});
    addPairs(Kind::low, input, 1);
  }
  for (int output = 0; output < shape.numOutputs; ++output) {
    stages.push_back({Kind::output, 0, output});
  }
  stages.push_back({Kind::step});
  for (int input = 0; input < shape.numInputs; ++input) {
    addPairs(Kind::high, input, tail.numSlices);
  }
  for (int input = 0; input < shape.numInputs; ++input) {
    addPairs(Kind::mid, input, tail.geometry.chunksPerSegment > 1 ? 1 : 0);
  }
  stages.push_back({Kind::advance});
  return stages;
}

std::int64_t costOf(const TailStage& stage, const StageCosts& costs, int numSlices) {
  switch (stage.kind) {
    case TailStage::Kind::transform:
      return costs.transform;
    case TailStage::Kind::low:
      return costs.low;
    case TailStage::Kind::output:
      return costs.output;
    case TailStage::Kind::high:
      return costs.high / numSlices;
    case TailStage::Kind::mid:
      return costs.mid;
    case TailStage::Kind::step:
    case TailStage::Kind::advance:
      break;
  }
  return 0;
}

// How many runs of at most `most` the costs fall into, taken in order.
int runsWithin(const Costs& costs, std::int64_t most) {
  int runs = 1;
  std::int64_t sum = 0;
  for (const std::int64_t cost : costs) {
    if (sum + cost > most) {
      ++runs;
      sum = 0;
    }
    sum += cost;
  }
  return runs;
}

// The least bound that `numSlots` runs of the costs can keep.
std::int64_t leastBound(const Costs& costs, int numSlots) {
  std::int64_t low = *std::max_element(costs.begin(), costs.end());
  std::int64_t high = std::accumulate(costs.begin(), costs.end(), std::int64_t{0});
  while (low < high) {
    const std::int64_t middle = low + (high - low) / 2;
    if (runsWithin(costs, middle) <= numSlots) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return low;
}

// firstStage of a TailPlan: runs of the costs, none above the bound.
std::vector<int> divided(const Costs& costs, int numSlots, std::int64_t bound) {
  std::vector<int> first = {0};
  std::int64_t sum = 0;
  for (std::size_t k = 0; k < costs.size(); ++k) {
    if (sum + costs[k] > bound) {
      first.push_back(static_cast<int>(k));
      sum = 0;
    }
    sum += costs[k];
  }
  first.resize(static_cast<std::size_t>(numSlots) + 1, static_cast<int>(costs.size()));
  return first;
}

struct Candidate {
  Geometry head;
  std::optional<TailPlan> tail;
  std::int64_t mean = 0;
  std::int64_t worst = 0;

  double score() const {
    const auto average = static_cast<double>(mean);
    const double unevenness =
        std::max(1.0, static_cast<double>(worst) / (kEvenEnough * average));
    return average * unevenness * unevenness;
  }
};

Candidate oneEngine(const Geometry& geometry, const ResponseShape& shape) {
  const std::int64_t cost = blockCostOf(geometry, shape, 0);
  return {geometry, std::nullopt, cost, cost};
}

// The head of two engines has fewer partitions than one engine of its blocks, and
// between its blocks the tail takes the caches: four segments, which visit the rows
// less often, measured 1 to 5 % better than the division of one engine, with every body
// of the kernels.
Geometry headGeometry(int blockLen, int irLen) {
  constexpr int kMostSegments = 4;
  Geometry geometry = chooseGeometry(blockLen, irLen);
  geometry.numSegments = std::min(geometry.numSegments, kMostSegments);
  geometry.chunksPerSegment = 1;
  return geometry;
}

Candidate twoEngines(const Geometry& geometry, const ResponseShape& shape,
                     const ParamStruct& params) {
  TailPlan tail;
  tail.geometry = geometry;
  tail.start = shape.length() - geometry.irLen;
  tail.numSlots = geometry.blockLen / params.blockLen;
  tail.numSlices = chooseSlices(geometry, shape, tail.start, tail.numSlots);
  setGeometry(tail.params, geometry);
  tail.params.numInputs = params.numInputs;
  tail.params.numOutputs = params.numOutputs;
  tail.params.perOutputIR = params.perOutputIR;

  tail.stages = stagesOf(shape, tail);
  const StageCosts stageCost = stageCosts(geometry);
  Costs costs;
  for (const TailStage& stage : tail.stages) {
    costs.push_back(costOf(stage, stageCost, tail.numSlices));
  }
  const std::int64_t bound = leastBound(costs, tail.numSlots);
  tail.firstStage = divided(costs, tail.numSlots, bound);

  const Geometry head = headGeometry(params.blockLen, tail.start);
  const std::int64_t headCost = blockCostOf(head, shape, 0);
  const std::int64_t tailCost =
      std::accumulate(costs.begin(), costs.end(), std::int64_t{0});
  const std::int64_t mean = headCost + tailCost / tail.numSlots;
  return {head, std::move(tail), mean, headCost + bound};
}

// The best division of a tail in blocks of tailBlockLen. It is not that of one engine
// of such blocks: their many rows lie far apart, which makes segments dear that a head
// has for next to nothing, and small chunks leave nothing to slice.
Candidate bestTail(int tailBlockLen, const ResponseShape& shape,
                   const ParamStruct& params) {
  const bool hfTruncate = params.hfTruncate != 0;
  const int irLen = shape.length() - headLen(params.blockLen, tailBlockLen);
  const int numPartitions = (irLen - 1) / tailBlockLen + 1;
  // The divisions that the cost model was fitted to; of others it would only guess.
  constexpr int kMostChunks = 16;
  constexpr int kMostPerSegment = 4;
  const int mostChunks = std::min(kMostChunks, tailBlockLen / (hfTruncate ? 8 : 4));
  Candidate best;
  for (int numSegments = std::min(2, mostChunks); numSegments <= mostChunks;
       numSegments *= 2) {
    const int ringLen = (numPartitions + numSegments - 1) / numSegments * numSegments;
    const int most = std::min(mostChunks, ringLen);
    for (int perSegment = 1;
         perSegment <= kMostPerSegment && numSegments * perSegment <= most;
         perSegment *= 2) {
      Candidate candidate = twoEngines(
          {tailBlockLen, irLen, numSegments, perSegment, hfTruncate}, shape, params);
      if (!best.tail || candidate.score() < best.score()) best = std::move(candidate);
    }
  }
  return best;
}

void checkTail(int tail, int blockLen) {
  if (tail == kTailAuto || tail == kTailOff) return;
  if (!isPowerOfTwo(tail) || tail < 2 * std::int64_t{blockLen} || tail > kMaxBlockLen) {
    fail("the tail's block length is ", tail,
         " samples, and must be a power of two from twice the block length, ",
         2 * std::int64_t{blockLen}, ", to ", kMaxBlockLen);
  }
}

Candidate chosen(const ResponseShape& shape, const ParamStruct& params, int tail) {
  const DefaultArithmetic arithmetic;
  Candidate best = oneEngine(geometryOf(params), shape);
  const int blockLen = params.blockLen;
  if (tail > 0) {
    if (shape.length() <= headLen(blockLen, tail)) return best;
    return bestTail(tail, shape, params);
  }
  for (int length = 2 * blockLen; tail == kTailAuto && length <= kMaxAutoTail &&
                                  shape.length() > headLen(blockLen, length);
       length *= 2) {
    Candidate candidate = bestTail(length, shape, params);
    if (candidate.score() < best.score()) best = std::move(candidate);
  }
  return best;
}

constexpr bool isSetArea(Area area) {
  return area == Area::fftTwiddles || area == Area::fftBitRev || area == Area::irSets;
}

AreaSizes only(const AreaSizes& sizes, bool ofSets) {
  AreaSizes result;
  for (const Area area : kAllAreas) {
    if (isSetArea(area) == ofSets) result[area] = sizes[area];
  }
  return result;
}

// Of a tail: two tail blocks of each input and output, of which one is worked on while
// the other fills up or is played.
AreaSizes tailSizes(const TailPlan& tail) {
  AreaSizes sizes =
      areaSizes(tail.params, tail.params.numInputs, tail.params.numOutputs);
  sizes[Area::inBlocks] *= 2;
  sizes[Area::outBlocks] *= 2;
  return sizes;
}

std::int64_t allocated(const std::vector<AreaSizes>& engines) {
  return Areas::bytesFor(engines);
}

}  // namespace

ParamStruct streamParams(const ResponseShape& shape, const StreamOptions& options) {
  checkRange("dry delay", options.dryDelay, 0, kMaxRingLen - 1);
  checkRange("rear delay", options.rearDelay, 0, 2 * kMaxRingLen - 1);
  ParamStruct params{};
  const int irLen = shape.length();
  if (irLen > 0) {
    setGeometry(params, chooseGeometry(options.blockLen, irLen, options.hfTruncate));
  } else {
    params.blockLen = options.blockLen;
  }
  params.numInputs = shape.numInputs;
  params.numOutputs = shape.numOutputs;
  params.perOutputIR = shape.perOutput ? 1 : 0;
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
  if (!isPowerOfTwo(params.dryRingLen)) {
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

StreamPlan::StreamPlan(int inChannels, int outChannels, const ResponseShape& shape,
                       const StreamOptions& options)
    : StreamPlan(inChannels, outChannels, streamParams(shape, options)) {
  checkTail(options.tail, options.blockLen);
  if (params_.irLen <= 0) return;
  checkShape(shape);
  shape_ = shape;
  Candidate best = chosen(shape, params_, options.tail);
  work_ = {static_cast<double>(best.mean), static_cast<double>(best.worst)};
  if (!best.tail) return;
  setGeometry(params_, best.head);
  tail_ = std::move(best.tail);
}

StreamPlan::StreamPlan(int inChannels, int outChannels, const ParamStruct& params)
    : inChannels_(inChannels),
      outChannels_(outChannels),
      params_((checkParams(params, inChannels, outChannels), params)) {
  if (params.irLen <= 0) return;
  shape_ = shapeOf(params);
  const std::int64_t cost = blockCostOf(geometryOf(params), shape_, 0);
  work_ = {static_cast<double>(cost), static_cast<double>(cost)};
}

int StreamPlan::upperBandLen() const {
  const ParamStruct& params = tail_ ? tail_->params : params_;
  const int start = tail_ ? tail_->start : 0;
  const int whole = shape_.length();
  if (whole == 0 || params.hfTruncate == 0) return whole;
  const std::int64_t kept =
      start + std::int64_t{engineStateOf(params).hfKeepBlocks} * params.blockLen;
  return static_cast<int>(std::min<std::int64_t>(kept, whole));
}

std::vector<AreaSizes> StreamPlan::streamAreas() const {
  std::vector<AreaSizes> engines = {
      only(areaSizes(params_, inChannels_, outChannels_), false)};
  if (tail_) engines.push_back(only(tailSizes(*tail_), false));
  return engines;
}

std::vector<AreaSizes> StreamPlan::setAreas() const {
  std::vector<AreaSizes> engines = {
      only(areaSizes(params_, inChannels_, outChannels_), true)};
  if (tail_) engines.push_back(only(tailSizes(*tail_), true));
  return engines;
}

std::int64_t StreamPlan::streamBytes() const { return allocated(streamAreas()); }
std::int64_t StreamPlan::setBytes() const { return allocated(setAreas()); }

bool StreamPlan::sharesSetsWith(const StreamPlan& other) const {
  if (params_.numInputs != other.params_.numInputs ||
      params_.numOutputs != other.params_.numOutputs ||
      (params_.perOutputIR != 0) != (other.params_.perOutputIR != 0) ||
      geometryOf(params_) != geometryOf(other.params_) ||
      tail_.has_value() != other.tail_.has_value()) {
    return false;
  }
  return !tail_ || (tail_->start == other.tail_->start &&
                    tail_->geometry == other.tail_->geometry);
}

}  // namespace ulmar::host
