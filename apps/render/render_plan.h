// Everything about one run of the renderer that is decided before its first frame.
// --check reports it, a rendering executes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/render/options.h"
#include "apps/render/response.h"
#include "ulmar/audio/audio_file.h"
#include "ulmar/host/plan.h"
#include "ulmar/host/responses.h"

namespace ulmar::render {

/// One stream, over some of the channels in the library's order: its input k is channel
/// inputs[k], its output k becomes channel outputs[k].
struct StreamPart {
  host::Responses responses;
  std::vector<std::size_t> inputs;
  std::vector<std::size_t> outputs;
  host::StreamPlan stream;
};

struct RenderPlan {
  Options options;
  audio::AudioInfo input;
  ResponseInfo response;
  Routing routing;
  /// One stream over all channels; or, where the channels of a bed go through the
  /// response group by group, one for each of groupsOf() it. All have the same block
  /// length and gains.
  std::vector<StreamPart> parts;
  std::optional<double> crossover;  // Hz, of the decoder if there is one
  audio::AudioFormat format;        // of the output
  std::int64_t tailFrames = 0;      // beyond the input
  std::int64_t fadeFrames = 0;      // of them, at the end of a tail that is cut short
  std::int64_t skippedFrames = 0;   // at the start of the stream, not written
  /// What everything is rendered at, and written without, so that the library's limit
  /// lies 192.7 dB above full scale. A power of two changes only the exponents of the
  /// scaled gains, of every product and sum and of their rounding, so that dividing by
  /// it gives the same bits, as long as no number becomes denormal: gains of -200 dB
  /// and outputs of 2^-94 are normal at this scale.
  static constexpr float kScale = 0x1p-32F;
  int jobs = 1;  // streams that render side by side

  const host::StreamPlan& stream() const { return parts.front().stream; }
  /// The first stream's parameters, with gains as the file has them.
  const ParamStruct& params() const { return stream().params(); }
  int blockLen() const { return stream().latency(); }
  /// Frames by which the wet signal lags the input: a block, and what the resampled
  /// response rings before its first frame.
  int latency() const { return blockLen() + static_cast<int>(response.ringing); }
  std::int64_t outFrames() const { return input.frames + tailFrames; }
  double outSeconds() const {
    return static_cast<double>(outFrames()) / format.sampleRate;
  }
  /// Of all streams and the partition sets that they share.
  std::int64_t memoryBytes() const {
    std::int64_t bytes = 0;
    for (const StreamPart& part : parts) {
      bytes += jobs * part.stream.streamBytes() + part.stream.setBytes();
    }
    return bytes;
  }
  /// Frames that the stream processes: the input, then silence.
  std::int64_t streamFrames() const { return skippedFrames + outFrames(); }
};

/// prepared: for this input. Throws Error naming what cannot be done.
RenderPlan makeRenderPlan(const Options& options, const audio::AudioInfo& input,
                          const PreparedResponse& prepared);

}  // namespace ulmar::render
