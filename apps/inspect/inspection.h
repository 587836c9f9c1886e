// All that is found out about a response.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/inspect/channel.h"
#include "apps/inspect/suggestions.h"
#include "ulmar/acoustics/correlation.h"
#include "ulmar/audio/audio_file.h"

namespace ulmar::inspect {

/// Two channels that are heard as left and right.
struct ChannelPair {
  std::size_t first = 0;
  std::size_t second = 0;
  // From the earlier onset on, see correlate(); nothing if one channel is silent there.
  std::optional<acoustics::Correlation> whole;
  std::optional<acoustics::Correlation> early;
  std::optional<acoustics::Correlation> late;
};

struct Inspection {
  audio::AudioFile file;
  std::vector<Channel> channels;
  std::vector<ChannelPair> pairs;
  std::optional<Suggestions> suggestions;  // nothing if all is silent

  std::size_t numFrames() const { return file.samples[0].size(); }
  int sampleRate() const { return file.info.sampleRate; }
  bool silent() const { return !suggestions; }
};

/// Reads and measures a response. Throws Error naming the file, the value and the limit
/// for what cannot be read, and for more than 16 channels.
Inspection inspect(const std::string& path);

}  // namespace ulmar::inspect
