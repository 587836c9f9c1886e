// A response exchanged while a stream plays: no click, nothing lost, nothing freed in
// the real-time thread.
#include "ulmar/host/fading_stream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <thread>

#include "tests/support/random.h"
#include "tests/support/scratch_dir.h"

namespace ulmar::host {
namespace {

using test::Random;
using test::refusalOf;

constexpr int kBlockLen = 32;

// A stereo stream whose response is one tap of `gain`, heard after `delay` frames more
// than the latency, and a second engine's worth of silence.
std::unique_ptr<Stream> tapStream(float gain, int delay, float dryGain = 0.0F,
                                  int dryDelay = 0) {
  std::vector<float> samples(2000);
  samples[static_cast<std::size_t>(delay)] = gain;
  const Responses responses{2, 2, true, {samples, samples}};
  StreamOptions options;
  options.blockLen = kBlockLen;
  options.tail = 256;
  options.dryGain = dryGain;
  options.dryDelay = dryDelay;
  return std::make_unique<Stream>(StreamPlan(2, 2, responses.shape(), options),
                                  responses);
}

std::vector<float> sine(int frames, double period) {
  std::vector<float> samples;
  for (int t = 0; t < frames; ++t) {
    samples.push_back(
        static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * t / period)));
  }
  return samples;
}

// Plays the same signal on both channels; at frame `at` hands `next` over. In place.
std::vector<float> play(FadingStream& stream, const std::vector<float>& in, int at,
                        std::unique_ptr<Stream> next, int callLen) {
  std::vector<float> left = in;
  std::vector<float> right = in;
  const int frames = static_cast<int>(in.size());
  for (int t = 0; t < frames; t += callLen) {
    if (next != nullptr && t >= at) {
      EXPECT_EQ(stream.handOver(std::move(next)), nullptr);
    }
    float* const both[] = {left.data() + t, right.data() + t};
    stream.process(both, both, std::min(callLen, frames - t));
  }
  EXPECT_EQ(left, right);
  return left;
}

float largestStep(const std::vector<float>& samples, int from, int to) {
  float largest = 0.0F;
  for (int t = from + 1; t < to; ++t) {
    largest = std::max(largest, std::abs(samples[static_cast<std::size_t>(t)] -
                                         samples[static_cast<std::size_t>(t - 1)]));
  }
  return largest;
}

// The largest step from sample to sample in a change is no larger than the larger of
// the two steady signals has, and what the fade itself adds.
TEST(FadingStream, ChangesWithoutAClick) {
  constexpr int kFrames = 12000;
  constexpr int kAt = 6000;
  constexpr int kFadeLen = 1000;
  const std::vector<float> in = sine(kFrames, 100.0);
  for (const FadeLaw law : {FadeLaw::equalGain, FadeLaw::equalPower}) {
    for (const int callLen : {1, 37, 512, 3000}) {
      SCOPED_TRACE(callLen);
      FadingStream stream(tapStream(1.0F, 0), kFadeLen, law);
      // Out of phase, and heard as late as the response allows.
      const std::vector<float> out =
          play(stream, in, kAt, tapStream(-0.9F, 1500), callLen);
      const float before = largestStep(out, 4000, kAt);
      // Both sines reach 0.5, and the gains change by pi / 2 over the fade at most.
      const float fade = 2.0F * 0.5F * 1.6F / kFadeLen;
      EXPECT_LT(largestStep(out, kAt - 10, kAt + 5000), 1.42F * before + fade);
      EXPECT_LT(largestStep(out, kAt - 10, kAt + 5000), 0.06F);
      EXPECT_NE(stream.takeBack(), nullptr);
      EXPECT_EQ(stream.takeBack(), nullptr);
      EXPECT_FALSE(stream.fading());
      EXPECT_NEAR(out.back(), -0.9F * in[kFrames - 1 - 1500 - kBlockLen], 1e-5F);
    }
  }
}

// Before the fade the bits are the old stream's; after it, when nothing that was faded
// in rings any more, the new one's. A stream that is exchanged for its like is not
// heard to change at all.
TEST(FadingStream, IsExactOutsideTheFade) {
  Random random(3);
  const std::vector<float> in = random.signal(9000);
  constexpr int kAt = 4096;
  constexpr int kFadeLen = 700;
  FadingStream stream(tapStream(0.5F, 3, 0.25F), kFadeLen, FadeLaw::equalGain);
  const std::vector<float> out = play(stream, in, kAt, tapStream(0.25F, 40, 0.25F), 64);
  FadingStream old(tapStream(0.5F, 3, 0.25F), 1, FadeLaw::equalGain);
  const std::vector<float> before = play(old, in, 0, nullptr, 64);
  FadingStream fresh(tapStream(0.25F, 40, 0.25F), 1, FadeLaw::equalGain);
  const std::vector<float> after =
      play(fresh, {in.begin() + kAt, in.end()}, 0, nullptr, 64);
  constexpr int kFadeStart = kAt + kFadeLen + kBlockLen;
  constexpr int kRungOut = kFadeStart + kFadeLen + 2000 + 2 * 256;
  for (int t = 0; t < 9000; ++t) {
    const auto at = static_cast<std::size_t>(t);
    if (t < kFadeStart) {
      ASSERT_EQ(out[at], before[at]) << t;
    } else if (t >= kRungOut) {
      ASSERT_EQ(out[at], after[at - kAt]) << t;
    }
  }

  // Alike, and with no more history than the fade waits for.
  FadingStream same(tapStream(0.5F, 0, 0.25F, 90), kFadeLen, FadeLaw::equalGain);
  FadingStream alone(tapStream(0.5F, 0, 0.25F, 90), kFadeLen, FadeLaw::equalGain);
  const std::vector<float> exchanged =
      play(same, in, kAt, tapStream(0.5F, 0, 0.25F, 90), 64);
  const std::vector<float> expected = play(alone, in, 0, nullptr, 64);
  for (std::size_t t = 0; t < expected.size(); ++t) {
    // Streams whose blocks differ in phase round differently.
    ASSERT_NEAR(exchanged[t], expected[t], 2e-7F) << t;
  }
}

TEST(FadingStream, PlaysTheLatestOfManyAndGivesAllBack) {
  FadingStream stream(tapStream(0.1F, 0), 100, FadeLaw::equalPower);
  std::vector<float> left(64, 0.5F);
  std::vector<float> right = left;
  float* const both[] = {left.data(), right.data()};
  const auto call = [&] {
    std::fill(left.begin(), left.end(), 0.5F);
    std::fill(right.begin(), right.end(), 0.5F);
    stream.process(both, both, 64);
  };
  call();
  EXPECT_EQ(stream.handOver(tapStream(0.2F, 0)), nullptr);
  auto replaced = stream.handOver(tapStream(0.3F, 0));
  ASSERT_NE(replaced, nullptr);  // never played
  call();
  EXPECT_TRUE(stream.fading());
  EXPECT_EQ(stream.takeBack(), nullptr);
  EXPECT_EQ(stream.handOver(tapStream(0.4F, 0)), nullptr);
  for (int k = 0; k < 12; ++k) call();
  // The next fade waits until the old stream has been taken back.
  EXPECT_FALSE(stream.fading());
  EXPECT_NEAR(left[60], 0.15F, 1e-6F);
  EXPECT_NE(stream.takeBack(), nullptr);
  for (int k = 0; k < 12; ++k) call();
  EXPECT_NEAR(left[60], 0.2F, 1e-6F);
  EXPECT_NE(stream.takeBack(), nullptr);
}

TEST(FadingStream, RefusesWhatDoesNotFit) {
  FadingStream stream(tapStream(1.0F, 0), 10, FadeLaw::equalGain);
  const auto streamOf = [](int in, int out, int blockLen) {
    StreamOptions options;
    options.blockLen = blockLen;
    const Responses responses{in, out, true,
                              Planar(static_cast<std::size_t>(out), {1.0F})};
    return std::make_unique<Stream>(StreamPlan(in, out, responses.shape(), options),
                                    responses);
  };
  EXPECT_NE(
      refusalOf([&] { stream.handOver(streamOf(1, 2, kBlockLen)); }).find("1 > 2"),
      std::string::npos);
  EXPECT_NE(refusalOf([&] { stream.handOver(streamOf(2, 2, 64)); }).find("64 frames"),
            std::string::npos);
  EXPECT_NE(refusalOf([&] {
              FadingStream(tapStream(1, 0), 0, FadeLaw::equalGain);
            }).find("limits are 1"),
            std::string::npos);
}

// One thread plays, another hands over and frees: the sanitizers watch.
TEST(FadingStream, IsHandedStreamsByAnotherThread) {
  FadingStream stream(tapStream(0.1F, 0), 50, FadeLaw::equalGain);
  std::atomic<bool> done{false};
  std::thread player([&] {
    std::vector<float> left(48);
    std::vector<float> right(48);
    float* const both[] = {left.data(), right.data()};
    while (!done) {
      std::fill(left.begin(), left.end(), 0.5F);
      std::fill(right.begin(), right.end(), 0.5F);
      stream.process(both, both, 48);
      EXPECT_LE(std::abs(left[0]), 0.51F);
    }
  });
  int taken = 0;
  for (int k = 0; k < 100; ++k) {
    stream.handOver(tapStream(static_cast<float>(k) / 100.0F, k));
    for (int tries = 0; tries < 1000 && taken <= k / 2; ++tries) {
      if (stream.takeBack() != nullptr) ++taken;
      std::this_thread::yield();
    }
  }
  done = true;
  player.join();
  EXPECT_GT(taken, 0);
}

}  // namespace
}  // namespace ulmar::host
