// Every channel pair under every flag, against the plain driver.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/bare_host.h"
#include "tests/support/convolution.h"
#include "tests/support/random.h"
#include "tests/surround/plain_driver.h"
#include "ulmar/base/align.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/process/Ulmar_Process.h"

namespace ulmar::test {
namespace {

constexpr int kBlockLen = 16;
constexpr int kIRLen = 3 * kBlockLen + 5;
constexpr int kRingLen = 16;
constexpr int kUnread = 0x7FA00001;  // a NaN that any arithmetic would change

/// An eighth of the rate up, where the crossover hardly rings.
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

double absoluteSum(PlainFilter filter) {
  double sum = 0.0;
  for (int n = 0; n < 200; ++n) sum += std::fabs(filter(n == 0 ? 1.0 : 0.0));
  return sum;
}

/// How far an output may be off. The engine's error, see errorBound, reaches a feed
/// through three signals in two bands, of which each has an absolute sum of its
/// response of at most half the all-pass sections'. To it the crossovers add their own:
/// ten roundings to single precision in a frame, as the recursion prolongs them.
double wetBound(const ParamStruct& params, const Planar& responses,
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

/// Channels side by side or one after another; a sixth in consecutive samples always.
class Buffer {
 public:
  Buffer(int channels, int frames, bool interleaved, Random& random)
      : samples_(random.signal(channels * frames)),
        firstFive_(std::min(channels, 5)),
        frames_(frames),
        interleaved_(interleaved) {
    for (int k = 0; k < channels; ++k) {
      const bool apart = !interleaved_ || k == 5;
      float* const first = samples_.data() + (apart ? k * frames_ : k);
      // The step of the sixth is of no account.
      channels_.push_back({first, apart && k < 5 ? 1 : firstFive_, kFormatFloat, {}});
    }
  }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  /// From a frame on.
  std::vector<OstinSoundBuf> records(int from) const {
    std::vector<OstinSoundBuf> records = channels_;
    for (std::size_t k = 0; k < records.size(); ++k) records[k].data += from * step(k);
    return records;
  }
  std::vector<float> frame(int t) const {
    std::vector<float> frame;
    for (std::size_t k = 0; k < channels_.size(); ++k) {
      frame.push_back(channels_[k].data[t * step(k)]);
    }
    return frame;
  }

 private:
  std::ptrdiff_t step(std::size_t k) const { return k == 5 ? 1 : channels_[k].step; }

  std::vector<float> samples_;
  int firstFive_, frames_;
  bool interleaved_;
  std::vector<OstinSoundBuf> channels_;
};

/// Parameters as they are from a frame on.
struct Change {
  int frame;
  ParamStruct params;
};

void expectState(const StateStruct& state, int frames, bool surround) {
  EXPECT_EQ(state.blockPos, frames % kBlockLen);
  EXPECT_EQ(state.dryPos, -frames & (kRingLen - 1));
  EXPECT_EQ(state.rearPos, surround ? -frames & (2 * kRingLen - 1) : 0);
  for (const auto& sts : state.xoverSts) {
    EXPECT_EQ(std::memcmp(&sts.unused3, &kUnread, sizeof kUnread), 0);
    EXPECT_EQ(std::memcmp(&sts.unused7, &kUnread, sizeof kUnread), 0);
  }
}

/// Runs a stream in calls that end anywhere, and at changes, and holds every sample and
/// its state to the plain driver. The seed also decides on the buffers' layout, and on
/// whether there is one or two.
void expectPlain(Pair pair, const std::vector<Change>& changes, int frames, int seed) {
  ParamStruct params = changes[0].params;
  Random random(static_cast<std::uint64_t>(seed));
  host::Responses responses{
      params.numInputs, params.numOutputs, params.perOutputIR != 0, {}};
  const int numSets = params.numOutputs * (responses.perOutput ? 1 : params.numInputs);
  for (int s = 0; s < numSets; ++s) {
    responses.samples.push_back(sparseResponse(random));
  }
  PlainDriver plain(pair.in, pair.out, params, responses.samples);
  BareHost bareHost(params, pair.in, pair.out);
  bareHost.buildSets(responses);
  ExternStruct& ext = bareHost.ext;
  StateStruct state{};
  for (auto& sts : state.xoverSts) {
    std::memcpy(&sts.unused3, &kUnread, sizeof kUnread);
    std::memcpy(&sts.unused7, &kUnread, sizeof kUnread);
  }
  const Buffer input(pair.in, frames, seed % 2 != 0, random);
  const Buffer apart(pair.out, frames, seed % 3 != 0, random);
  const Buffer& output = pair.in == pair.out && seed % 4 < 2 ? input : apart;

  std::vector<std::vector<double>> expected;
  std::vector<float> sixth;
  auto next = changes.begin();
  for (int t = 0; t < frames;) {
    if (next != changes.end() && next->frame == t) params = (next++)->params;
    const int end = next != changes.end() ? next->frame : frames;
    const int size = std::min(1 + random.below(40), end - t);
    for (int i = t; i < t + size; ++i) {
      expected.push_back(plain(params, input.frame(i)));
      sixth.push_back(input.frame(i).back());
    }
    const StateStruct before = state;
    auto in = input.records(t);
    auto out = output.records(t);
    HostLong done = 0;
    UlmarProc(in.data(), pair.in, size, out.data(), pair.out, &done,
              asRecords<char>(&params), asRecords<char>(&state), &ext);
    ASSERT_EQ(done, size);
    if (pair.out < 5 || params.passThrough != 0) {
      EXPECT_EQ(std::memcmp(before.xoverSts, state.xoverSts, sizeof before.xoverSts),
                0);
    }
    t += size;
  }

  const double bound =
      wetBound(params, responses.samples, plain.largestInput()) + 0x1p-24;
  ASSERT_LT(bound, 1e-3 * plain.largestInput());
  std::array<double, 5> peaks{};
  for (int t = 0; t < frames; ++t) {
    const std::vector<float> frame = output.frame(t);
    const auto& values = expected[static_cast<std::size_t>(t)];
    for (std::size_t j = 0; j < values.size(); ++j) {
      const double clamped = std::clamp(values[j], -1.0, 32767.0 / 32768.0);
      ASSERT_NEAR(frame[j], clamped, bound) << "output " << j << ", frame " << t;
      peaks[j] = std::max(peaks[j], std::fabs(values[j]));
    }
    if (pair.out == 6) {
      ASSERT_EQ(frame[5], sixth[static_cast<std::size_t>(t)]);
    }
  }
  for (std::size_t j = 0; j < 5; ++j) {
    EXPECT_NEAR(state.peak[j], peaks[j], bound * (1.0 + peaks[j]));
  }
  expectState(state, frames, pair.out >= 5);
}

class EveryPair : public testing::TestWithParam<Pair> {};

TEST_P(EveryPair, RoutesAsThePlainDriverDoes) {
  int seed = 63;
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
          // What was convolved before an engine stops is decoded over and over.
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
  int seed = 9000;
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

}  // namespace
}  // namespace ulmar::test
