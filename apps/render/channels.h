// Between the interleaved channels of files and the library's channels in their own
// order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "apps/render/render_plan.h"
#include "ulmar/audio/audio_file.h"
#include "ulmar/host/planar.h"

namespace ulmar::render {

/// Frames that are read, processed and written at a time: long enough to make the cost
/// of a call vanish, short enough for a smooth progress bar and a small memory.
inline constexpr int kBufferFrames = 8192;

/// The low-frequency channel among the library's, which copies it.
inline constexpr std::size_t kLowFrequency = 5;

/// The input as the streams take it, then silence.
class Source {
 public:
  /// input: at its start.
  Source(const RenderPlan& plan, audio::AudioReader& input);

  /// The next frames, at most kBufferFrames, of each of Routing::channelsRead().
  const float* const* next(int frames);

  /// The frames of the last call as the streams take them, before any delay.
  const float* const* undelayed() const { return undelayed_.data(); }

 private:
  /// A channel of the file, and how much of it.
  struct Share {
    std::size_t channel;
    float gain;
  };
  struct Channel {
    std::vector<Share> shares;
    std::size_t delay = 0;       // in frames
    std::vector<float> samples;  // from a delay before the next frame on
  };
  void take(Channel& channel, std::size_t given) const;

  audio::AudioReader& input_;
  std::size_t numFileChannels_;
  std::size_t lastFrames_ = 0;  // of the last call
  std::vector<float> interleaved_;
  std::vector<Channel> channels_;
  std::vector<const float*> starts_;
  std::vector<const float*> undelayed_;
};

/// Linear.
struct ChannelLevel {
  double peak = 0.0;
  double rms = 0.0;  // over the whole file
};

/// The stream's output on its way into the file.
class Sink {
 public:
  /// gain: linear, of every sample. writer: null to find the levels only.
  Sink(const RenderPlan& plan, double gain, audio::AudioWriter* writer);

  /// Writes frames [first, end) of the stream's output channels. A low-frequency
  /// channel that the stream does not have stays silent.
  void write(const Planar& channels, std::int64_t first, std::int64_t end);

  /// Of each channel of the file, as written.
  std::vector<ChannelLevel> levels() const;
  /// The file's channel of each of the stream's.
  const std::vector<int>& order() const { return order_; }

 private:
  /// Of a frame of the file, with the fade of its end.
  float gainAt(std::int64_t frame) const;

  audio::AudioWriter* writer_;
  double gain_;
  std::vector<int> order_;
  std::vector<float> interleaved_;
  std::vector<ChannelLevel> sums_;  // rms: the sum of squares so far
  std::int64_t fadeStart_;          // the frame at which the end starts to fade
  std::int64_t fadeFrames_;
  std::int64_t written_ = 0;
};

}  // namespace ulmar::render
