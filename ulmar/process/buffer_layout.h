// Whether a call's buffers may be processed channel by channel over a run of frames.
// The result must be that of single frames: all inputs of a frame are read before its
// outputs are written, and of two outputs in one place the later stays. A run gives
// that result if no sample of one channel has the same address as a sample of another
// channel in another frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace ulmar {

/// One channel's place in the host's buffer.
struct ChannelCursor {
  float* sample;
  std::ptrdiff_t step;

  void advance(int count) noexcept { sample += step * count; }
};

namespace layout {

struct Range {
  std::intptr_t first;
  std::intptr_t end;
};

/// The bytes from a channel's lowest to its highest sample of numFrames.
inline Range bytesOf(const ChannelCursor& channel, std::ptrdiff_t numFrames) noexcept {
  const auto start = reinterpret_cast<std::intptr_t>(channel.sample);
  const std::intptr_t span =
      channel.step * (numFrames - 1) * static_cast<std::intptr_t>(sizeof(float));
  const auto size = static_cast<std::intptr_t>(sizeof(float));
  return span < 0 ? Range{start + span, start + size}
                  : Range{start, start + span + size};
}

}  // namespace layout

/// True if samples of the two channels have the same address in the same frame only, or
/// never: separate buffers, two channels of one interleaved buffer, or one channel.
inline bool framesStayApart(const ChannelCursor& a, const ChannelCursor& b,
                            std::ptrdiff_t numFrames) noexcept {
  const layout::Range bytesA = layout::bytesOf(a, numFrames);
  const layout::Range bytesB = layout::bytesOf(b, numFrames);
  if (bytesA.end <= bytesB.first || bytesB.end <= bytesA.first) return true;
  const std::intptr_t distance = reinterpret_cast<std::intptr_t>(a.sample) -
                                 reinterpret_cast<std::intptr_t>(b.sample);
  const auto sampleBytes = static_cast<std::intptr_t>(sizeof(float));
  return a.step == b.step && distance % sampleBytes == 0 &&
         std::abs(distance) < std::abs(a.step) * sampleBytes;
}

/// True for every pair of an input and an output and every pair of outputs.
template <int In, int Out>
bool runsKeepFrameOrder(const ChannelCursor (&ins)[In],
                        const ChannelCursor (&outs)[Out],
                        std::ptrdiff_t numFrames) noexcept {
  for (int j = 0; j < Out; ++j) {
    for (const ChannelCursor& in : ins) {
      if (!framesStayApart(in, outs[j], numFrames)) return false;
    }
    for (int k = 0; k < j; ++k) {
      if (!framesStayApart(outs[k], outs[j], numFrames)) return false;
    }
  }
  return true;
}

}  // namespace ulmar
