// What the picture of a rendering is drawn from, recorded while it runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "apps/draw/plot.h"
#include "ulmar/host/planar.h"
#include "ulmar/host/stream.h"

namespace ulmar::render {

/// The lowest and the highest sample of each channel of a signal and the mean power of
/// all together, in at most 1100 equal parts of its time.
class Envelope {
 public:
  Envelope(std::size_t numChannels, std::int64_t numFrames, int sampleRate);

  /// The next frames [first, end) of every channel.
  void add(const float* const* channels, int first, int end);
  void add(const Planar& channels, std::int64_t first, std::int64_t end);

  std::size_t numChannels() const { return numChannels_; }
  /// Over s, of a channel.
  std::vector<draw::Extent> extents(std::size_t channel) const;
  /// Mean power of all channels in dB against full scale, over s.
  std::vector<draw::Point2> levels() const;
  double peak() const;

 private:
  struct Column {
    float low = 0.0F;
    float high = 0.0F;
    double energy = 0.0;
    std::int64_t count = 0;  // of samples
  };
  double timeOf(std::size_t column) const;

  std::size_t numChannels_;
  std::int64_t numFrames_;
  int sampleRate_;
  std::size_t numColumns_;
  std::vector<Column> columns_;  // [channel][column]
  std::int64_t pos_ = 0;
};

struct Trace {
  /// The input as the streams take it, and the channels that they render.
  Trace(Envelope ofInput, Envelope ofOutput)
      : input(std::move(ofInput)), output(std::move(ofOutput)) {}

  Envelope input;
  Envelope output;
  /// Processor time of each call that completed a block, of all parts of the plan
  /// together.
  std::vector<float> blockSeconds;

  /// Before each part of a stretch.
  void startPart() {
    // Parts are cut alike: what follows adds to the same blocks.
    if (part_++ == 0) firstBlock_ = blockSeconds.size();
    nextBlock_ = firstBlock_;
  }
  void startStretch() { part_ = 0; }
  void addBlock(double seconds) {
    if (nextBlock_ == blockSeconds.size()) blockSeconds.push_back(0.0F);
    blockSeconds[nextBlock_++] += static_cast<float>(seconds);
  }

 private:
  int part_ = 0;
  std::size_t firstBlock_ = 0;
  std::size_t nextBlock_ = 0;
};

/// As one call, and the same bits, but in calls that end with the blocks, so that each
/// of them is timed by itself. numInputs, numOutputs: of the stream.
void processTraced(host::Stream& stream, const float* const* in, int numInputs,
                   float* const* out, int numOutputs, int frames, Trace& trace);

}  // namespace ulmar::render
