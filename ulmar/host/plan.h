// What a stream will be, before anything of it is allocated: one engine or two, their
// geometries, its latency, memory and work.
//
// The cost of one uniformly partitioned engine grows with the response over the block.
// A plan with a tail cuts the response in two. The head, its first D samples, is
// convolved in blocks of N, the stream's latency; the tail, all from sample D on, by an
// engine of its own in blocks of T = R N. A tail block is collected over R blocks of
// the head and computed over the next R, so it is heard 2 T after its first sample.
// Less the stream's latency N, the tail starts at D = 2 T - N. The stages of a tail
// block are spread over R boundaries of the head's blocks, always in the same order and
// division, so that no boundary does much more than another (compare Gardner,
// "Efficient Convolution without Input-Output Delay", J. Audio Eng. Soc. 43, 1995, and
// Garcia, "Optimal Filter Partition for Efficient Convolution with Short Input/Output
// Delay", 113th AES Convention, 2002).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ulmar/host/areas.h"
#include "ulmar/host/geometry.h"
#include "ulmar/host/responses.h"

namespace ulmar::host {

/// Values of StreamOptions::tail beside a block length.
inline constexpr int kTailAuto = -1;  // as the cost model says
inline constexpr int kTailOff = 0;    // one engine

/// What a host says of a stream beside its responses. Gains are linear.
struct StreamOptions {
  int blockLen = 512;  // samples, a power of two; also the latency of the wet signal
  /// Low-cost upper band: the upper half of the band is convolved with part of the
  /// response only. With one engine that is the first max(G C, 32) partitions. With two
  /// the head keeps its whole band, and the tail its upper half for max(G C, 32) of its
  /// own, longer partitions. StreamPlan::upperBandLen() tells.
  bool hfTruncate = false;
  /// kTailAuto, kTailOff, or T: the tail's block length in samples, a power of two of
  /// at least 2 blockLen. A response that ends within 2 T - blockLen samples leaves
  /// nothing to a tail.
  int tail = kTailAuto;
  float wetGain = 1.0F;
  float dryGain = 0.0F;
  float crossfeed = 0.0F;  // off at or below 0
  int dryDelay = 0;        // samples

  // Of five outputs.
  bool foldToStereo = false;  // five inputs down-mixed to engine inputs 0 and 1
  bool passThrough = false;   // the responses are speaker feeds, not B-format
  /// Of the decoder, from designCrossover(): set it wherever B-format is decoded. The
  /// zeros, which stand here for want of a sample rate, cross over at a quarter of it,
  /// with gentle slopes.
  cApXOverCfs<float> crossover{};
  int rearDelay = 0;  // samples, of the wet signal of both surrounds
};

/// The library's parameters for a stream of one engine, with a chosen geometry and
/// rings just long enough; options.tail is left aside. An empty response makes a dry
/// stream (irLen 0). Throws Error if something is out of range.
ParamStruct streamParams(const ResponseShape& shape, const StreamOptions& options);

inline ParamStruct streamParams(const Responses& responses,
                                const StreamOptions& options) {
  return streamParams(responses.shape(), options);
}

/// Throws Error unless the library supports the pair of channel counts and every
/// parameter is within the library's limits.
void checkParams(const ParamStruct& params, int inChannels, int outChannels);

/// One stage of a tail's block, for one input, one output or one pair of them. The high
/// tier of a pair, the largest stage of long responses, comes in slices: its rows are
/// split into numSlices equal runs.
struct TailStage {
  enum class Kind { transform, low, output, step, high, mid, advance };
  Kind kind;
  int input = 0;
  int output = 0;
  int slice = 0;

  bool operator==(const TailStage&) const = default;
};

/// The engine of a tail, and the order of its work.
struct TailPlan {
  Geometry geometry;     // blocks of T; irLen: the samples from D on
  int start = 0;         // D, samples
  int numSlots = 0;      // R: boundaries from one tail block to the next
  int numSlices = 1;     // of the high tier, a power of two
  ParamStruct params{};  // the same geometry and the channels, for the engine's areas

  /// All stages of a block, and where those of slot s begin: [firstStage[s],
  /// firstStage[s + 1]) are done at the s-th boundary after the block is complete.
  std::vector<TailStage> stages;
  std::vector<int> firstStage;
};

/// Work at the boundaries of the head's blocks, in picoseconds on the processor that
/// the cost model was fitted to (see stageCosts). For another processor it is an
/// estimate: ratios between plans carry over better than times.
struct BoundaryWork {
  double mean = 0.0;
  double worst = 0.0;  // at the boundary that has most to do
};

/// Has no setters. Copying allocates.
class StreamPlan {
 public:
  /// Throws Error unless all counts, lengths and options are within their limits.
  StreamPlan(int inChannels, int outChannels, const ResponseShape& shape,
             const StreamOptions& options);
  /// One engine with these parameters.
  StreamPlan(int inChannels, int outChannels, const ParamStruct& params);

  int inChannels() const { return inChannels_; }
  int outChannels() const { return outChannels_; }
  /// Of the head; irLen is the part of the response that it convolves.
  const ParamStruct& params() const { return params_; }
  /// Nothing where one engine does everything.
  const std::optional<TailPlan>& tail() const { return tail_; }

  /// Frames by which the wet signal lags the input.
  int latency() const { return params_.blockLen; }
  /// The responses that the plan has room for.
  const ResponseShape& shape() const { return shape_; }
  /// Samples of a response, from its start, whose upper half band is convolved.
  int upperBandLen() const;

  /// Bytes of a stream's areas, which are one allocation, and of the areas of its
  /// partition sets, another one, which streams of one plan may share. Exact, with the
  /// padding between areas. Not counted are the records about them, of which the plan's
  /// copy in each stream and its list of tail stages are the largest.
  std::int64_t streamBytes() const;
  std::int64_t setBytes() const;

  BoundaryWork work() const { return work_; }

  /// The areas of the head and, with a tail, of the tail: of the stream itself, and of
  /// the sets.
  std::vector<AreaSizes> streamAreas() const;
  std::vector<AreaSizes> setAreas() const;

  /// Whether partition sets made for one plan serve the other.
  bool sharesSetsWith(const StreamPlan& other) const;

 private:
  int inChannels_;
  int outChannels_;
  ParamStruct params_;
  ResponseShape shape_;
  std::optional<TailPlan> tail_;
  BoundaryWork work_;
};

}  // namespace ulmar::host
