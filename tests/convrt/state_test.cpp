// The counts that the engine derives from its geometry.
#include <gtest/gtest.h>

#include <array>

#include "tests/convrt/engine.h"

namespace ulmar::test {
namespace {

TEST(ConvRTState, DerivesTheGeometry) {
  // The counts in the order of the record, from numChunks to hfSkipBlocks.
  using Counts = std::array<int, 10>;
  const struct {
    Shape shape;
    Counts counts;
    int histLen;
    int accLen;
  } cases[] = {
      {{512, 96000, 4, 4, true, 2, 2},
       {16, 188, 188, 189, 8, 3, 32, 128, 32, 156},
       24192,
       2048},
      {{256, 1000, 2, 2, true}, {4, 4, 4, 5, 16, 4, 32, 64, 32, -28}, 320, 256},
      {{256, 1025, 2, 2}, {4, 5, 6, 7, 16, 4, 32, 64, 32, 0}, 448, 256},
      {{1024, 1 << 20, 8, 8, true},
       {64, 1024, 1024, 1025, 4, 2, 32, 256, 64, 960},
       262400,
       16384},
      {{4, 1, 1, 1, false, 3, 5}, {1, 1, 1, 2, 1, 0, 1, 1, 32, 0}, 2, 1},
  };
  for (const auto& [shape, counts, histLen, accLen] : cases) {
    SCOPED_TRACE(shape);
    const ConvRTState s = shape.state();
    EXPECT_EQ(s.blockLen, shape.blockLen);
    EXPECT_EQ(s.numSegments, shape.numSegments);
    EXPECT_EQ(s.chunksPerSegment, shape.chunksPerSegment);
    EXPECT_EQ((Counts{s.numChunks, s.numIRBlocks, s.ringLen, s.rowPitch, s.rowsPerChunk,
                      s.rowsPerChunkLog2, s.rowsPerSegment, s.numRows, s.hfKeepBlocks,
                      s.hfSkipBlocks}),
              counts);
    EXPECT_EQ(s.histLen, histLen);
    EXPECT_EQ(s.accLen, accLen);
    EXPECT_EQ(s.numInputs, shape.numInputs);
    EXPECT_EQ(s.numOutputs, shape.numOutputs);
    EXPECT_EQ((std::array{s.ringPos, s.segPhase, s.chunkPhase, s.overlapSel}),
              (std::array{0, 0, 0, 0}));
    EXPECT_EQ(s.histMem, nullptr);
    EXPECT_EQ(s.fftWork, nullptr);
  }
}

}  // namespace
}  // namespace ulmar::test
