// The engine's geometry: what is admissible, what it costs, and which to choose.
#pragma once

#include <cstdint>

#include "ulmar/process/host_records.h"

namespace ulmar::host {

/// How one response is cut: its length in blocks, and the division of the spectrum that
/// spreads the work. See ConvRTState for the derived counts.
struct Geometry {
  int blockLen = 512;        // N, samples
  int irLen = 1;             // samples
  int numSegments = 1;       // G
  int chunksPerSegment = 1;  // C
  bool hfTruncate =
      false;  // keep the upper half band for the first max(G C, 32) blocks
};

inline constexpr int kMinBlockLen = 4;           // samples, a power of two
inline constexpr int kMinTruncatedBlockLen = 8;  // samples: a row for the upper band
inline constexpr int kMaxBlockLen = 1 << 17;     // samples
inline constexpr int kMaxIRLen = 1 << 30;        // samples

/// Throws Error unless the engine can run it: N, G, C and N / (4 G C) powers of two,
/// and at least C columns of G blocks, which the partitions rounded up to whole columns
/// make.
void checkGeometry(const Geometry& geometry);

/// The geometry for a block length and a response length, in samples. Throws Error
/// unless blockLen is a power of two within the limits (from kMinTruncatedBlockLen on
/// with hfTruncate) and irLen is 1 to kMaxIRLen.
Geometry chooseGeometry(int blockLen, int irLen, bool hfTruncate = false);

/// Work of one pair of input and output in every block, in row products, each of four
/// complex multiply-accumulates.
struct BlockCost {
  std::int64_t low = 0;
  std::int64_t mid = 0;
  std::int64_t high = 0;

  std::int64_t total() const { return low + mid + high; }
};
BlockCost blockCost(const Geometry& geometry);

/// The geometry in the words of the library's parameters, and back.
void setGeometry(ParamStruct& params, const Geometry& geometry);
Geometry geometryOf(const ParamStruct& params);

}  // namespace ulmar::host
