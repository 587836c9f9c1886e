#include <iostream>

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
  WholeStream stream(params, numOutputs, responses);
  feedNoise(engine, workload);
  feedNoise(stream, workload);
  const Timing timing(std::vector<Convolver*>{&stream, &engine},
                      4 * engine.geometry().numChunks, kNumRounds);
  print("whole/" + name, timing.ratio(0, 1));
}

// Many streams, a block of each in turn, as a mix of as many tracks asks for them.
class Tracks final : public Convolver {
 public:
  Tracks(int count, const Workload& workload, bool hfTruncate) {
    const host::Responses responses = noiseResponses(workload);
    const ParamStruct params = paramsFor(workload, responses, hfTruncate);
    for (int track = 0; track < count; ++track) {
      streams_.push_back(
          std::make_unique<WholeStream>(params, workload.numOutputs, responses));
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

 private:
  std::vector<std::unique_ptr<WholeStream>> streams_;
};

// Streams that one core carries in real time, out of `count` that share the caches.
void measureTracks(const std::string& name, int count, bool hfTruncate) {
  std::cerr << name << '\n';
  const Workload workload{2, 2, 2.0, 512};
  Tracks tracks(count, workload, hfTruncate);
  feedNoise(tracks, workload);
  constexpr int kPeriod = 16;
  const Timing timing(std::vector<Convolver*>{&tracks}, kPeriod, kNumTrackRounds);
  const double blockSeconds = static_cast<double>(workload.blockLen) / kSampleRate;
  print(name, count * blockSeconds / timing.mean(0));
}

}  // namespace

void measureStreams() {
  measureWhole("stereo", {2, 2, 2.0, 512}, 2);
  // The decoder takes three channels, W, X and Y, from the engine.
  measureWhole("decoding", {2, 3, 2.0, 512}, 5);
  for (const int count : {1, 40}) {
    const std::string name = "streams/" + std::to_string(count);
    measureTracks(name, count, false);
    measureTracks(name + "-hf", count, true);
  }
}

}  // namespace ulmar::bench
