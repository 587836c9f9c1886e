// Streams of two engines: what the tail adds, when, and that nothing of it depends on
// how the host calls.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/random.h"
#include "tests/support/scratch_dir.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/stream.h"

namespace ulmar::host {
namespace {

using test::Random;
using test::refusalOf;

struct Tap {
  int delay;
  float gain;
};

// out[t] = sum of gain in[t - delay - latency], in double.
std::vector<double> convolved(const std::vector<float>& in,
                              const std::vector<Tap>& taps, int latency) {
  std::vector<double> out(in.size());
  for (const auto& [delay, gain] : taps) {
    for (std::size_t t = static_cast<std::size_t>(delay + latency); t < in.size();
         ++t) {
      out[t] +=
          double{gain} * double{in[t - static_cast<std::size_t>(delay + latency)]};
    }
  }
  return out;
}

std::vector<float> samplesOf(const std::vector<Tap>& taps, int length) {
  std::vector<float> samples(static_cast<std::size_t>(length));
  for (const auto& [delay, gain] : taps) {
    samples[static_cast<std::size_t>(delay)] += gain;
  }
  return samples;
}

// Planar signals through a stream, in calls of the sizes given, over and over; from
// `start` on.
void play(Stream& stream, const Planar& in, Planar& out, const std::vector<int>& sizes,
          int start = 0) {
  const int frames = static_cast<int>(in[0].size());
  std::size_t call = 0;
  for (int t = start; t < frames;) {
    const int size = std::min(sizes[call++ % sizes.size()], frames - t);
    std::vector<const float*> ins;
    std::vector<float*> outs;
    for (const auto& channel : in) ins.push_back(channel.data() + t);
    for (auto& channel : out) outs.push_back(channel.data() + t);
    stream.process(ins.data(), outs.data(), size);
    t += size;
  }
}

Planar zeros(int channels, int frames) {
  return Planar(static_cast<std::size_t>(channels),
                std::vector<float>(static_cast<std::size_t>(frames)));
}

Planar noise(Random& random, int channels, int frames) {
  Planar signals;
  for (int k = 0; k < channels; ++k) signals.push_back(random.signal(frames));
  return signals;
}

StreamOptions withTail(int blockLen, int tail) {
  StreamOptions options;
  options.blockLen = blockLen;
  options.tail = tail;
  return options;
}

// Impulses at every border of the response, from input that starts at every phase of
// the tail's block: a sample that comes early, late, twice or not at all is out of
// place by its whole height.
TEST(Tail, PlaysEveryTapAtItsTimeInEveryPhase) {
  for (const auto& [blockLen, tail] :
       {std::pair{4, 8}, {16, 64}, {16, 256}, {64, 128}, {8, 512}}) {
    SCOPED_TRACE(testing::Message() << blockLen << " + " << tail);
    const int start = 2 * tail - blockLen;
    const int length = start + 5 * tail + 3;
    std::vector<Tap> taps;
    float gain = 0.01F;
    for (const int border : {0, blockLen, tail, start, start + blockLen, start + tail,
                             start + 2 * tail, start + 4 * tail, length - 1}) {
      for (const int delay : {border - 1, border, border + 1}) {
        if (delay < 0 || delay >= length) continue;
        taps.push_back({delay, gain});
        gain += 0.001F;
      }
    }
    const Responses responses{1, 1, false, {samplesOf(taps, length)}};
    const StreamPlan plan(1, 1, responses.shape(), withTail(blockLen, tail));
    ASSERT_TRUE(plan.tail());
    ASSERT_EQ(plan.tail()->start, start);

    // One impulse a period, which moves on by one block and one sample each time.
    const int period = length + 3 * tail + blockLen + 1;
    const int numPeriods = std::min(2 * tail / blockLen, 20) + 1;
    Planar in = zeros(1, period * (numPeriods + 1));
    for (int k = 0; k < numPeriods; ++k) {
      in[0][static_cast<std::size_t>(k * period)] = 1.0F;
    }
    Planar out = zeros(1, period * (numPeriods + 1));
    Stream stream(plan, responses);
    play(stream, in, out, {blockLen + 3, 1, 2 * tail, blockLen});
    const std::vector<double> expected = convolved(in[0], taps, blockLen);
    for (std::size_t t = 0; t < expected.size(); ++t) {
      ASSERT_NEAR(out[0][t], expected[t], 1e-7) << t << " of " << period;
    }
  }
}

TEST(Tail, ExistsFromTheFirstSampleBeyondTheHeadOn) {
  constexpr int kStart = 2 * 256 - 64;
  Random random(3);
  for (const int length : {kStart - 1, kStart, kStart + 1, kStart + 256}) {
    SCOPED_TRACE(length);
    const Responses responses{1, 1, false, {random.signal(length)}};
    const StreamPlan plan(1, 1, responses.shape(), withTail(64, 256));
    EXPECT_EQ(plan.tail().has_value(), length > kStart);
    EXPECT_EQ(plan.params().irLen, std::min(length, kStart));
    Stream stream(plan, responses);
    Planar in = zeros(1, 3000);
    in[0][70] = 0.5F;
    Planar out = zeros(1, 3000);
    play(stream, in, out, {64});
    for (int t = 0; t < 3000; ++t) {
      const int delay = t - 70 - 64;
      const bool heard = delay >= 0 && delay < length;
      const float tap =
          heard ? responses.samples[0][static_cast<std::size_t>(delay)] : 0.0F;
      ASSERT_NEAR(out[0][static_cast<std::size_t>(t)], 0.5F * tap, 2e-7) << t;
    }
  }
}

struct Channels {
  const char* name;
  int in, out, numInputs, numOutputs;
  bool perOutput = false;
  bool fold = false;
  bool passThrough = false;
};

constexpr Channels kChannels[] = {
    {"mono", 1, 1, 1, 1},
    {"mono > stereo", 1, 2, 1, 2},
    {"true stereo", 2, 2, 2, 2},
    {"stereo, a set per output", 2, 2, 2, 2, true},
    {"mono > 5, decoded", 1, 5, 1, 3},
    {"stereo > 5, mid and side", 2, 5, 3, 3, true},
    {"stereo > 5, feeds", 2, 5, 2, 5, false, false, true},
    {"5 > 5, down-mixed", 5, 5, 2, 5, true, true, true},
    {"6 > 6, down-mixed", 6, 6, 2, 3, false, true},
};

struct Case {
  Channels channels;
  Responses responses;
  StreamOptions options;
};

// A response that decays, with lengths that differ from pair to pair: some end before
// the tail begins.
Case caseOf(const Channels& c, Random& random, int blockLen, int tail) {
  Responses responses{c.numInputs, c.numOutputs, c.perOutput, {}};
  const int numSets = c.perOutput ? c.numOutputs : c.numInputs * c.numOutputs;
  for (int set = 0; set < numSets; ++set) {
    const int length = set % 3 == 1 ? tail : 5 * tail + 17 * set;
    auto samples = random.signal(length);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i] *=
          0.004F * std::exp(-2.0F * static_cast<float>(i) / static_cast<float>(length));
    }
    responses.samples.push_back(std::move(samples));
  }
  StreamOptions options = withTail(blockLen, tail);
  options.foldToStereo = c.fold;
  options.passThrough = c.passThrough;
  // The higher the crossover, the less its single-precision recursion makes of
  // rounding.
  options.crossover = designCrossover(12000.0, 48000.0);
  options.crossfeed = c.in == 2 ? 0.25F : 0.0F;
  options.dryGain = 0.125F;
  options.dryDelay = 11;
  options.rearDelay = 37;
  return {c, std::move(responses), options};
}

Stream streamOf(const Case& c, int tail) {
  StreamOptions options = c.options;
  options.tail = tail;
  const StreamPlan plan(c.channels.in, c.channels.out, c.responses.shape(), options);
  EXPECT_EQ(plan.tail().has_value(), tail != kTailOff);
  return {plan, c.responses};
}

// One engine and two agree to rounding, whatever the driver does around them.
TEST(Tail, AgreesWithOneEngineInAllConfigurations) {
  Random random(5);
  for (const Channels& channels : kChannels) {
    SCOPED_TRACE(channels.name);
    const Case c = caseOf(channels, random, 32, 256);
    const Planar in = noise(random, channels.in, 6000);
    Planar whole = zeros(channels.out, 6000);
    Planar divided = whole;
    Stream one = streamOf(c, kTailOff);
    Stream two = streamOf(c, 256);
    play(one, in, whole, {100});
    play(two, in, divided, {100});
    float peak = 0.0F;
    float largest = 0.0F;
    for (std::size_t j = 0; j < whole.size(); ++j) {
      for (std::size_t t = 0; t < whole[j].size(); ++t) {
        peak = std::max(peak, std::abs(whole[j][t]));
        largest = std::max(largest, std::abs(whole[j][t] - divided[j][t]));
      }
    }
    EXPECT_LT(peak, 1.0F);
    EXPECT_GT(peak, 0.1F);
    EXPECT_LT(largest, 1e-6F * peak);
    for (std::size_t j = 0; j < one.peaks().size(); ++j) {
      EXPECT_NEAR(one.peaks()[j], two.peaks()[j], 1e-6F * peak);
    }
  }
}

// The bits of a stream depend on its samples alone: not on the sizes of calls, the
// layout of buffers, processing in place, nor on a snapshot taken and resumed at any
// frame.
void expectSameBits(const Case& c, const Planar& in, int tail) {
  const Channels& channels = c.channels;
  const std::size_t frames = in[0].size();
  Planar expected = zeros(channels.out, static_cast<int>(frames));
  Stream stream = streamOf(c, tail);
  const std::vector<std::byte> fresh = stream.snapshot();
  play(stream, in, expected, {static_cast<int>(frames)});
  for (const std::vector<int>& sizes :
       {std::vector{1}, {16}, {15, 17}, {64}, {7, 0, 200, 1, 16}}) {
    stream.reset();
    EXPECT_EQ(stream.snapshot(), fresh);
    Planar out = zeros(channels.out, static_cast<int>(frames));
    play(stream, in, out, sizes);
    EXPECT_EQ(out, expected);
  }
  if (channels.in == channels.out) {
    stream.reset();
    Planar both = in;
    play(stream, both, both, {33, 90});
    EXPECT_EQ(both, expected) << "in place";
  }
  if (channels.in == 6) return;
  stream.reset();
  const auto ins = static_cast<std::size_t>(channels.in);
  const auto outs = static_cast<std::size_t>(channels.out);
  std::vector<float> from(ins * frames);
  std::vector<float> apart(outs * frames);
  for (std::size_t t = 0; t < frames; ++t) {
    for (std::size_t k = 0; k < ins; ++k) from[t * ins + k] = in[k][t];
  }
  std::vector<float>& to = ins == outs ? from : apart;
  stream.processInterleaved(nullptr, nullptr, 0);
  for (std::size_t t = 0; t < frames; t += 50) {
    stream.processInterleaved(from.data() + t * ins, to.data() + t * outs, 50);
  }
  for (std::size_t n = 0; n < to.size(); ++n) {
    ASSERT_EQ(to[n], expected[n % outs][n / outs]) << "interleaved, " << n / outs;
  }
}

TEST(Tail, HasTheSameBitsHoweverItIsCalled) {
  Random random(7);
  for (const Channels& channels : kChannels) {
    for (const int tail : {kTailOff, 64}) {
      SCOPED_TRACE(testing::Message() << channels.name << ", tail " << tail);
      const Case c = caseOf(channels, random, 16, 64);
      expectSameBits(c, noise(random, channels.in, 1500), tail);
    }
  }
}

TEST(Tail, ResumesFromASnapshotOfAnyPhase) {
  Random random(9);
  const Case c = caseOf(kChannels[2], random, 16, 64);
  constexpr int kFrames = 1200;
  const Planar in = noise(random, 2, kFrames);
  Planar whole = zeros(2, kFrames);
  Stream plain = streamOf(c, 64);
  play(plain, in, whole, {64});
  Stream stream = streamOf(c, 64);
  Stream resumed = streamOf(c, 64);
  // Two tail blocks and more, every boundary and the frames beside it.
  for (int frame = 0; frame < 500; ++frame) {
    const auto at = static_cast<std::size_t>(frame);
    const float* const ins[] = {&in[0][at], &in[1][at]};
    Planar out = whole;
    float* const outs[] = {&out[0][at], &out[1][at]};
    stream.process(ins, outs, 1);
    if (frame % 16 > 1 && frame % 16 < 14) continue;
    SCOPED_TRACE(frame);
    resumed.restore(stream.snapshot());
    play(resumed, in, out, {1, 99}, frame + 1);
    ASSERT_EQ(out, whole);
  }
  Stream one = streamOf(c, kTailOff);
  EXPECT_NE(refusalOf([&] { one.restore(stream.snapshot()); }).find("geometry"),
            std::string::npos);
}

// A tail of many small stages is spread: no boundary's share is more than the largest
// stage and an even share, and together they are the whole block, in order.
TEST(TailPlan, DividesEveryStageOnceAndEvenly) {
  for (const auto& [in, out, seconds, blockLen] : {std::tuple{1, 1, 2.0, 64},
                                                   {2, 2, 6.0, 128},
                                                   {2, 5, 10.0, 64},
                                                   {2, 2, 2.0, 512}}) {
    SCOPED_TRACE(testing::Message() << in << out << ' ' << seconds << ' ' << blockLen);
    const auto length = static_cast<int>(seconds * 48000);
    const ResponseShape shape{
        in, out, false, std::vector<int>(static_cast<std::size_t>(in * out), length)};
    StreamOptions options;
    options.blockLen = blockLen;
    const StreamPlan plan(in, out, shape, options);
    ASSERT_TRUE(plan.tail());
    const TailPlan& tail = *plan.tail();
    EXPECT_EQ(tail.start + tail.geometry.irLen, length);
    EXPECT_EQ(tail.numSlots * blockLen, tail.geometry.blockLen);
    ASSERT_EQ(tail.firstStage.size(), static_cast<std::size_t>(tail.numSlots) + 1);
    EXPECT_EQ(tail.firstStage.front(), 0);
    EXPECT_EQ(static_cast<std::size_t>(tail.firstStage.back()), tail.stages.size());
    EXPECT_TRUE(std::is_sorted(tail.firstStage.begin(), tail.firstStage.end()));
    using Kind = TailStage::Kind;
    const auto count = [&](Kind kind) {
      return std::count_if(tail.stages.begin(), tail.stages.end(),
                           [&](const TailStage& stage) { return stage.kind == kind; });
    };
    EXPECT_EQ(count(Kind::transform), in);
    EXPECT_EQ(count(Kind::output), out);
    EXPECT_EQ(count(Kind::low), in * out);
    EXPECT_EQ(count(Kind::high), in * out * tail.numSlices);
    EXPECT_LE(plan.work().worst, 2.5 * plan.work().mean);
    // Less work than one engine.
    options.tail = kTailOff;
    EXPECT_LT(plan.work().mean, StreamPlan(in, out, shape, options).work().mean);
  }
}

TEST(TailPlan, IsForNothingWhereOneEngineIsCheaper) {
  for (const double seconds : {0.01, 0.1}) {
    const auto length = static_cast<int>(seconds * 48000);
    const StreamPlan plan(2, 2, {2, 2, true, {length, length}},
                          withTail(512, kTailAuto));
    EXPECT_FALSE(plan.tail());
  }
}

TEST(TailPlan, TellsTheMemoryToTheByte) {
  Random random(11);
  const Responses responses{2, 2, false, noise(random, 4, 20000)};
  for (const int tail : {kTailOff, 512, 2048}) {
    const StreamPlan plan(2, 2, responses.shape(), withTail(64, tail));
    const Stream stream(plan, responses);
    EXPECT_EQ(stream.areas().bytes(), plan.streamBytes());
    EXPECT_EQ(stream.sets()->areas().bytes(), plan.setBytes());
  }
}

TEST(TailPlan, RefusesBlockLengthsThatCannotBe) {
  const ResponseShape shape{1, 1, false, {10000}};
  for (const int tail : {1, 63, 64, 96, 1 << 18, -2}) {
    const std::string refusal =
        refusalOf([&] { StreamPlan(1, 1, shape, withTail(64, tail)); });
    for (const std::string& part : {std::to_string(tail), std::string("128")}) {
      EXPECT_NE(refusal.find(part), std::string::npos) << refusal;
    }
  }
}

// Truncation of the upper band: the head keeps it, and the tail's blocks lose it when
// they are old enough.
TEST(Tail, TruncatesTheUpperBandOfOldBlocksOnly) {
  constexpr int kBlockLen = 8;
  constexpr int kTailLen = 64;
  StreamOptions options = withTail(kBlockLen, kTailLen);
  options.hfTruncate = true;
  const int length = 40 * kTailLen;
  const StreamPlan plan(1, 1, {1, 1, false, {length}}, options);
  ASSERT_TRUE(plan.tail());
  const int kept = plan.upperBandLen();
  EXPECT_EQ(kept, 2 * kTailLen - kBlockLen + 32 * kTailLen);
  // A carrier in the upper half of the band, in a response of one block's length.
  const auto carrierAt = [&](int first) {
    std::vector<float> samples(static_cast<std::size_t>(length));
    for (int i = 0; i < kTailLen; ++i) {
      samples[static_cast<std::size_t>(first + i)] = i % 2 == 0 ? 0.01F : -0.01F;
    }
    return samples;
  };
  const auto energyOf = [&](int first) {
    Stream stream(plan, Responses{1, 1, false, {carrierAt(first)}});
    Planar in = zeros(1, length + 1000);
    in[0][0] = 1.0F;
    Planar out = zeros(1, length + 1000);
    play(stream, in, out, {300});
    double energy = 0.0;
    for (const float sample : out[0]) energy += double{sample} * double{sample};
    return energy;
  };
  const double whole = kTailLen * 1e-4;
  EXPECT_NEAR(energyOf(0), whole, 1e-3 * whole);
  EXPECT_NEAR(energyOf(kept - kTailLen), whole, 1e-3 * whole);
  EXPECT_LT(energyOf(kept), 0.1 * whole);
}

TEST(PartitionSets, ServeManyStreamsAndRefuseOthers) {
  Random random(13);
  const Case c = caseOf(kChannels[2], random, 32, 128);
  const StreamPlan plan(2, 2, c.responses.shape(), c.options);
  const auto sets = buildPartitionSets(plan, c.responses);
  const Planar in = noise(random, 2, 3000);
  Planar expected = zeros(2, 3000);
  Stream own(plan, c.responses);
  play(own, in, expected, {77});
  Stream first(plan, sets);
  StreamOptions otherGain = c.options;
  otherGain.dryGain = 0.5F;
  Stream second(StreamPlan(2, 2, c.responses.shape(), otherGain), sets);
  EXPECT_EQ(sets.use_count(), 3);
  Planar out = zeros(2, 3000);
  Planar other = out;
  play(second, in, other, {50});
  play(first, in, out, {77});
  EXPECT_EQ(out, expected);
  EXPECT_NE(other, expected);

  StreamOptions longer = c.options;
  longer.tail = 256;
  const StreamPlan unlike(2, 2, c.responses.shape(), longer);
  EXPECT_NE(refusalOf([&] { Stream(unlike, sets); }).find("another plan"),
            std::string::npos);
  Responses tooLong = c.responses;
  tooLong.samples[1].resize(tooLong.samples[1].size() + 1);
  EXPECT_NE(refusalOf([&] { buildPartitionSets(plan, tooLong); }).find("129 samples"),
            std::string::npos);
}

}  // namespace
}  // namespace ulmar::host
