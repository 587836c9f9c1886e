// What comes out of the driver for what goes in: conditioning, wet and dry path, meters
// and clamp, in every configuration.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/process/configurations.h"
#include "tests/support/convolution.h"
#include "ulmar/base/align.h"

namespace ulmar::test {
namespace {

constexpr float kMaxSample = 32767.0F / 32768.0F;

class Driver : public testing::TestWithParam<Configuration> {};

double* area(const host::Stream& stream, host::Area which) {
  return asRecords<double>(stream.areas()[which]);
}

// The engine inputs as the configuration's gains have them.
std::vector<std::vector<double>> engineInputs(const Configuration& c,
                                              const Planar& input) {
  std::vector<std::vector<double>> result;
  for (const auto& gains : c.engine) {
    auto& signal = result.emplace_back(input[0].size());
    for (std::size_t k = 0; k < gains.size(); ++k) {
      for (std::size_t t = 0; t < signal.size(); ++t)
        signal[t] += gains[k] * input[k][t];
    }
  }
  return result;
}

TEST_P(Driver, ConditionsTheEngineInput) {
  const Configuration& c = GetParam();
  host::Stream stream = streamOf(c, paramsOf(c, 31, 8));
  Random random(41);
  const Planar input = randomPlanar(random, c.in, 30);
  run(stream, input, c.out, {30});
  double const* block = area(stream, host::Area::inBlocks);
  for (const auto& signal : engineInputs(c, input)) {
    for (int t = 0; t < 30; ++t) ASSERT_NEAR(block[t], at(signal, t), 0x1p-49) << t;
    block += 31;
  }
}

// The dry signal is exact: a delay, and a product rounded once. The rings wrap often,
// and the blocks have lengths that no engine could have.
TEST_P(Driver, DelaysTheDrySignal) {
  const Configuration& c = GetParam();
  Random random(42);
  const Planar input = randomPlanar(random, c.in, 100);
  for (const auto& [blockLen, ringLen, delay] :
       {std::array{1, 1, 0}, {3, 8, 3}, {7, 16, 15}, {1000, 32, 0}}) {
    for (const auto& [irLen, bypass] :
         {std::pair(0, 0), {0, 0x10000}, {-1, 0}, {-1, 1}}) {
      SCOPED_TRACE(testing::Message() << "block " << blockLen << ", delay " << delay
                                      << ", irLen " << irLen << ", bypass " << bypass);
      ParamStruct params = paramsOf(c, blockLen, ringLen);
      params.dryDelay = delay;
      params.irLen = irLen;
      params.bypass = bypass;
      params.dryGain = -0.3F;
      std::fill(std::begin(params.wetGain), std::end(params.wetGain), 1.0F);
      host::Stream stream = streamOf(c, params);
      // What the engine left behind is not heard.
      std::fill_n(area(stream, host::Area::outBlocks), c.numOutputs * blockLen, 0.25);
      const Planar output = run(stream, input, c.out, {1, 5, 0, 40});

      for (int j = 0; j < c.out; ++j) {
        float peak = 0.0F;
        for (int t = 0; t < 100; ++t) {
          float expected = 0.0F;
          if (at(c.dry, j) != kNone && irLen == 0 && t >= delay) {
            const float x = at(at(input, at(c.dry, j)), t - delay);
            expected = bypass != 0 ? x : static_cast<float>(double{x} * double{-0.3F});
          }
          ASSERT_EQ(at(at(output, j), t), expected)
              << "output " << j << ", frame " << t;
          peak = std::max(peak, std::fabs(expected));
        }
        EXPECT_EQ(stream.state().peak[j], peak);
      }
    }
  }
}

// Every engine output by its last block, and up to two outputs all the way: five hang
// on the decoder as well.
TEST_P(Driver, ConvolvesMixesMetersAndClamps) {
  const Configuration& c = GetParam();
  constexpr int kFrames = 30 * kBlockLen;
  constexpr int kDelay = 37;
  constexpr float kGains[] = {0.2F, -0.25F};
  Random random(43);
  ParamStruct params = wetParamsOf(c, 64);
  params.dryDelay = kDelay;
  params.dryGain = 0.5F;
  std::copy(std::begin(kGains), std::end(kGains), params.wetGain);
  const host::Responses responses = randomResponses(c, random);
  host::Stream stream = streamOf(c, params, responses);
  const Planar input = randomPlanar(random, c.in, kFrames);
  const Planar output = run(stream, input, c.out, {50, 1, 0, 7, 333});

  // Engine inputs beyond the blocks that there are repeat the last.
  auto engineInput = engineInputs(c, input);
  engineInput.resize(static_cast<std::size_t>(c.numInputs), engineInput.back());
  double largest = 0.0;
  for (const auto& signal : engineInput) {
    for (const double x : signal) largest = std::max(largest, std::fabs(x));
  }
  const auto wet = [&](int engineOutput, int t) {
    double sum = 0.0;
    for (int i = 0; i < c.numInputs; ++i) {
      const auto* const response = responses.between(i, engineOutput);
      if (response != nullptr) sum += convolved(at(engineInput, i), *response, t);
    }
    return sum;
  };
  const auto bound = [&](int engineOutput) {
    double norms = 0.0;
    for (int i = 0; i < c.numInputs; ++i) {
      const auto* const response = responses.between(i, engineOutput);
      if (response != nullptr) norms += partitionNorms(*response, kBlockLen);
    }
    return errorBound(10 * c.numInputs, largest * std::sqrt(kBlockLen), norms);
  };

  for (int j = 0; j < c.numOutputs; ++j) {
    double const* const block = area(stream, host::Area::outBlocks) + j * kBlockLen;
    for (int n = 0; n < kBlockLen; ++n) {
      ASSERT_NEAR(block[n], wet(j, kFrames - kBlockLen + n), bound(j))
          << "output " << j;
    }
  }
  for (int j = 0; j < c.out && c.out < 5; ++j) {
    const int engineOutput = std::min(j, c.numOutputs - 1);
    const double tolerance = std::fabs(kGains[j]) * bound(engineOutput);
    double peak = 0.0;
    for (int t = 0; t < kFrames; ++t) {
      double v = t < kBlockLen ? 0.0 : kGains[j] * wet(engineOutput, t - kBlockLen);
      if (at(c.dry, j) != kNone && t >= kDelay) {
        v += 0.5 * double{at(at(input, at(c.dry, j)), t - kDelay)};
      }
      peak = std::max(peak, std::fabs(v));
      ASSERT_NEAR(at(at(output, j), t), std::clamp(v, -1.0, double{kMaxSample}),
                  tolerance + 0x1p-24)
          << "output " << j << ", frame " << t;
    }
    ASSERT_GT(peak, 1.0);
    EXPECT_NEAR(stream.state().peak[j], peak, tolerance + peak * 0x1p-24);
  }
}

INSTANTIATE_TEST_SUITE_P(All, Driver, testing::ValuesIn(configurations()));

TEST(Output, MetersBeforeTheClampAndClamps) {
  constexpr float kInf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float tooLarge = std::nextafter(kMaxSample, 1.0F);
  const struct {
    float value, written, peak;
  } cases[] = {{0.5F, 0.5F, 0.5F},
               {-0.25F, -0.25F, 0.5F},
               {kMaxSample, kMaxSample, kMaxSample},
               {tooLarge, kMaxSample, tooLarge},
               {-1.0F, -1.0F, 1.0F},
               {nan, -1.0F, 1.0F},
               {-1.5F, -1.0F, 1.5F},
               {1.75F, kMaxSample, 1.75F},
               {1e-42F, 1e-42F, 1.75F},
               {-kInf, -1.0F, kInf},
               {nan, -1.0F, kInf}};
  for (const int bypass : {0, 1}) {
    ParamStruct params = paramsOf(configurations()[0], 4, 1);
    params.dryGain = 1.0F;
    params.bypass = bypass;
    host::Stream stream(1, 1, params, {});
    for (const auto& [value, written, peak] : cases) {
      EXPECT_EQ(run(stream, {{value}}, 1, {1})[0][0], written);
      EXPECT_EQ(stream.state().peak[0], peak);
    }
  }
  // In one run of frames, what is no number hides none of the values before it.
  ParamStruct params = paramsOf(configurations()[0], 64, 64);
  params.dryGain = 1.0F;
  host::Stream stream(1, 1, params, {});
  run(stream, {{0, 1.75F, 0, 0, 0, nan, 0, 0, 0}}, 1, {9});
  EXPECT_EQ(stream.state().peak[0], 1.75F);
}

// The wet sample here is just above the middle of two floats only with the dry one
// added in double precision.
TEST(Output, RoundsTheMixOnce) {
  ParamStruct params = paramsOf(configurations()[0], 4, 1);
  host::setGeometry(params, {4, 4, 1, 1});
  params.dryGain = params.wetGain[0] = 1.0F;
  host::Stream stream(1, 1, params, {1, 1, false, {{0.0F}}});
  area(stream, host::Area::outBlocks)[0] = 0.5 + 0x1p-25;
  EXPECT_EQ(run(stream, {{0x1p-40F}}, 1, {1})[0][0], 0.5F + 0x1p-24F);
}

// Surrounds 3 and 4 lag the other outputs, each through its own ring of twice
// dryRingLen.
TEST(Output, DelaysTheSurrounds) {
  const Configuration c{"", 5, 5, 3, 5, 0, 0, 0, true, {}, {}};
  ParamStruct params = wetParamsOf(c, 16);
  std::fill(std::begin(params.wetGain), std::end(params.wetGain), 0.03F);
  Random random(44);
  const host::Responses responses = randomResponses(c, random);
  const Planar input = randomPlanar(random, 5, 300);
  host::Stream prompt(5, 5, params, responses);
  Planar expected = run(prompt, input, 5, {300});
  for (const int delay : {1, 19, 31}) {
    params.rearDelay = delay;
    host::Stream delayed(5, 5, params, responses);
    const Planar output = run(delayed, input, 5, {300});
    for (std::size_t j = 0; j < 5; ++j) {
      std::vector<float> lagging = expected[j];
      if (j >= 3) {
        lagging.insert(lagging.begin(), static_cast<std::size_t>(delay), 0.0F);
        lagging.resize(300);
      }
      EXPECT_EQ(output[j], lagging) << "output " << j << ", delay " << delay;
    }
  }
  EXPECT_NE(expected[3], expected[4]);
}

// A block gets the offset once for every input channel whose table entry it is, and
// gets it before the engine takes it.
TEST(Boundary, OffsetsTheFirstSample) {
  const double offset = double{1e-14F};
  const struct {
    int in, out, numInputs;
    std::vector<double> first;
  } cases[] = {{1, 1, 1, {offset}},
               {1, 2, 2, {offset, 0.0}},
               {2, 2, 2, {offset, offset}},
               {2, 2, 1, {offset + offset}},
               {5, 5, 3, {offset, offset, offset + offset + offset}}};
  for (const auto& [in, out, numInputs, first] : cases) {
    SCOPED_TRACE(testing::Message() << in << " > " << out << ", " << numInputs);
    const Configuration c{"", in, out, numInputs, 1, 0, 0, 0, 0, {}, {}};
    for (const int irLen : {0, 8}) {
      ParamStruct params = paramsOf(c, 8, 1);
      host::setGeometry(params, {8, irLen, 1, 1});
      host::Responses unit{numInputs, 1, false, {}};
      if (irLen > 0) unit.samples.resize(first.size(), {1.0F});
      host::Stream stream(in, out, params, unit);
      const Planar silence(static_cast<std::size_t>(in), std::vector<float>(8));
      run(stream, silence, out, {8});

      double const* const blocks = area(stream, host::Area::inBlocks);
      double sum = 0.0;
      for (std::size_t k = 0; k < first.size(); ++k) {
        EXPECT_EQ(blocks[8 * k], first[k]);
        EXPECT_EQ(blocks[8 * k + 1], 0.0);
        sum += first[k];
      }
      EXPECT_NEAR(area(stream, host::Area::outBlocks)[0], irLen > 0 ? sum : 0.0,
                  1e-6 * sum);
    }
  }
}

}  // namespace
}  // namespace ulmar::test
