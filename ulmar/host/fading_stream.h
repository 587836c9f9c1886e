// A stream whose response can be exchanged while it plays.
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "ulmar/host/stream.h"

namespace ulmar::host {

/// How the gains of two streams go together over a fade. equalGain, for correlated
/// outputs: the gains add up to 1, and a dry signal that both have keeps its level.
/// equalPower, for uncorrelated outputs: their squares do.
enum class FadeLaw { equalGain, equalPower };

/// Plays one stream until another is handed over, and fades to that. The new stream
/// first runs in unheard: its input is faded in over the length of a fade, since a
/// sudden start would click once per echo of the new response, and its latency and dry
/// delay are filled. Then the output fades from the old stream to the new, and the old
/// one can be taken back. While both run a call costs what both cost.
///
/// process() belongs to the real-time thread: no allocation, lock, wait or system call,
/// and nothing is freed there. handOver() and takeBack() belong to one other thread,
/// which prepares and frees streams and may call them at any time.
class FadingStream {
 public:
  /// fadeLen: frames, 1 to kMaxFadeLen. Throws Error for another.
  FadingStream(std::unique_ptr<Stream> first, int fadeLen, FadeLaw law);
  ~FadingStream();
  FadingStream(const FadingStream&) = delete;
  FadingStream& operator=(const FadingStream&) = delete;

  static constexpr int kMaxFadeLen = 1 << 20;

  /// `next` plays as soon as no fade goes on and the stream of the last one has been
  /// taken back. Returns one that was handed over before and will not be played any
  /// more, or null. Throws Error, and leaves all as it was, unless `next` has the same
  /// channels and latency.
  std::unique_ptr<Stream> handOver(std::unique_ptr<Stream> next);

  /// The stream that the last fade ended, or null: to be freed, or used again after
  /// reset().
  std::unique_ptr<Stream> takeBack();

  /// Planar, as Stream::process. In place as well.
  void process(const float* const* in, float* const* out, int frames);

  /// For the real-time thread: the stream that plays, or fades out; and whether a
  /// handed-over one runs beside it.
  Stream& current() { return *current_; }
  bool fading() const { return next_ != nullptr; }
  /// Calls with each stream that plays, as to set its gains.
  template <class Call>
  void forEach(const Call& call) {
    call(*current_);
    if (next_ != nullptr) call(*next_);
  }

  /// Frames, of every stream that plays here. For any thread.
  int latency() const { return latency_; }

 private:
  void begin();
  void playBoth(const float* const* in, float* const* out, int start, int frames);

  std::unique_ptr<Stream> current_;
  std::unique_ptr<Stream> next_;
  int pos_ = 0;    // frames into the fade; below 0 the new stream is not heard yet
  int runIn_ = 0;  // frames that it runs before it is heard
  int latency_;    // frames, of every stream that plays here
  FadeLaw law_;
  std::vector<float> rising_;    // the new stream's gain, [fadeLen]
  std::vector<float> inputs_;    // [inChannels][kChunk]
  std::vector<float> fadingIn_;  // [inChannels][kChunk], the new stream's
  std::vector<float> mix_;       // [outChannels][kChunk]
  std::atomic<Stream*> handedOver_{nullptr};
  std::atomic<Stream*> finished_{nullptr};
};

}  // namespace ulmar::host
