// The loudspeakers of audio files and the library's order of channels.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ulmar/audio/audio_file.h"

namespace ulmar::audio {

enum class ChannelLayout {
  mono,
  stereo,
  five,    // 5.0: left, right, centre, left surround, right surround
  fiveOne  // 5.1: the same and a low-frequency channel
};

int channelsOf(ChannelLayout layout);

/// The layout that the file states, or by its number of channels if it states none.
/// Nothing if that is none of the four.
std::optional<ChannelLayout> layoutOf(const AudioInfo& info);

/// For a file of 1, 2, 5 or 6 channels, which of them is each of the library's: left,
/// right; or left, centre, right, left surround, right surround and low frequency. A
/// file that has stated no speakers has the order of fileSpeakers.
std::vector<int> libraryOrder(int channels, const std::vector<Speaker>& stated);

/// Two names of the surround channels, both in use.
enum class SurroundName { rear, side };

/// The one in use, rear if there is none.
SurroundName surroundNameOf(const std::vector<Speaker>& speakers);

/// The standard order of a layout's channels in files: front left, front right, front
/// centre, low frequency, left surround, right surround. Empty for mono and stereo,
/// which go without saying.
std::vector<Speaker> fileSpeakers(ChannelLayout layout, SurroundName surrounds);

/// Names for people in the order of fileSpeakers: "left", "low-frequency". That of mono
/// is empty.
std::vector<std::string> channelNames(ChannelLayout layout);

}  // namespace ulmar::audio
