// What comes out of the driver for what goes in: conditioning, wet and dry path, meters
// and clamp, in every configuration.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "tests/process/configurations.h"
#include "tests/support/bare_host.h"
#include "tests/support/convolution.h"
#include "tests/surround/plain_decoder.h"
#include "ulmar/base/align.h"

namespace ulmar::test {
namespace {

constexpr float kMaxSample = 32767.0F / 32768.0F;

class Driver : public testing::TestWithParam<Configuration> {};

double* area(const host::Stream& stream, host::Area which) {
  return asRecords<double>(stream.areas()[which]);
}

using Signals = std::vector<std::vector<double>>;

// The engine inputs as the configuration's gains have them.
Signals engineInputs(const Configuration& c, const Planar& input) {
  Signals result;
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
  host::Stream stream(c.in, c.out, paramsOf(c, 31, 8), {});
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
      host::Stream stream(c.in, c.out, params, {});
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

// The feeds of five loudspeakers from the engine's outputs, of which those beyond the
// last repeat it.
Signals feeds(const Configuration& c, const Signals& wet,
              const cApXOverCfs<float>& xoverCfs) {
  const double s = std::sqrt(0.5);
  Signals result(5, std::vector<double>(wet[0].size()));
  PlainDecoder decoder(xoverCfs);
  for (std::size_t t = 0; t < wet[0].size(); ++t) {
    std::array<double, 5> e{};
    for (int k = 0; k < 5; ++k) at(e, k) = at(wet, std::min(k, c.numOutputs - 1))[t];
    std::array<double, 5> frame{};
    if (c.passThrough) {
      frame = {e[0], c.numOutputs == 5 ? s * e[4] : 0.0, e[1], e[2], e[3]};
    } else if (c.perOutput) {
      // Outputs 1 and 2 carry (Y + X) / sqrt 2 and (Y - X) / sqrt 2.
      frame = decoder({e[0], (e[1] - e[2]) * s, (e[1] + e[2]) * s});
    } else {
      frame = decoder({e[0], e[1], e[2]});
    }
    for (std::size_t j = 0; j < 5; ++j) result[j][t] = frame[j];
  }
  return result;
}

// The largest gain by which an error of every engine output reaches a feed.
double largestGain(const Configuration& c, const cApXOverCfs<float>& xoverCfs) {
  std::array<double, 5> sums{};
  for (int k = 0; k < c.numOutputs; ++k) {
    Signals impulse(static_cast<std::size_t>(c.numOutputs), std::vector<double>(200));
    at(impulse, k)[0] = 1.0;
    const Signals response = feeds(c, impulse, xoverCfs);
    for (std::size_t j = 0; j < 5; ++j) {
      for (const double h : response[j]) sums[j] += std::fabs(h);
    }
  }
  return *std::max_element(sums.begin(), sums.end());
}

TEST_P(Driver, ConvolvesDecodesMixesMetersAndClamps) {
  const Configuration& c = GetParam();
  constexpr int kFrames = 30 * kBlockLen;
  constexpr int kDryDelay = 37;
  constexpr int kRearDelay = 120;
  constexpr float kGains[] = {0.2F, -0.25F, 0.15F, 0.3F, -0.1F};
  Random random(43);
  ParamStruct params = wetParamsOf(c, 64);
  params.dryDelay = kDryDelay;
  params.rearDelay = kRearDelay;
  params.dryGain = 0.5F;
  params.xoverCfs = {-0.375F, 0.25F, -0.5F};
  std::copy(std::begin(kGains), std::end(kGains), params.wetGain);
  const host::Responses responses = randomResponses(c, random);
  host::Stream stream(c.in, c.out, params, responses);
  const Planar input = randomPlanar(random, c.in, kFrames);
  const Planar output = run(stream, input, c.out, {50, 1, 0, 7, 333});

  // Engine inputs beyond the blocks that there are repeat the last.
  auto engineInput = engineInputs(c, input);
  engineInput.resize(static_cast<std::size_t>(c.numInputs), engineInput.back());
  double largest = 0.0;
  for (const auto& signal : engineInput) {
    for (const double x : signal) largest = std::max(largest, std::fabs(x));
  }
  Signals wet;  // [engine output], a block late
  double bound = 0.0;
  double loudest = 0.0;
  for (int j = 0; j < c.numOutputs; ++j) {
    auto& signal = wet.emplace_back(static_cast<std::size_t>(kFrames + kBlockLen));
    double norms = 0.0;
    for (int i = 0; i < c.numInputs; ++i) {
      const auto* const response = responses.between(i, j);
      if (response == nullptr) continue;
      norms += partitionNorms(*response, kBlockLen);
      for (int t = 0; t < kFrames; ++t) {
        at(signal, t + kBlockLen) += convolved(at(engineInput, i), *response, t);
      }
    }
    for (const double v : signal) loudest = std::max(loudest, std::fabs(v));
    bound = std::max(
        bound, errorBound(10 * c.numInputs, largest * std::sqrt(kBlockLen), norms));
    double const* const block = area(stream, host::Area::outBlocks) + j * kBlockLen;
    for (int n = 0; n < kBlockLen; ++n) {
      ASSERT_NEAR(block[n], at(signal, kFrames + n), bound) << "engine output " << j;
    }
  }

  // Decoding rounds some ten values of each crossover to single precision in a frame,
  // and its recursion at most doubles what that makes.
  const bool five = c.out == 5;
  const double tolerance =
      five ? largestGain(c, params.xoverCfs) * (bound + 20 * 0x1p-24 * loudest) : bound;
  const Signals played = five ? feeds(c, wet, params.xoverCfs) : wet;
  double largestPeak = 0.0;
  for (int j = 0; j < c.out; ++j) {
    const auto& feed = at(played, std::min(j, static_cast<int>(played.size()) - 1));
    const int lag = j >= 3 ? kRearDelay : 0;
    double peak = 0.0;
    for (int t = 0; t < kFrames; ++t) {
      double v = t < lag ? 0.0 : double{kGains[j]} * at(feed, t - lag);
      if (at(c.dry, j) != kNone && t >= kDryDelay) {
        v += 0.5 * double{at(at(input, at(c.dry, j)), t - kDryDelay)};
      }
      peak = std::max(peak, std::fabs(v));
      ASSERT_NEAR(at(at(output, j), t), std::clamp(v, -1.0, double{kMaxSample}),
                  0.3 * tolerance + 0x1p-24)
          << "output " << j << ", frame " << t;
    }
    EXPECT_NEAR(stream.state().peak[j], peak, 0.3 * tolerance + peak * 0x1p-24);
    largestPeak = std::max(largestPeak, peak);
  }
  ASSERT_GT(largestPeak, 1.0);
  ASSERT_LT(tolerance, 1e-3 * loudest);
}

INSTANTIATE_TEST_SUITE_P(All, Driver, testing::ValuesIn(configurations()));

// What the library makes of one channel, without a kit that keeps NaN from it.
std::vector<float> called(BareHost& host, std::vector<float> samples) {
  OstinSoundBuf record = {samples.data(), 1, kFormatFloat, {}};
  host.call(&record, &record, static_cast<int>(samples.size()));
  return samples;
}

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
    BareHost host(params, 1, 1);
    for (const auto& [value, written, peak] : cases) {
      EXPECT_EQ(called(host, {value})[0], written);
      EXPECT_EQ(host.state.peak[0], peak);
    }
  }
  // In one run of frames, what is no number hides none of the values before it.
  ParamStruct params = paramsOf(configurations()[0], 64, 64);
  params.dryGain = 1.0F;
  BareHost host(params, 1, 1);
  called(host, {0, 1.75F, 0, 0, 0, nan, 0, 0, 0});
  EXPECT_EQ(host.state.peak[0], 1.75F);
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

// To the bit: what lags is rounded to single precision at any delay, also at none.
TEST(Output, DelaysTheSurrounds) {
  const Configuration c{"", 5, 5, 3, 5, 0, 0, 0, true, {}, {}};
  ParamStruct params = wetParamsOf(c, 16);
  std::fill(std::begin(params.wetGain), std::end(params.wetGain), 0.03F);
  Random random(44);
  const host::Responses responses = randomResponses(c, random);
  const Planar input = randomPlanar(random, 5, 300);
  host::Stream prompt(5, 5, params, responses);
  const Planar expected = run(prompt, input, 5, {300});
  params.rearDelay = 31;
  host::Stream delayed(5, 5, params, responses);
  const Planar output = run(delayed, input, 5, {300});
  for (std::size_t j = 0; j < 5; ++j) {
    const std::ptrdiff_t lag = j >= 3 ? 31 : 0;
    EXPECT_TRUE(std::equal(expected[j].begin(), expected[j].end() - lag,
                           output[j].begin() + lag))
        << "output " << j;
  }
}

// The engine truncates if the parameter says so: of noise, an echo after 34 blocks
// keeps the lower half of the band.
TEST(Engine, LeavesOutTheUpperBandOfLateEchoes) {
  constexpr int kDelay = 34 * kBlockLen + 3;
  Random random(45);
  const Planar input = {random.signal(4000)};
  std::vector<float> echo(kDelay + 1);
  echo.back() = 0.5F;
  const auto energy = [&](bool truncated) {
    ParamStruct params = paramsOf(configurations()[0], kBlockLen, 1);
    host::setGeometry(params, {kBlockLen, kDelay + 1, 2, 2, truncated});
    params.wetGain[0] = 1.0F;
    host::Stream stream(1, 1, params, {1, 1, false, {echo}});
    const Planar output = run(stream, input, 1, {4000});
    double sum = 0.0;
    for (const float v : output[0]) sum += double{v} * double{v};
    return sum;
  };
  EXPECT_NEAR(energy(true) / energy(false), 0.5, 0.05);
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
