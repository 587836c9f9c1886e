// One stream of the library: owns its memory and records, sets it up, feeds it buffers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "ulmar/host/areas.h"
#include "ulmar/host/partition_sets.h"
#include "ulmar/host/plan.h"
#include "ulmar/host/responses.h"
#include "ulmar/host/tail.h"

namespace ulmar::host {

/// The largest magnitude of an input sample, 385 dB above full scale.
inline constexpr float kMaxInputSample = 0x1p64F;

/// Owns everything of one stream. An input sample that is NaN or beyond kMaxInputSample
/// is taken for 0: the library itself would carry it on for one response length, in the
/// decoder of five outputs for ever, with outputs of -1 that its meters do not show. So
/// is a denormal one, below 2^-126, which would only make blocks dearer.
///
/// process*, the setters, peaks() and clearPeaks() are real-time safe as long as they
/// do not throw; the others allocate or take as long as the memory is large. Calls must
/// not overlap. What throws Error has changed nothing. Results do not depend on the
/// rounding mode of the calling thread, nor on its flushing denormals to zero: the
/// stream sets its own for the call and restores the thread's.
class Stream {
 public:
  /// sets: of the same plan, or of one that shares its sets. Throws Error otherwise, or
  /// if the memory is not to be had.
  Stream(const StreamPlan& plan, std::shared_ptr<const PartitionSets> sets);
  /// With partition sets of its own. Throws Error as buildPartitionSets() does.
  Stream(const StreamPlan& plan, const Responses& responses);
  /// One engine with these parameters. responses may be empty with irLen at or below 0.
  Stream(int inChannels, int outChannels, const ParamStruct& params,
         const Responses& responses);

  /// Planar: in[inChannels], out[outChannels], each of `frames` samples. A channel may
  /// be processed in place. Throws Error below 0 frames.
  void process(const float* const* in, float* const* out, int frames);

  /// Interleaved: in [frames][inChannels], out [frames][outChannels]; in place if both
  /// have the same number of channels. Six channels cannot be interleaved: the sixth is
  /// copied with step 1 whatever its step says. Throws Error for six, and below 0
  /// frames.
  void processInterleaved(const float* in, float* out, int frames);

  /// Any layout: one record per channel, with data and step. The records are not
  /// changed. Throws Error unless there are as many as the stream has channels, and
  /// below 0 frames.
  void process(std::span<const OstinSoundBuf> in, std::span<const OstinSoundBuf> out,
               int frames);

  /// Back to the stream's start: silence, counters and peaks at zero.
  void reset();

  /// All that the stream carries from call to call, taken at any frame, in one form for
  /// both builds.
  /// A stream takes it if the counts of channels and of engine inputs and outputs, the
  /// geometries, dryRingLen and foldToStereo are the same. Parameters and responses are
  /// not in it: with the same ones the other stream goes on bit by bit.
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
  const StreamPlan& plan() const { return plan_; }
  /// The head's areas at 0, the tail's at 1; tables and sets are those of sets().
  const Areas& areas() const { return areas_; }
  const std::shared_ptr<const PartitionSets>& sets() const { return sets_; }
  /// What the library works with: the head's areas, tables and sets.
  const ExternStruct& table() const { return ext_; }

 private:
  void processToBoundaries(OstinSoundBuf* in, OstinSoundBuf* out, int frames) noexcept;
  void processUsable(OstinSoundBuf* in, OstinSoundBuf* out, int frames) noexcept;
  std::int64_t snapshotBytes() const;

  StreamPlan plan_;
  ParamStruct params_;
  StateStruct state_{};
  TailState tailState_{};
  std::shared_ptr<const PartitionSets> sets_;
  Areas areas_;
  ExternStruct ext_{};
  std::optional<Tail> tail_;
};

}  // namespace ulmar::host
