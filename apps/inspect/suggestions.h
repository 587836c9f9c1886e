// What to render a response with: the part that is worth its cost, and what each block
// length costs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspect/channel.h"
#include "ulmar/audio/audio_file.h"
#include "ulmar/host/surround_responses.h"

namespace ulmar::inspect {

/// One block length, with what it means for a stream of stereo input. Loads are
/// fractions of one core, that of the kit's cost model.
struct BlockChoice {
  int blockLen = 0;
  int tailBlockLen = 0;     // of the second engine, 0 without one
  double latency = 0.0;     // s
  std::int64_t memory = 0;  // bytes, of the stream and its partition sets
  double meanLoad = 0.0;
  double worstLoad = 0.0;  // of the block that has most to do
};

struct Suggestions {
  Moment start;             // a little before the first onset
  Moment length;            // from there to where the last channel sinks into its noise
  Moment fade;              // at the end of that, 0 if silence only is cut off
  std::size_t leftOut = 0;  // frames of the file behind that

  /// The mean load that the suggested block length stays within.
  static constexpr double kAffordable = 0.01;
  /// Empty if the file does not say what the channels are, and if they are too long.
  std::vector<BlockChoice> blocks;
  std::string obstacle;  // in words, where `blocks` is empty
  /// What `blocks` takes them for, which must be said.
  std::optional<host::BFormat> asBFormat;
  bool orAmbix = false;            // the other convention of B-format fits as well
  bool maybeBFormat = false;       // true stereo, all channels of which arrive together
  std::size_t suggestedBlock = 0;  // in `blocks`, the shortest that is affordable
};

/// channels: of the file, measured; not all silent. bFormat: what they are said to be.
Suggestions suggest(const std::vector<Channel>& channels, const audio::AudioInfo& info,
                    std::optional<host::BFormat> bFormat);

}  // namespace ulmar::inspect
