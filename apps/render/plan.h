// Everything that is decided before the first frame is rendered. --check reports a
// plan, a rendering executes it.
#pragma once

#include <cstdint>
#include <string>

#include "apps/render/options.h"
#include "apps/render/response.h"
#include "ulmar/audio/audio_file.h"
#include "ulmar/host/responses.h"
#include "ulmar/host/stream.h"

namespace ulmar::render {

struct Plan {
  Options options;
  audio::AudioInfo material;
  ResponseInfo response;
  host::Responses responses;
  Routing routing;
  ParamStruct params;              // of the stream
  int numPartitions = 0;           // blocks per response
  std::int64_t rowProducts = 0;    // per block, of all pairs
  std::int64_t memory = 0;         // bytes of the stream
  audio::AudioFormat format;       // of the output
  std::int64_t tailFrames = 0;     // beyond the material
  std::int64_t skippedFrames = 0;  // at the start of the stream, not written

  /// Frames by which the wet signal lags the material: a block, and what the resampled
  /// response rings before its first frame.
  int latency() const { return params.blockLen + static_cast<int>(response.ringing); }
  std::int64_t outFrames() const { return material.frames + tailFrames; }
  /// Frames that the stream processes: the material, then silence.
  std::int64_t streamFrames() const { return skippedFrames + outFrames(); }
};

/// Reads the response. Throws Error naming what cannot be done.
Plan makePlan(const Options& options, const audio::AudioInfo& material);

}  // namespace ulmar::render
