// Streams of two engines for the tests of manners: of many sizes and kinds, and a fade
// between two of them.
#pragma once

#include <memory>
#include <vector>

#include "tests/support/random.h"
#include "ulmar/host/fading_stream.h"
#include "ulmar/host/stream.h"

namespace ulmar::test {

struct TwoEngines {
  const char* name;
  int in, out;
  int numInputs, numOutputs;
  bool perOutput, fold, hfTruncate;
  int blockLen, tail, numTailBlocks;
};
inline constexpr TwoEngines kTwoEngines[] = {
    {"mono", 1, 1, 1, 1, false, false, false, 16, 64, 5},
    {"true stereo", 2, 2, 2, 2, false, false, false, 32, 512, 40},
    {"stereo, truncated", 2, 2, 2, 2, false, false, true, 16, 256, 60},
    {"stereo, decoded in mid/side", 2, 5, 3, 3, true, false, false, 64, 128, 9},
    {"six, folded and decoded", 6, 6, 2, 3, false, true, false, 16, 128, 33},
};

inline host::Responses responsesOf(const TwoEngines& kind, Random& random) {
  host::Responses responses{kind.numInputs, kind.numOutputs, kind.perOutput, {}};
  const int numSets = kind.numOutputs * (kind.perOutput ? 1 : kind.numInputs);
  for (int set = 0; set < numSets; ++set) {
    responses.samples.push_back(random.signal(kind.tail * (kind.numTailBlocks + 2)));
  }
  return responses;
}

inline host::StreamPlan planOf(const TwoEngines& kind,
                               const host::Responses& responses) {
  host::StreamOptions options;
  options.blockLen = kind.blockLen;
  options.tail = kind.tail;
  options.hfTruncate = kind.hfTruncate;
  options.foldToStereo = kind.fold;
  options.crossover = {-0.375F, 0.25F, -0.5F};
  options.wetGain = 0x1p-8F;
  options.dryGain = 0.25F;
  return {kind.in, kind.out, responses.shape(), options};
}

/// Plays noise through three tail blocks and more, in calls of odd sizes, and exchanges
/// the response on the way. Everything that it needs is there before play().
class PlayedStreams {
 public:
  explicit PlayedStreams(const TwoEngines& kind)
      : in_(static_cast<std::size_t>(kind.in)),
        out_(static_cast<std::size_t>(kind.out)) {
    Random random(67);
    const host::Responses responses = responsesOf(kind, random);
    const host::StreamPlan plan = planOf(kind, responses);
    const auto sets = host::buildPartitionSets(plan, responses);
    frames_ = 5 * kind.tail;
    for (auto& channel : in_) channel = random.signal(frames_);
    for (auto& channel : out_) channel.resize(static_cast<std::size_t>(frames_));
    next_ = std::make_unique<host::Stream>(plan, sets);
    stream_ = std::make_unique<host::FadingStream>(
        std::make_unique<host::Stream>(plan, sets), 50, host::FadeLaw::equalPower);
  }

  /// Returns whether the exchange took place.
  bool play() {
    bool faded = false;
    for (int t = 0; t < frames_; t += 23) {
      const float* ins[6] = {};
      float* outs[6] = {};
      for (std::size_t k = 0; k < in_.size(); ++k) ins[k] = in_[k].data() + t;
      for (std::size_t k = 0; k < out_.size(); ++k) outs[k] = out_[k].data() + t;
      if (next_ != nullptr && t > frames_ / 3) {
        stream_->handOver(std::move(next_)).release();
      }
      stream_->process(ins, outs, std::min(23, frames_ - t));
      faded = faded || stream_->fading();
    }
    return faded && !stream_->fading();
  }

 private:
  std::vector<std::vector<float>> in_;
  std::vector<std::vector<float>> out_;
  int frames_ = 0;
  std::unique_ptr<host::Stream> next_;
  std::unique_ptr<host::FadingStream> stream_;
};

}  // namespace ulmar::test
