// What the engine is made of: the derived geometry, the partition sets, the row
// kernels.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/convrt/engine.h"
#include "tests/support/random.h"

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
      {{1024, 144000, 8, 4, true, 1, 5},
       {32, 141, 144, 145, 8, 3, 32, 256, 32, 109},
       37120,
       8192},
      {{256, 1000, 2, 2}, {4, 4, 4, 5, 16, 4, 32, 64, 32, 0}, 320, 256},
      {{256, 1000, 2, 2, true}, {4, 4, 4, 5, 16, 4, 32, 64, 32, -28}, 320, 256},
      {{256, 1024, 2, 2}, {4, 4, 4, 5, 16, 4, 32, 64, 32, 0}, 320, 256},
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

// Responses shorter and longer than the geometry's, with and without truncation; the
// samples end at an inaccessible page.
TEST(ConvRTimpResp, CutsTheResponseIntoItsColumns) {
  Random random(31);
  const Shape shapes[] = {{16, 16 * 5 - 3, 2, 2},
                          {16, 16 * 5, 1, 4},
                          {64, 64 * 35 + 1, 4, 2, true},
                          {64, 64 * 20, 4, 2, true}};
  for (const Shape& shape : shapes) {
    const int n = shape.blockLen;
    for (const int length :
         {shape.irLen, shape.irLen - 2 * n + 1, shape.irLen + 3 * n, n, 1, 0, -5}) {
      SCOPED_TRACE(testing::Message() << shape << ", " << length << " samples");
      ConvRTState s = shape.state();
      const TransformAreas areas(2 * n);
      FFT fft = areas.transform();
      const auto samples = random.signal(std::max(length, 0));
      std::vector<cmplxFFT> bins(static_cast<std::size_t>(n));
      Guarded set(static_cast<std::size_t>(s.numRows * s.rowPitch) *
                  sizeof(VecComplex));
      const ConvRTimpResp built(s, fft, bins.data(), ReadOnly(samples).data(),
                                set.as<VecComplex>(), length);
      EXPECT_EQ(built.irLen, length);

      for (int v = 0; v < s.ringLen; ++v) {
        const int start = std::min(v * n, std::max(length, 0));
        const int count = std::min(n, std::max(length, 0) - start);
        fft.rcfftZX(samples.data() + start, bins.data(), count);
        const bool cutNyquist = shape.hfTruncate && s.numIRBlocks > 32 && v >= 32;
        if (cutNyquist) bins[0].im = 0.0;
        for (int k = 0; k < n; ++k) {
          const int group = k / 4;
          const int row = group % s.numChunks * s.rowsPerChunk + group / s.numChunks;
          const VecComplex& element =
              set.as<VecComplex>()[row * s.rowPitch + s.ringLen - 1 - v];
          ASSERT_EQ(element.re[k % 4], static_cast<float>(at(bins, k).re));
          ASSERT_EQ(element.im[k % 4], static_cast<float>(at(bins, k).im));
        }
      }
      const VecComplex untouched = Guarded(sizeof(VecComplex)).as<VecComplex>()[0];
      for (int row = 0; row < s.numRows; ++row) {
        ASSERT_EQ(std::memcmp(set.as<VecComplex>() + row * s.rowPitch + s.ringLen,
                              &untouched, sizeof untouched),
                  0);
      }
    }
  }
}

}  // namespace
}  // namespace ulmar::test
