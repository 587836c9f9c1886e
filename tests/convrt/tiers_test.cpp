// Every bit of the three tiers: which partitions meet which blocks, and in which order
// they are summed, in every division of the spectrum and every phase.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/convrt/plain_engine.h"

namespace ulmar::test {
namespace {

bool isNan(const VecComplex& element) {
  for (int lane = 0; lane < 4; ++lane) {
    if (!std::isnan(element.re[lane]) || !std::isnan(element.im[lane])) return false;
  }
  return true;
}

// The skewed ring: segment b of the newest block stands b columns further on.
void expectNewestInHistory(Engine& engine, const PlainEngine& plain, int input,
                           int ringPos) {
  const ConvRTState& s = engine.state;
  const PlainEngine::Spectrum& newest = plain.newest(input);
  for (int k = 0; k < s.blockLen; ++k) {
    const int row = plain.rowOfBin(k);
    const int col = (ringPos + row / s.rowsPerSegment) % s.ringLen;
    const VecComplex& element = engine.hist(input, row, col);
    const auto bin = newest[static_cast<std::size_t>(k)];
    ASSERT_EQ(element.re[k % 4], bin.real()) << "bin " << k;
    ASSERT_EQ(element.im[k % 4], bin.imag()) << "bin " << k;
  }
}

void expectSameBits(const Shape& shape) {
  SCOPED_TRACE(testing::Message() << shape << ", seed 11");
  Random random(11);
  Engine engine(shape);
  PlainEngine plain(shape);
  for (int i = 0; i < shape.numInputs; ++i) {
    for (int j = 0; j < shape.numOutputs; ++j) {
      if (i == 1 && j == 0) continue;  // a null pair
      plain.setRandomPartitions(i, j, random);
      engine.set(i, j) = plain.ringLayout(i, j);
    }
  }
  const auto sets = engine.sets;

  // What is never used holds NaN: reading it would show in the output.
  const VecComplex unused = engine.sets[0].back();
  const ConvRTState& s = engine.state;
  for (int i = 0; i < shape.numInputs; ++i) {
    for (int row = 0; row < s.numRows; ++row) engine.hist(i, row, s.ringLen) = unused;
    engine.hist(i, s.numRows, 0) = unused;
  }
  for (int pair = 0; pair < shape.numInputs * shape.numOutputs; ++pair) {
    engine.spareOfAcc(pair) = unused;
  }

  const int numBlocks = s.ringLen + 2 * s.numChunks + 3;
  for (int block = 0; block < numBlocks; ++block) {
    SCOPED_TRACE(testing::Message() << "block " << block);
    Engine::Blocks inputs;
    for (int i = 0; i < shape.numInputs; ++i) {
      inputs.push_back(random.signal<double>(shape.blockLen));
    }
    const int ringPos = s.ringPos;
    ASSERT_EQ(ringPos, block % s.ringLen);
    const Engine::Blocks outputs = engine.process(inputs);
    const Engine::Blocks expected = plain.process(inputs);
    for (std::size_t j = 0; j < outputs.size(); ++j) {
      ASSERT_EQ(std::memcmp(outputs[j].data(), expected[j].data(),
                            outputs[j].size() * sizeof(double)),
                0)
          << "output " << j;
    }
    for (int i = 0; i < shape.numInputs; ++i) {
      expectNewestInHistory(engine, plain, i, ringPos);
    }
    ASSERT_EQ(s.overlapSel, (block + 1) % 2);
  }

  for (int i = 0; i < shape.numInputs; ++i) {
    for (int row = 0; row < s.numRows; ++row) {
      ASSERT_TRUE(isNan(engine.hist(i, row, s.ringLen)));
    }
    ASSERT_TRUE(isNan(engine.hist(i, s.numRows, 0)));
  }
  for (int pair = 0; pair < shape.numInputs * shape.numOutputs; ++pair) {
    ASSERT_TRUE(isNan(engine.spareOfAcc(pair)));
  }
  for (std::size_t pair = 0; pair < sets.size(); ++pair) {
    ASSERT_EQ(std::memcmp(engine.sets[pair].data(), sets[pair].data(),
                          sets[pair].size() * sizeof(VecComplex)),
              0);
  }
}

class Tiers : public testing::TestWithParam<int> {};

TEST_P(Tiers, SumInTheirOrderInEveryDivision) {
  for (Shape shape : admissibleShapes(GetParam())) {
    shape.numInputs = 2;
    shape.numOutputs = 2;
    expectSameBits(shape);
    if (HasFatalFailure()) return;
  }
}

TEST_P(Tiers, TruncateTheUpperBandOfLongResponsesOnly) {
  for (Shape shape : admissibleShapes(GetParam())) {
    shape.hfTruncate = true;
    const ConvRTState state = shape.state();
    const bool fewest = state.numIRBlocks <= state.numChunks;
    shape.irLen = (fewest ? 32 : state.hfKeepBlocks + 5) * shape.blockLen - 3;
    ASSERT_EQ(shape.state().hfSkipBlocks, fewest ? 32 - state.hfKeepBlocks : 5);
    expectSameBits(shape);
    if (HasFatalFailure()) return;
  }
}

// 32 chunks and 32 segments are more slots than one pass of the sums holds.
INSTANTIATE_TEST_SUITE_P(BlockLen, Tiers, testing::Values(4, 32, 128));

}  // namespace
}  // namespace ulmar::test
