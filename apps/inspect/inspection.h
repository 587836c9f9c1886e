// All that is found out about a response: its measures and the figures they come to.
#pragma once

#include <string>
#include <vector>

#include "apps/inspect/channel.h"
#include "apps/inspect/options.h"
#include "apps/inspect/results.h"
#include "ulmar/audio/audio_file.h"

namespace ulmar::inspect {

struct Inspection {
  audio::AudioFile file;
  std::vector<Channel> channels;
  Results results;

  std::size_t numFrames() const { return file.samples[0].size(); }
  int sampleRate() const { return file.info.sampleRate; }
};

/// Reads and measures a response. options: what the channels are, and whether third
/// octaves are measured. Throws Error naming the file, the value and the limit
/// for what cannot be read, and for more than 16 channels.
Inspection inspect(const std::string& path, const Options& options);

}  // namespace ulmar::inspect
