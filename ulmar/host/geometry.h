// The engine's geometry: into how many partitions a response is cut, and how the work
// on them is divided among blocks. Here: what is admissible, what it costs, what to
// choose.
#pragma once

#include <cstdint>

#include "ulmar/process/engine_state.h"

namespace ulmar::host {

/// One engine's geometry. A response of irLen samples is cut into partitions of
/// blockLen samples. The spectrum of a block is divided into G segments of C chunks
/// each: in every block one segment and one chunk is worked ahead for blocks to come,
/// so that all blocks cost the same. See ConvRTState for the counts that follow.
struct Geometry {
  int blockLen = 512;        // N, samples
  int irLen = 1;             // samples
  int numSegments = 1;       // G
  int chunksPerSegment = 1;  // C
  /// Convolves the upper half of the band with the first max(G C, 32) partitions only.
  bool hfTruncate = false;

  /// Partitions of the response.
  int numPartitions() const { return (irLen - 1) / blockLen + 1; }

  bool operator==(const Geometry&) const = default;
};

inline constexpr int kMinBlockLen = 4;           // samples, a power of two
inline constexpr int kMinTruncatedBlockLen = 8;  // samples: a row for the upper band
inline constexpr int kMaxBlockLen = 1 << 17;     // samples
inline constexpr int kMaxIRLen = 1 << 30;        // samples

/// Throws Error unless the engine can run it: N, G, C and N / (4 G C) are powers of
/// two, and ceil(B / G) >= C with B = numPartitions().
void checkGeometry(const Geometry& geometry);

/// The geometry for a block length and a response length, in samples. Throws Error
/// unless blockLen is a power of two within the limits (from kMinTruncatedBlockLen on
/// with hfTruncate) and irLen is 1 to kMaxIRLen.
Geometry chooseGeometry(int blockLen, int irLen, bool hfTruncate = false);

/// Work of one pair of input and output in every block. The unit is the row product: a
/// product of four complex values of an input spectrum with four of a partition's,
/// added to a running sum.
struct BlockCost {
  std::int64_t low = 0;
  std::int64_t mid = 0;
  std::int64_t high = 0;

  std::int64_t total() const { return low + mid + high; }
};
BlockCost blockCost(const Geometry& geometry);

/// Copies the geometry into the library's parameters, and back.
void setGeometry(ParamStruct& params, const Geometry& geometry);
Geometry geometryOf(const ParamStruct& params);

}  // namespace ulmar::host
