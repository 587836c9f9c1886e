// The engine against convolution in the time domain.
#include "tests/convrt/engine.h"

#include <gtest/gtest.h>

#include "tests/support/convolution.h"
#include "tests/support/dft.h"
#include "tests/support/random.h"

namespace ulmar::test {
namespace {

// A signal through one response per output, for as many blocks as it takes to meet
// every column and phase, and on until the tails have passed: then there is silence.
void expectConvolution(Shape shape, const std::vector<std::vector<float>>& responses) {
  SCOPED_TRACE(testing::Message() << shape << ", seed 21");
  shape.numOutputs = static_cast<int>(responses.size());
  Random random(21);
  Engine engine(shape);
  const ConvRTState& s = engine.state;
  for (int j = 0; j < s.numOutputs; ++j) engine.setResponse(0, j, at(responses, j));
  const int numSounding = s.ringLen + s.numChunks + 1;
  const auto signal = random.signal(numSounding * s.blockLen);
  const int tailEnd = (numSounding + s.numIRBlocks) * s.blockLen;
  const auto outputs = engine.run({signal}, numSounding + s.numIRBlocks + 4);

  for (int j = 0; j < s.numOutputs; ++j) {
    const auto& response = at(responses, j);
    const double bound = errorBound(s.numIRBlocks, std::sqrt(s.blockLen),
                                    partitionNorms(response, s.blockLen));
    const int stride = tailEnd > 4000 ? 7 : 1;  // meets every position in a block
    for (int n = 0; n < tailEnd; n += stride) {
      ASSERT_NEAR(at(at(outputs, j), n), convolved(signal, response, n), bound)
          << "output " << j << ", sample " << n;
    }
    for (std::size_t n = static_cast<std::size_t>(tailEnd); n < at(outputs, j).size();
         ++n) {
      ASSERT_EQ(at(outputs, j)[n], 0.0) << "output " << j << ", sample " << n;
    }
  }
}

TEST(Engine, ConvolvesInEveryDivision) {
  Random random(22);
  std::vector<Shape> shapes = {
      {512, 4000, 4, 2}, {64, 1}, {64, 64 * 8, 4, 2}, {64, 64 * 8 + 1, 4, 2}};
  for (const int blockLen : {4, 16, 64}) {
    for (const Shape& shape : admissibleShapes(blockLen)) shapes.push_back(shape);
  }
  for (const Shape& shape : shapes) {
    expectConvolution(shape, {random.signal(shape.irLen)});
    if (HasFatalFailure()) return;
  }
}

// A unit impulse on either side of each partition's border, hence of every tier's.
TEST(Engine, DelaysByAnyNumberOfSamples) {
  for (const Shape& shape : admissibleShapes(16)) {
    for (int border = 16; border < shape.irLen; border += 16) {
      std::vector<float> before(static_cast<std::size_t>(border));
      before.back() = 1.0F;
      std::vector<float> behind(before.size() + 1);
      behind.back() = 1.0F;
      expectConvolution(shape, {before, behind});
      if (HasFatalFailure()) return;
    }
  }
}

// Three inputs and five outputs, some pairs without a set, one output without any, and
// responses of different lengths, one of them empty.
TEST(Engine, AddsUpThePairsOfEachOutput) {
  constexpr int kBlocks = 40;
  const Shape shape{32, 32 * 9 + 5, 2, 2, false, 3, 5};
  Random random(23);
  Engine engine(shape);
  std::vector<std::vector<float>> responses(15);
  for (int pair = 0; pair < 15; ++pair) {
    if (pair % 5 == 3 || pair == 7) continue;
    at(responses, pair) = random.signal(pair == 4 ? 0 : shape.irLen - 19 * pair);
    engine.setResponse(pair / 5, pair % 5, at(responses, pair));
  }
  std::vector<std::vector<float>> signals;
  for (int i = 0; i < 3; ++i) signals.push_back(random.signal(kBlocks * 32));

  const auto outputs = engine.run(signals, kBlocks);
  for (int j = 0; j < 5; ++j) {
    double norms = 0.0;
    for (int i = 0; i < 3; ++i) norms += partitionNorms(at(responses, 5 * i + j), 32);
    const double bound = errorBound(3 * 10, std::sqrt(32), norms);
    for (int n = 0; n < kBlocks * 32; ++n) {
      double expected = 0.0;
      for (int i = 0; i < 3; ++i) {
        expected += convolved(at(signals, i), at(responses, 5 * i + j), n);
      }
      ASSERT_NEAR(at(at(outputs, j), n), expected, bound)
          << "output " << j << ", " << n;
    }
  }
}

// Beyond the first 32 partitions only the lower half of the band is convolved: each of
// them acts as its own spectrum without bins N / 2 to N, in a circle of 2 N samples.
TEST(Engine, ConvolvesLatePartitionsInTheLowerHalfOfTheBand) {
  constexpr int kBlockLen = 32;
  constexpr int kKept = 32;
  constexpr int kBlocks = 60;
  const Shape shape{kBlockLen, 37 * kBlockLen - 3, 2, 2, true};
  Random random(24);
  std::vector<float> response = random.signal(shape.irLen);
  const auto signal = random.signal(kBlocks * kBlockLen);
  Engine engine(shape);
  engine.setResponse(0, 0, response);
  const auto output = engine.run({signal}, kBlocks)[0];
  const double bound =
      errorBound(37, std::sqrt(kBlockLen), partitionNorms(response, kBlockLen));

  std::vector<double> expected(static_cast<std::size_t>((kBlocks + 39) * kBlockLen));
  for (int start = kKept * kBlockLen; start < shape.irLen; start += kBlockLen) {
    Spectrum bins(2 * kBlockLen);
    const int end = std::min(start + kBlockLen, shape.irLen);
    for (int n = start; n < end; ++n) at(bins, n - start) = at(response, n);
    bins = directDft(bins);
    std::fill(bins.begin() + kBlockLen / 2, bins.end() - kBlockLen / 2 + 1, Complex{});
    const Spectrum taps = directDft(bins, 1);
    for (int t = 0; t < kBlocks * kBlockLen; ++t) {
      const int inBlock = t % kBlockLen;
      for (int n = 0; n < 2 * kBlockLen; ++n) {
        const auto tap = static_cast<double>(
            at(taps, (n - inBlock + 2 * kBlockLen) % (2 * kBlockLen)).real());
        at(expected, t - inBlock + start + n) +=
            double{at(signal, t)} * tap / (2 * kBlockLen);
      }
    }
  }
  response.resize(kKept * kBlockLen);
  for (int t = 0; t < kBlocks * kBlockLen; ++t) {
    ASSERT_NEAR(at(output, t), at(expected, t) + convolved(signal, response, t), bound)
        << "sample " << t;
  }
}

}  // namespace
}  // namespace ulmar::test
