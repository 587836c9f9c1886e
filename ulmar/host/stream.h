// One stream of the library: owns its memory and records, sets it up, feeds it buffers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ulmar/host/areas.h"
#include "ulmar/host/geometry.h"
#include "ulmar/host/responses.h"

namespace ulmar::host {

/// What a host says of a stream beside its responses. Gains are linear.
struct StreamOptions {
  int blockLen = 512;  // samples, a power of two; also the latency of the wet signal
  bool hfTruncate = false;
  float wetGain = 1.0F;
  float dryGain = 0.0F;
  float crossfeed = 0.0F;  // off at or below 0
  int dryDelay = 0;        // samples

  // Of five outputs.
  bool foldToStereo = false;       // five inputs onto engine inputs 0 and 1
  bool passThrough = false;        // the responses are speaker feeds, not B-format
  cApXOverCfs<float> crossover{};  // see designCrossover
  int rearDelay = 0;               // samples, of the wet signal of both surrounds
};

/// The library's parameters for a stream, with a chosen geometry and rings just long
/// enough. An empty response makes a dry stream (irLen 0). Throws Error if something is
/// out of range.
ParamStruct streamParams(const Responses& responses, const StreamOptions& options);

/// Throws Error unless the library supports the pair of channel counts and every
/// parameter is within the library's limits.
void checkParams(const ParamStruct& params, int inChannels, int outChannels);

/// Owns everything of one stream. Samples must be finite: one that is not stays in the
/// engine for the response's length, and in the decoder of five outputs until reset().
///
/// process*, the setters, peaks() and clearPeaks() are real-time safe as long as they
/// do not throw; the others allocate or take as long as the memory is large. Calls must
/// not overlap. What throws Error has changed nothing. Results do not depend on the
/// rounding mode of the calling thread, nor on its flushing denormals to zero: the
/// stream sets its own for the call and restores the thread's.
class Stream {
 public:
  /// responses: of the inputs, outputs and arrangement that params says; may be empty
  /// with irLen at or below 0. Throws Error if something is out of range or the memory
  /// is not to be had.
  Stream(int inChannels, int outChannels, const ParamStruct& params,
         const Responses& responses);

  /// Planar: in[inChannels], out[outChannels], each of `frames` samples. A channel may
  /// be processed in place. Throws Error below 0 frames.
  void process(const float* const* in, float* const* out, int frames);

  /// Interleaved: in [frames][inChannels], out [frames][outChannels]; in place if both
  /// have the same number of channels. Not for six channels, of which the library
  /// copies the last as consecutive samples. Throws Error then, and below 0 frames.
  void processInterleaved(const float* in, float* out, int frames);

  /// Any layout: one record per channel, with data and step. The records are not
  /// changed. Throws Error unless there are as many as the stream has channels, and
  /// below 0 frames.
  void process(std::span<OstinSoundBuf> in, std::span<OstinSoundBuf> out, int frames);

  /// Back to the stream's start: silence, counters and peaks at zero.
  void reset();

  /// All that the stream carries from call to call, in a form that another stream with
  /// the same channels, geometry and ring length resumes from bit by bit, in either
  /// build.
  std::vector<std::byte> snapshot() const;
  /// Throws Error, and changes nothing, if the bytes are not such a snapshot.
  void restore(std::span<const std::byte> bytes);

  /// Largest magnitude of each output before the clamp since the start or clearPeaks().
  std::array<float, kMaxChannels> peaks() const;
  void clearPeaks();

  /// Frames by which the wet signal lags the input.
  int latency() const { return params_.blockLen; }

  // Parameters, in effect from the next call on. Gains are linear; they and delays step
  // at once, which is heard as a click in the middle of sound. Each throws Error for a
  // gain that is not finite and for a delay beyond its ring.
  void setDryGain(float gain);
  void setWetGain(float gain);  // of all outputs
  void setWetGain(int output, float gain);
  void setCrossfeed(float gain);  // off at or below 0
  void setDryDelay(int samples);  // 0 to params().dryRingLen - 1
  void setBypass(bool on);        // outputs carry the delayed dry signal only

  // Of five outputs.
  void setRearDelay(int samples);  // 0 to 2 params().dryRingLen - 1
  void setPassThrough(bool on);    // the engine's outputs are speaker feeds
  /// Throws Error unless the coefficients are stable.
  void setCrossover(const cApXOverCfs<float>& coefficients);

  const ParamStruct& params() const { return params_; }
  const StateStruct& state() const { return state_; }
  const Areas& areas() const { return areas_; }

 private:
  std::int64_t snapshotBytes() const;

  int inChannels_;
  int outChannels_;
  ParamStruct params_;
  StateStruct state_{};
  Areas areas_;
  ExternStruct ext_;
};

}  // namespace ulmar::host
