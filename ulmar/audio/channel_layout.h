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
  quad,     // left, right, left surround, right surround
  five,     // 5.0: left, right, centre, left surround, right surround
  fiveOne,  // 5.1: the same and a low-frequency channel
  sevenOne  // 7.1: 5.1 and left back, right back
};

int channelsOf(ChannelLayout layout);

/// The layout that the file states, or by its number of channels if it states none.
/// Nothing if that is none of them.
std::optional<ChannelLayout> layoutOf(const AudioInfo& info);

/// result[k]: the file's channel that holds the library's channel k. The library has
/// left, right; or left, centre, right, left surround, right surround, low frequency.
/// Quad goes without the centre, and the back channels of 7.1 follow the low-frequency
/// one. channels: of the file, 1, 2, 4, 5, 6 or 8. stated: its speakers, of a layout
/// that layoutOf() knows; without a known one among them, the order is that of
/// fileSpeakers().
std::vector<int> libraryOrder(int channels, const std::vector<Speaker>& stated);

/// Files name the surround channels in one of two ways; 7.1 has both, the surrounds at
/// the sides.
enum class SurroundName { rear, side };

/// Rear unless a side speaker is among them.
SurroundName surroundNameOf(const std::vector<Speaker>& speakers);

/// The standard order of a layout's channels in files: front left, front right, front
/// centre, low frequency, left back, right back, left surround, right surround. Empty
/// for mono and stereo, which are written without speakers.
std::vector<Speaker> fileSpeakers(ChannelLayout layout, SurroundName surrounds);

/// The loudspeakers that a file states, for people: "front left, centre". Empty where
/// it states none.
std::string speakerNames(const std::vector<Speaker>& speakers);

/// Names for people in the order of fileSpeakers(): "left", "low-frequency". A mono
/// channel needs none and has an empty one.
std::vector<std::string> channelNames(ChannelLayout layout);

}  // namespace ulmar::audio
