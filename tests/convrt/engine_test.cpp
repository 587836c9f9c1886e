// The engine against convolution in the time domain.
#include "tests/convrt/engine.h"

#include <gtest/gtest.h>

#include <complex>

#include "tests/support/convolution.h"
#include "tests/support/random.h"

namespace ulmar::test {
namespace {

double blockNorm(const Shape& shape) { return std::sqrt(shape.blockLen); }

void expectConvolution(const Shape& shape) {
  SCOPED_TRACE(testing::Message() << shape << ", seed 21");
  Random random(21);
  Engine engine(shape);
  const auto response = random.signal(shape.irLen);
  engine.setResponse(0, 0, response);
  const int numBlocks = engine.state.ringLen + engine.state.numChunks + 3;
  const auto signal = random.signal(numBlocks * shape.blockLen);
  const auto output = runEngine(engine, {signal}, numBlocks)[0];

  const double bound = errorBound(engine.state.numIRBlocks, blockNorm(shape),
                                  partitionNorms(response, shape.blockLen));
  // Neighbouring samples go through the same sums; an odd stride meets every position.
  const std::size_t stride = output.size() > 4000 ? 7 : 1;
  for (std::size_t n = 0; n < output.size(); n += stride) {
    ASSERT_NEAR(output[n], convolved(signal, response, n), bound) << "sample " << n;
  }
}

TEST(Engine, ConvolvesInEveryDivision) {
  for (const int blockLen : {4, 16, 64}) {
    for (const Shape& shape : admissibleShapes(blockLen)) {
      expectConvolution(shape);
      if (HasFatalFailure()) return;
    }
  }
  expectConvolution({512, 4000, 4, 2});
  expectConvolution({64, 1, 1, 1});
  expectConvolution({64, 64 * 8, 4, 2});
  expectConvolution({64, 64 * 8 + 1, 4, 2});
}

// A unit impulse on either side of each partition's border, hence of every tier's, over
// as many blocks as there are phases: the output is the input, so late.
TEST(Engine, DelaysByAnyNumberOfSamples) {
  for (Shape shape : admissibleShapes(16)) {
    SCOPED_TRACE(testing::Message() << shape << ", seed 22");
    shape.numOutputs = 2;
    Random random(22);
    const ConvRTState state = shape.state();
    const int numBlocks = state.ringLen + state.numChunks + 1;
    const auto signal = random.signal(numBlocks * shape.blockLen);
    for (int partition = 1; partition < state.numIRBlocks; ++partition) {
      Engine engine(shape);
      const int border = partition * shape.blockLen;
      for (const int side : {0, 1}) {
        std::vector<float> impulse(static_cast<std::size_t>(border + side));
        impulse.back() = 1.0F;
        engine.setResponse(0, side, impulse);
      }
      const auto outputs = runEngine(engine, {signal}, numBlocks);
      for (int side = 0; side < 2; ++side) {
        const auto delay = static_cast<std::size_t>(border - 1 + side);
        const auto& output = outputs[static_cast<std::size_t>(side)];
        for (std::size_t n = 0; n < output.size(); ++n) {
          const float expected = n < delay ? 0.0F : signal[n - delay];
          ASSERT_NEAR(output[n], expected,
                      errorBound(state.numIRBlocks, blockNorm(shape), 1.0))
              << "delay " << delay << ", sample " << n;
        }
      }
    }
  }
}

TEST(Engine, IsSilentWhenTheTailHasPassed) {
  for (const Shape& shape : admissibleShapes(16)) {
    SCOPED_TRACE(testing::Message() << shape << ", seed 23");
    Random random(23);
    Engine engine(shape);
    engine.setResponse(0, 0, random.signal(shape.irLen));
    const int numSounding = engine.state.ringLen + 3;
    const int numIRBlocks = engine.state.numIRBlocks;
    const auto output = runEngine(engine, {random.signal(numSounding * shape.blockLen)},
                                  numSounding + numIRBlocks + 40)[0];
    const auto tailEnd =
        static_cast<std::size_t>((numSounding + numIRBlocks) * shape.blockLen);
    // All but the last sample of the tail sound.
    EXPECT_NE(output[tailEnd - 3], 0.0);
    for (std::size_t n = tailEnd; n < output.size(); ++n)
      ASSERT_EQ(output[n], 0.0) << n;
  }
}

// Three inputs and five outputs, some pairs without a set, one output without any, and
// responses of different lengths, one of them empty.
TEST(Engine, AddsUpThePairsOfEachOutput) {
  Shape shape{32, 32 * 9 + 5, 2, 2};
  shape.numInputs = 3;
  shape.numOutputs = 5;
  Random random(24);
  Engine engine(shape);
  std::vector<std::vector<float>> responses(15);
  for (std::size_t pair = 0; pair < responses.size(); ++pair) {
    if (pair % 5 == 3 || pair == 7) continue;
    const int length = pair == 4 ? 0 : shape.irLen - 19 * static_cast<int>(pair);
    responses[pair] = random.signal(length);
    engine.setResponse(static_cast<int>(pair) / 5, static_cast<int>(pair) % 5,
                       responses[pair]);
  }
  std::vector<std::vector<float>> signals;
  for (int i = 0; i < 3; ++i) signals.push_back(random.signal(40 * shape.blockLen));

  const auto outputs = runEngine(engine, signals, 40);
  for (std::size_t j = 0; j < 5; ++j) {
    double norms = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
      norms += partitionNorms(responses[5 * i + j], shape.blockLen);
    }
    const double bound =
        errorBound(3 * engine.state.numIRBlocks, blockNorm(shape), norms);
    for (std::size_t n = 0; n < outputs[j].size(); ++n) {
      double expected = 0.0;
      for (std::size_t i = 0; i < 3; ++i) {
        expected += convolved(signals[i], responses[5 * i + j], n);
      }
      ASSERT_NEAR(outputs[j][n], expected, bound) << "output " << j << ", sample " << n;
    }
  }
}

// hfTruncate by its meaning: partitions from hfKeepBlocks on pass only below a quarter
// of the sample rate. With one row to a chunk there is no upper band but Nyquist.
TEST(Engine, TruncatesTheUpperBandOfLatePartitions) {
  using Bins = std::vector<std::complex<double>>;
  for (const Shape& shape :
       {Shape{16, 16 * 40 - 3, 2, 1, true}, Shape{64, 64 * 45 - 9, 2, 4, true},
        Shape{16, 16 * 40 - 3, 2, 2, true}, Shape{64, 64 * 30 - 9, 4, 1, true}}) {
    SCOPED_TRACE(testing::Message() << shape << ", seed 25");
    Random random(25);
    Engine engine(shape);
    const ConvRTState& s = engine.state;
    const auto response = random.signal(shape.irLen);
    engine.setResponse(0, 0, response);
    const int numBlocks = s.ringLen + s.numChunks + 3;
    const auto signal = random.signal(numBlocks * shape.blockLen);
    const auto output = runEngine(engine, {signal}, numBlocks)[0];

    const auto half = static_cast<std::size_t>(shape.blockLen);
    TransformAreas areas(shape.blockLen);
    FFT fft = areas.transform();
    const auto spectrumOf = [&](const std::vector<float>& from, std::size_t block) {
      const std::size_t begin = block * half;
      const std::size_t count = std::min(half, from.size() - begin);
      std::vector<cmplxFFT> packed(half);
      fft.rcfftZX(from.data() + begin, packed.data(), static_cast<int>(count));
      Bins bins{packed[0].re};
      for (std::size_t k = 1; k < half; ++k)
        bins.emplace_back(packed[k].re, packed[k].im);
      bins.emplace_back(packed[0].im);
      return bins;
    };
    std::vector<Bins> parts;
    for (std::size_t v = 0; v * half < response.size(); ++v) {
      parts.push_back(spectrumOf(response, v));
      if (v < static_cast<std::size_t>(s.hfKeepBlocks)) continue;
      const std::size_t firstCut = s.rowsPerChunk == 1 ? half : half / 2;
      std::fill(parts[v].begin() + static_cast<std::ptrdiff_t>(firstCut),
                parts[v].end(), 0.0);
    }
    std::vector<Bins> blocks;
    std::vector<double> expected(output.size() + half);
    for (std::size_t t = 0; t < static_cast<std::size_t>(numBlocks); ++t) {
      blocks.push_back(spectrumOf(signal, t));
      Bins sum(half + 1);
      for (std::size_t v = 0; v < parts.size() && v <= t; ++v) {
        for (std::size_t k = 0; k <= half; ++k)
          sum[k] += parts[v][k] * blocks[t - v][k];
      }
      std::vector<cmplxFFT> packed{{sum[0].real(), sum[half].real()}};
      for (std::size_t k = 1; k < half; ++k)
        packed.push_back({sum[k].real(), sum[k].imag()});
      fft.crifft(packed.data());
      const auto* const samples = reinterpret_cast<double*>(packed.data());
      for (std::size_t n = 0; n < 2 * half; ++n) expected[t * half + n] += samples[n];
    }
    const double bound = errorBound(s.numIRBlocks, blockNorm(shape),
                                    partitionNorms(response, shape.blockLen));
    for (std::size_t n = 0; n < output.size(); ++n) {
      ASSERT_NEAR(output[n], expected[n], bound) << "sample " << n;
    }
  }
}

}  // namespace
}  // namespace ulmar::test
