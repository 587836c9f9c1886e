#include <iostream>
#include <set>

#include "bench/figures.h"
#include "bench/rounds.h"
#include "bench/ulmar.h"

namespace ulmar::bench {
namespace {

constexpr int kNumRounds = 101;
constexpr int kNumTrackRounds = 15;

// UlmarProc with numOutputs channels over its engine alone.
void measureWhole(const std::string& name, const Workload& workload, int numOutputs) {
  std::cerr << name << '\n';
  const host::Responses responses = noiseResponses(workload);
  ParamStruct params = paramsFor(workload, responses, false);
  // Within the stable range; the decoder's cost does not depend on the frequency.
  params.xoverCfs = {-0.95F, 0.93F, -1.93F};
  Engine engine(params, responses);
  const host::StreamPlan plan(workload.numInputs, numOutputs, params);
  InterleavedStream stream(plan, host::buildPartitionSets(plan, responses));
  feedNoise(engine, workload);
  feedNoise(stream, workload);
  const Timing timing(std::vector<Convolver*>{&stream, &engine}, kNumRounds);
  print("whole/" + name, timing.ratio(0, 1));
}

// Many streams, a block of each in turn, as a mix of as many tracks asks for them.
class Tracks final : public Convolver {
 public:
  /// shared: one response for all, held once; else each holds a copy of its own.
  Tracks(int count, const host::StreamPlan& plan, const host::Responses& responses,
         bool shared) {
    auto sets = host::buildPartitionSets(plan, responses);
    for (int track = 0; track < count; ++track) {
      streams_.push_back(std::make_unique<InterleavedStream>(plan, sets));
      if (!shared) sets = host::buildPartitionSets(plan, responses);
    }
  }

  void feed(int input, std::span<const float> block) override {
    for (const auto& stream : streams_) stream->feed(input, block);
  }
  void fetch(int output, std::span<float> block) const override {
    streams_[0]->fetch(output, block);
  }
  void run() override {
    for (const auto& stream : streams_) stream->run();
  }
  int period() const override { return streams_[0]->period(); }
  int lag() const override { return streams_[0]->lag(); }

  /// Of all streams and sets.
  std::int64_t bytes() const {
    std::set<const host::PartitionSets*> sets;
    std::int64_t sum = 0;
    for (const auto& stream : streams_) {
      sum += stream->stream().areas().bytes();
      if (sets.insert(stream->stream().sets().get()).second) {
        sum += stream->stream().sets()->areas().bytes();
      }
    }
    return sum;
  }

 private:
  std::vector<std::unique_ptr<InterleavedStream>> streams_;
};

// Streams that one core carries in real time, out of `count` that share the caches: as
// they are planned and with one response, and each with one engine and sets of its own.
void measureTracks(int count) {
  const Workload workload{2, 2, 2.0, 512};
  const host::Responses responses = noiseResponses(workload);
  const auto plan = [&](bool hfTruncate, int tail) {
    host::StreamOptions options;
    options.blockLen = workload.blockLen;
    options.hfTruncate = hfTruncate;
    options.tail = tail;
    options.wetGain = 1e-3F;
    options.dryGain = 0.5F;
    return host::StreamPlan(workload.numInputs, workload.numOutputs, responses.shape(),
                            options);
  };
  struct Kind {
    const char* name;
    bool shared;
    bool hfTruncate;
    int tail;
  };
  constexpr Kind kKinds[] = {{"own-one", false, false, host::kTailOff},
                             {"own-planned", false, false, host::kTailAuto},
                             {"shared-one", true, false, host::kTailOff},
                             {"shared-planned", true, false, host::kTailAuto},
                             {"own-one-hf", false, true, host::kTailOff}};
  std::vector<std::unique_ptr<Tracks>> owned;
  std::vector<Convolver*> all;
  const std::string prefix = "streams/" + std::to_string(count) + "/";
  std::cerr << prefix << '\n';
  for (const auto& [name, shared, hfTruncate, tail] : kKinds) {
    owned.push_back(
        std::make_unique<Tracks>(count, plan(hfTruncate, tail), responses, shared));
    feedNoise(*owned.back(), workload);
    all.push_back(owned.back().get());
    print(prefix + name + "/bytes", static_cast<double>(owned.back()->bytes()));
  }
  const Timing timing(all, kNumTrackRounds);
  const double blockSeconds = static_cast<double>(workload.blockLen) / kSampleRate;
  for (std::size_t kind = 0; kind < all.size(); ++kind) {
    print(prefix + kKinds[kind].name, count * blockSeconds / timing.mean(kind));
    print(prefix + kKinds[kind].name + "/gain", timing.ratio(0, kind));
  }
}

}  // namespace

void measureStreams() {
  measureWhole("stereo", {2, 2, 2.0, 512}, 2);
  // The decoder takes three channels, W, X and Y, from the engine.
  measureWhole("decoding", {2, 3, 2.0, 512}, 5);
  for (const int count : {1, 40}) measureTracks(count);
}

}  // namespace ulmar::bench
