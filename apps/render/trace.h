// What the picture of a rendering is drawn from, recorded while it runs.
#pragma once

#include <cstdint>
#include <vector>

#include "apps/draw/plot.h"
#include "ulmar/host/planar.h"
#include "ulmar/host/stream.h"

namespace ulmar::render {

/// The lowest and the highest sample and the mean power of all channels of a signal
/// together, in at most 1100 equal parts of its time.
class Envelope {
 public:
  Envelope(std::int64_t numFrames, int sampleRate);

  /// The next frames [first, end) of every channel.
  void add(const float* const* channels, int numChannels, int first, int end);
  void add(const Planar& channels, std::int64_t first, std::int64_t end);

  /// Over s, of all channels.
  std::vector<draw::Extent> extents() const;
  /// Mean power in dB against full scale, over s.
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

  std::int64_t numFrames_;
  int sampleRate_;
  std::vector<Column> columns_;
  std::int64_t pos_ = 0;
};

struct Trace {
  Trace(std::int64_t inputFrames, std::int64_t outFrames, int sampleRate)
      : input(inputFrames, sampleRate), output(outFrames, sampleRate) {}

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
