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
/// process* and the parameter setters are real-time safe; the others allocate. Calls
/// must not overlap. process* throw Error, and do nothing, if frames is below 0.
class Stream {
 public:
  /// responses: of the inputs, outputs and arrangement that params says; may be empty
  /// with irLen at or below 0. Throws Error if something is out of range or the memory
  /// is not to be had.
  Stream(int inChannels, int outChannels, const ParamStruct& params,
         const Responses& responses);

  /// Planar: in[inChannels], out[outChannels], each of `frames` samples. A channel may
  /// be processed in place.
  void process(const float* const* in, float* const* out, int frames);

  /// Interleaved: in [frames][inChannels], out [frames][outChannels]; in place if both
  /// have the same number of channels. Not for six channels, of which the library
  /// copies the last as consecutive samples.
  void processInterleaved(const float* in, float* out, int frames);

  /// Any layout: one record per channel, with data and step.
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

  /// The parameters, as they take effect in the next call. Gains, flags other than
  /// perOutputIR and foldToStereo, and delays within the rings may change at any time;
  /// what shapes the memory may not.
  ParamStruct& params() { return params_; }
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
