// Every channel pair under every flag, against the plain driver.
#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "base/align.h"
#include "host/crossover_design.h"
#include "host/impulse.h"
#include "process/Ulmar_Process.h"
#include "tests/support/convolution.h"
#include "tests/support/random.h"
#include "tests/surround/plain_driver.h"

namespace ulmar::test {
namespace {

constexpr int kBlockLen = 16;
constexpr int kIRLen = 3 * kBlockLen + 5;
constexpr int kRingLen = 16;
constexpr int kUnread = 0x7FA00001;  // a NaN that any arithmetic would change

/// A crossover an eighth of the rate up, where it hardly rings.
constexpr double kCrossover = 0.125;

struct Pair {
  int in, out;
};
constexpr Pair kPairs[] = {{1, 1}, {1, 2}, {2, 2}, {1, 5}, {2, 5}, {5, 5}, {6, 6}};

ParamStruct baseParams() {
  ParamStruct params{};
  params.blockLen = kBlockLen;
  params.irLen = kIRLen;
  params.numSegments = params.chunksPerSegment = 2;
  params.xoverCfs = host::designCrossover(kCrossover, 1.0);
  params.rearDelay = 2 * kRingLen - 3;
  params.dryDelay = 11;
  params.dryRingLen = kRingLen;
  params.dryGain = 0.7F;
  constexpr float kWetGains[] = {0.1F, -0.2F, 0.3F, 0.25F, -0.15F};
  std::copy(std::begin(kWetGains), std::end(kWetGains), params.wetGain);
  return params;
}

host::Planar randomSignals(Random& random, int count, int length) {
  host::Planar signals;
  for (int k = 0; k < count; ++k) signals.push_back(random.signal(length));
  return signals;
}

/// A tap in every block: enough to tell responses apart, and little for errors to add
/// up.
std::vector<float> sparseResponse(Random& random) {
  std::vector<float> response(kIRLen);
  for (std::size_t start = 0; start < kIRLen; start += kBlockLen) {
    const int length = std::min<int>(kBlockLen, kIRLen - static_cast<int>(start));
    response[start + static_cast<std::size_t>(random.below(length))] = random.sample();
  }
  return response;
}

/// The records and areas of one stream, in the test's hands.
class Stream {
 public:
  Stream(Pair pair, const ParamStruct& params, const host::Planar& responses)
      : in_(static_cast<std::size_t>(pair.in)),
        out_(static_cast<std::size_t>(pair.out)),
        areas_(host::areaSizes(params, pair.in, pair.out)),
        ext_(areas_.table()) {
    host::buildPartitionSets(
        params,
        {params.numInputs, params.numOutputs, params.perOutputIR != 0, responses},
        areas_);
    for (auto& sts : state.xoverSts) {
      std::memcpy(&sts.unused3, &kUnread, sizeof kUnread);
      std::memcpy(&sts.unused7, &kUnread, sizeof kUnread);
    }
  }

  /// Planar channels, each from a frame on.
  void call(ParamStruct params, host::Planar& input, host::Planar& output, int from,
            int frames) {
    const auto records = [from](host::Planar& signals, std::size_t count) {
      std::vector<OstinSoundBuf> result;
      for (std::size_t k = 0; k < count; ++k) {
        result.push_back({signals[k].data() + from, 1, kFormatFloat, {}});
      }
      return result;
    };
    call(params, records(input, in_), records(output, out_), frames);
  }

  void call(ParamStruct params, std::vector<OstinSoundBuf> in,
            std::vector<OstinSoundBuf> out, int frames) {
    HostLong done = 0;
    UlmarProc(in.data(), static_cast<HostLong>(in_), frames, out.data(),
              static_cast<HostLong>(out_), &done, asRecords<char>(&params),
              asRecords<char>(&state), &ext_);
    EXPECT_EQ(done, frames);
  }

  StateStruct state{};

 private:
  std::size_t in_, out_;
  host::Areas areas_;
  ExternStruct ext_;
};

double absoluteSum(PlainFilter filter) {
  double sum = 0.0;
  for (int n = 0; n < 200; ++n) sum += std::fabs(filter(n == 0 ? 1.0 : 0.0));
  return sum;
}

/// How far an output may be off. The engine's error, see errorBound, reaches a feed
/// through three signals in two bands, of which each has an absolute sum of its
/// response of at most half the all-pass sections'. To it the crossovers add their own:
/// ten roundings to single precision in a frame, as the recursion prolongs them.
double wetBound(const ParamStruct& params, const host::Planar& responses,
                double largestInput) {
  double norms = 0.0;      // of the responses of all inputs to one output
  double amplitude = 0.0;  // of that output
  for (const auto& response : responses) {
    double sum = 0.0;
    for (const float h : response) sum += std::fabs(h);
    amplitude = std::max(amplitude, params.numInputs * sum * largestInput);
    norms = std::max(norms, params.numInputs * partitionNorms(response, kBlockLen));
  }
  const double engine =
      errorBound(4 * params.numInputs, largestInput * std::sqrt(kBlockLen), norms);
  const auto [c1, c2, d2] = params.xoverCfs;
  const double sections = absoluteSum(PlainFilter({c1, 1.0}, {1.0, c1})) +
                          absoluteSum(PlainFilter({c2, d2, 1.0}, {1.0, d2, c2}));
  const double recursion = absoluteSum(PlainFilter({1.0, 0.0}, {1.0, c1})) +
                           absoluteSum(PlainFilter({1.0, 0.0, 0.0}, {1.0, d2, c2}));
  // The largest wet gain times a row of either matrix, X and Y formed from a pair.
  constexpr double kGain = 0.3 * 2.2;
  return kGain * sections * (engine + 10.0 * 0x1p-24 * recursion * amplitude);
}

void expectOutput(float actual, double plain, double bound) {
  const double clamped = std::clamp(plain, -1.0, 32767.0 / 32768.0);
  ASSERT_NEAR(actual, clamped, bound + 0x1p-24 * std::fabs(clamped));
}

/// Parameters as they are from a frame on.
struct Change {
  int frame;
  ParamStruct params;
};

/// Runs the stream in calls that end anywhere, and at changes, and holds every sample
/// and what the state says of it to the plain driver.
void expectPlain(Pair pair, const std::vector<Change>& changes, int frames,
                 std::uint64_t seed) {
  const ParamStruct& start = changes[0].params;
  Random random(seed);
  const bool perOutput = start.perOutputIR != 0;
  const int numSets = perOutput ? start.numOutputs : start.numInputs * start.numOutputs;
  host::Planar responses;
  for (int s = 0; s < numSets; ++s) responses.push_back(sparseResponse(random));
  host::Planar input = randomSignals(random, pair.in, frames);
  host::Planar output = randomSignals(random, pair.out, frames);
  Stream stream(pair, start, responses);
  PlainDriver plain(pair.in, pair.out, start, responses);

  std::array<double, 5> peaks{};
  std::vector<std::vector<double>> expected;
  auto next = changes.begin();
  ParamStruct params = start;
  std::array<sApXOverSts<float>, 3> before;
  for (int t = 0; t < frames;) {
    if (next != changes.end() && next->frame == t) params = (next++)->params;
    const int end = next != changes.end() ? next->frame : frames;
    const int size = std::min(1 + random.below(40), end - t);
    std::copy(std::begin(stream.state.xoverSts), std::end(stream.state.xoverSts),
              before.begin());
    stream.call(params, input, output, t, size);
    const bool decodes = pair.out >= 5 && params.passThrough == 0;
    if (!decodes) {
      EXPECT_EQ(std::memcmp(&before, stream.state.xoverSts, sizeof before), 0);
    }
    for (; expected.size() < static_cast<std::size_t>(t + size);) {
      std::vector<float> frame;
      for (const auto& channel : input) frame.push_back(channel[expected.size()]);
      expected.push_back(plain(params, frame));
    }
    t += size;
  }

  const double bound = wetBound(start, responses, plain.largestInput());
  ASSERT_LT(bound, 1e-3 * plain.largestInput());
  for (std::size_t t = 0; t < expected.size(); ++t) {
    for (std::size_t j = 0; j < expected[t].size(); ++j) {
      SCOPED_TRACE(testing::Message() << "output " << j << ", frame " << t);
      ASSERT_NO_FATAL_FAILURE(expectOutput(output[j][t], expected[t][j], bound));
      peaks[j] = std::max(peaks[j], std::fabs(expected[t][j]));
    }
  }
  if (pair.out == 6) {
    EXPECT_EQ(output[5], input[5]);
  }
  const StateStruct& state = stream.state;
  for (std::size_t j = 0; j < 5; ++j) {
    EXPECT_NEAR(state.peak[j], peaks[j], bound + 0x1p-24 * peaks[j]);
  }
  EXPECT_EQ(state.blockPos, frames % kBlockLen);
  EXPECT_EQ(state.dryPos, -frames & (kRingLen - 1));
  EXPECT_EQ(state.rearPos, pair.out < 5 ? 0 : -frames & (2 * kRingLen - 1));
  for (const auto& sts : state.xoverSts) {
    EXPECT_EQ(std::memcmp(&sts.unused3, &kUnread, sizeof kUnread), 0);
    EXPECT_EQ(std::memcmp(&sts.unused7, &kUnread, sizeof kUnread), 0);
  }
}

class EveryPair : public testing::TestWithParam<Pair> {};

TEST_P(EveryPair, RoutesAsThePlainDriverDoes) {
  std::uint64_t seed = 63;
  for (int flags = 0; flags < 1 << 5; ++flags) {
    for (const int irLen : {kIRLen, 0, -kIRLen}) {
      for (int numInputs = 1; numInputs <= 3; ++numInputs) {
        for (const int numOutputs : {1, 3, 4, 5}) {
          ParamStruct params = baseParams();
          params.numInputs = numInputs;
          params.numOutputs = numOutputs;
          params.foldToStereo = flags & 1;
          params.perOutputIR = flags & 2;
          params.passThrough = flags & 4;
          params.bypass = flags & 8;
          params.crossfeed = flags & 16 ? 0.5F : 0.0F;
          ParamStruct played = params;
          played.irLen = irLen;
          SCOPED_TRACE(
              testing::Message()
              << GetParam().in << " > " << GetParam().out << ", engine " << numInputs
              << " > " << numOutputs << ", irLen " << irLen
              << (flags & 1 ? ", fold" : "") << (flags & 2 ? ", set per output" : "")
              << (flags & 4 ? ", pass-through" : "") << (flags & 8 ? ", bypass" : "")
              << (flags & 16 ? ", cross-feed" : "") << ", seed " << seed);
          // The tail of what went before runs on where the engine still runs.
          expectPlain(GetParam(), {{0, params}, {40, played}}, 130, seed++);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, EveryPair, testing::ValuesIn(kPairs),
                         [](const auto& pair) {
                           return std::to_string(pair.param.in) + "to" +
                                  std::to_string(pair.param.out);
                         });

// Decoding goes on from the crossovers as it left them, whatever happened meanwhile,
// and delays, gains and silence take effect from the next call on.
TEST(Changes, TakeEffectInMidStream) {
  std::uint64_t seed = 9000;
  for (const Pair pair : {Pair{1, 5}, Pair{2, 5}, Pair{5, 5}, Pair{6, 6}}) {
    for (const bool midSide : {false, true}) {
      SCOPED_TRACE(testing::Message()
                   << pair.in << " > " << pair.out << (midSide ? ", mid/side" : ""));
      ParamStruct params = baseParams();
      params.numInputs = midSide ? 3 : 2;
      params.numOutputs = 5;
      params.perOutputIR = midSide;
      std::vector<Change> changes = {{0, params}};
      const auto change = [&](int frame, int ParamStruct::*field, int value) {
        params.*field = value;
        changes.push_back({frame, params});
      };
      change(75, &ParamStruct::passThrough, 1);
      change(170, &ParamStruct::passThrough, 0);
      change(200, &ParamStruct::rearDelay, 0);
      change(240, &ParamStruct::bypass, 1);
      change(270, &ParamStruct::irLen, 0);
      change(300, &ParamStruct::bypass, 0);
      change(330, &ParamStruct::irLen, -1);
      change(350, &ParamStruct::irLen, kIRLen);
      change(390, &ParamStruct::rearDelay, 2 * kRingLen - 1);
      change(420, &ParamStruct::dryDelay, 0);
      expectPlain(pair, changes, 500, seed++);
    }
  }
}

// The first five of six channels lie in any layout; the sixth in consecutive samples.
// Nothing changes when outputs take the inputs' place.
TEST(SixChannels, InAnyLayoutGiveTheSameSamples) {
  constexpr int kFrames = 300;
  ParamStruct params = baseParams();
  params.numInputs = 2;
  params.numOutputs = 3;
  params.foldToStereo = 1;
  Random random(64);
  const host::Planar responses = randomSignals(random, 6, kIRLen);
  host::Planar input = randomSignals(random, 6, kFrames);
  host::Planar expected(6, std::vector<float>(kFrames));
  Stream planar({6, 6}, params, responses);
  planar.call(params, input, expected, 0, kFrames);
  EXPECT_EQ(expected[5], input[5]);

  for (const bool inPlace : {false, true}) {
    for (const int pitch : {5, 6, -7}) {
      SCOPED_TRACE(testing::Message()
                   << "step " << pitch << (inPlace ? " in place" : ""));
      const int size = std::abs(pitch) * kFrames;
      std::vector<float> from(static_cast<std::size_t>(size + kFrames));
      std::vector<float> apart(from.size());
      const auto records = [&](std::vector<float>& buffer) {
        std::vector<OstinSoundBuf> result;
        float* const first = buffer.data() + (pitch < 0 ? size + pitch : 0);
        for (int k = 0; k < 5; ++k) {
          result.push_back({first + k, pitch, kFormatFloat, {}});
        }
        result.push_back({buffer.data() + size, pitch, kFormatFloat, {}});
        return result;
      };
      const auto in = records(from);
      const auto out = records(inPlace ? from : apart);
      for (int t = 0; t < kFrames; ++t) {
        for (std::size_t k = 0; k < 5; ++k) {
          in[k].data[t * pitch] = input[k][static_cast<std::size_t>(t)];
        }
        in[5].data[t] = input[5][static_cast<std::size_t>(t)];
      }
      Stream stream({6, 6}, params, responses);
      stream.call(params, in, out, kFrames);
      for (int t = 0; t < kFrames; ++t) {
        const auto frame = static_cast<std::size_t>(t);
        for (std::size_t k = 0; k < 5; ++k) {
          ASSERT_EQ(out[k].data[t * pitch], expected[k][frame]) << k << ", " << t;
        }
        ASSERT_EQ(out[5].data[t], expected[5][frame]) << t;
      }
      EXPECT_EQ(std::memcmp(&stream.state, &planar.state, sizeof stream.state), 0);
    }
  }
}

}  // namespace
}  // namespace ulmar::test
