// The signal path of an instance: what goes into the stream, what comes out of it, and
// the dry signal beside it.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "plugins/ulmar.lv2/ramp.h"
#include "plugins/ulmar.lv2/response_request.h"
#include "ulmar/host/fading_stream.h"

namespace ulmar::lv2 {

/// Linear.
struct Mix {
  float dry = 1.0F;
  float wet = 0.25F;
  float crossfeed = 0.0F;
  bool enabled = true;
};

/// Plays streams of one block length, which is its latency. process() and what stands
/// below it belong to the real-time thread: no allocation, lock, wait or system call.
class Player {
 public:
  Player(const Setting& setting, std::unique_ptr<host::Stream> stream);

  int latency() const { return latency_; }

  /// For the thread that builds streams, as FadingStream has them. A stream of another
  /// block length is not taken: it needs a player of its own.
  std::unique_ptr<host::Stream> handOver(std::unique_ptr<host::Stream> next) {
    return stream_.handOver(std::move(next));
  }
  std::unique_ptr<host::Stream> takeBack() { return stream_.takeBack(); }

  /// Silence in all memories, while nothing plays. The next call's mix is there at
  /// once.
  void reset();
  /// Fades its input in, so that neither it nor its echoes start with a step.
  void startFaded();

  /// Of any number of frames; an output may be the buffer of an input. What is no
  /// finite number at the input counts as silence.
  void process(const float* const* in, float* const* out, int frames, const Mix& mix);

  /// Fades to silence from the next call on.
  void fadeOut() { master_.setTarget(0.0F); }
  bool silent() const { return master_.atTarget() && master_.value() == 0.0F; }
  /// Whether a handed-over stream runs beside the one before it.
  bool fading() const { return stream_.fading(); }

 private:
  static constexpr int kChunk = 256;
  using Samples = std::array<float, kChunk>;

  void processChunk(const float* const* in, float* const* out, int frames);
  void takeInput(const float* const* in, int frames);
  void feedAcross(int frames);
  void mixOutput(float* const* out, int frames);

  Variant variant_;
  int latency_;
  host::FadingStream stream_;
  Ramp dry_;
  Ramp wet_;
  Ramp crossfeed_;
  Ramp enabled_;
  Ramp entry_;                              // of the input
  Ramp master_;                             // of the output
  bool fresh_ = true;                       // since reset()
  std::vector<std::vector<float>> delays_;  // [input][latency], rings
  std::size_t delayPos_ = 0;
  std::array<Samples, kMaxPorts> input_{};    // finite
  std::array<Samples, kMaxPorts> delayed_{};  // the same, a latency later
  std::array<Samples, 2> feed_{};             // of the stream
  std::array<Samples, kMaxPorts> wetOut_{};   // from it, in the library's order
};

}  // namespace ulmar::lv2
