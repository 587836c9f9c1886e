// Every bit of the three tiers: which partitions meet which blocks, and in which order
// they are summed, in every division of the spectrum and every phase.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/convrt/plain_engine.h"

namespace ulmar::test {
namespace {

// The skewed ring: segment b of the newest block stands b columns further on.
void expectNewestInHistory(Engine& engine, const PlainEngine& plain, int input,
                           int ringPos) {
  const ConvRTState& s = engine.state;
  for (int k = 0; k < s.blockLen; ++k) {
    const int row = plain.rowOfBin(k);
    const VecComplex& element =
        engine.hist(input, row, (ringPos + row / s.rowsPerSegment) % s.ringLen);
    ASSERT_EQ(std::complex(element.re[k % 4], element.im[k % 4]),
              at(plain.newest(input), k))
        << "bin " << k;
  }
}

void expectSameBits(Shape shape) {
  SCOPED_TRACE(testing::Message() << shape << ", seed 11");
  shape.numInputs = 2;
  shape.numOutputs = 2;
  Random random(11);
  Engine engine(shape);
  PlainEngine plain(shape);
  for (const auto& [input, output] : {std::pair(0, 0), {0, 1}, {1, 1}}) {
    engine.set(input, output) = plain.setRandomPartitions(input, output, random);
  }

  // What is never used holds NaN: reading it would show in the output.
  const ConvRTState& s = engine.state;
  for (int i = 0; i < s.numInputs; ++i) {
    for (int row = 0; row < s.numRows; ++row) {
      engine.hist(i, row, s.ringLen).re[0] = std::numeric_limits<float>::quiet_NaN();
    }
  }
  const int numBlocks = s.ringLen + 2 * s.numChunks + 3;
  for (int block = 0; block < numBlocks; ++block) {
    SCOPED_TRACE(testing::Message() << "block " << block);
    const int ringPos = s.ringPos;
    ASSERT_EQ(ringPos, block % s.ringLen);
    const Engine::Blocks inputs = {random.signal<double>(s.blockLen),
                                   random.signal<double>(s.blockLen)};
    const Engine::Blocks outputs = engine.process(inputs);
    const Engine::Blocks expected = plain.process(inputs);
    ASSERT_EQ(std::memcmp(outputs[0].data(), expected[0].data(), 8 * outputs[0].size()),
              0);
    ASSERT_EQ(std::memcmp(outputs[1].data(), expected[1].data(), 8 * outputs[1].size()),
              0);
    expectNewestInHistory(engine, plain, 0, ringPos);
    expectNewestInHistory(engine, plain, 1, ringPos);
    ASSERT_EQ(s.overlapSel, (block + 1) % 2);
  }
  for (int i = 0; i < s.numInputs; ++i) {
    for (int row = 0; row < s.numRows; ++row) {
      ASSERT_TRUE(std::isnan(engine.hist(i, row, s.ringLen).re[0]));
    }
  }
}

class Tiers : public testing::TestWithParam<int> {};

TEST_P(Tiers, SumInTheirOrderInEveryDivision) {
  for (const Shape& shape : admissibleShapes(GetParam())) {
    expectSameBits(shape);
    if (HasFatalFailure()) return;
  }
}

// Of responses longer than what is kept, and of shorter ones, which stay whole.
TEST_P(Tiers, TruncateTheUpperBandOfLongResponsesOnly) {
  for (Shape shape : admissibleShapes(GetParam())) {
    shape.hfTruncate = true;
    const ConvRTState state = shape.state();
    if (state.numIRBlocks > state.numChunks) {
      shape.irLen = (state.hfKeepBlocks + 5) * shape.blockLen - 3;
    }
    expectSameBits(shape);
    if (HasFatalFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(BlockLen, Tiers, testing::Values(4, 32, 128));

// More segments than there are slots in one pass of the sums.
TEST(ManySegments, SumInTheirOrder) { expectSameBits({256, 256 * 70 - 1, 32, 2}); }

}  // namespace
}  // namespace ulmar::test
