#include "ulmar/audio/channel_layout.h"

#include <algorithm>

namespace ulmar::audio {
namespace {

using enum Speaker;

bool anyStated(const std::vector<Speaker>& speakers) {
  return std::ranges::any_of(speakers,
                             [](Speaker speaker) { return speaker != unknown; });
}

std::optional<ChannelLayout> layoutByCount(int channels) {
  for (const ChannelLayout layout :
       {ChannelLayout::mono, ChannelLayout::stereo, ChannelLayout::quad,
        ChannelLayout::five, ChannelLayout::fiveOne, ChannelLayout::sevenOne}) {
    if (channelsOf(layout) == channels) return layout;
  }
  return std::nullopt;
}

}  // namespace

int channelsOf(ChannelLayout layout) {
  switch (layout) {
    case ChannelLayout::mono:
      return 1;
    case ChannelLayout::stereo:
      return 2;
    case ChannelLayout::quad:
      return 4;
    case ChannelLayout::five:
      return 5;
    case ChannelLayout::sevenOne:
      return 8;
    default:
      return 6;
  }
}

std::optional<ChannelLayout> layoutOf(const AudioInfo& info) {
  const std::optional<ChannelLayout> layout = layoutByCount(info.channels);
  if (info.channels <= 2 || !layout || !anyStated(info.speakers)) return layout;
  const bool same = std::ranges::is_permutation(
      info.speakers, fileSpeakers(*layout, surroundNameOf(info.speakers)));
  return same ? layout : std::nullopt;
}

std::vector<int> libraryOrder(int channels, const std::vector<Speaker>& stated) {
  if (channels == 1) return {0};
  if (channels == 2) return {0, 1};
  const std::vector<Speaker> speakers =
      anyStated(stated) ? stated
                        : fileSpeakers(*layoutByCount(channels), SurroundName::rear);
  const bool side = surroundNameOf(speakers) == SurroundName::side;
  std::vector<int> order;
  for (const Speaker speaker :
       {frontLeft, frontCenter, frontRight, side ? sideLeft : rearLeft,
        side ? sideRight : rearRight, lowFrequency, side ? rearLeft : unknown,
        side ? rearRight : unknown}) {
    if (speaker == unknown) continue;
    const auto found = std::ranges::find(speakers, speaker);
    if (found != speakers.end()) {
      order.push_back(static_cast<int>(found - speakers.begin()));
    }
  }
  return order;
}

SurroundName surroundNameOf(const std::vector<Speaker>& speakers) {
  return std::ranges::find(speakers, sideLeft) != speakers.end() ? SurroundName::side
                                                                 : SurroundName::rear;
}

std::vector<Speaker> fileSpeakers(ChannelLayout layout, SurroundName surrounds) {
  if (layout == ChannelLayout::mono || layout == ChannelLayout::stereo) return {};
  if (layout == ChannelLayout::sevenOne) {
    return {frontLeft, frontRight, frontCenter, lowFrequency,
            rearLeft,  rearRight,  sideLeft,    sideRight};
  }
  std::vector<Speaker> speakers = {frontLeft, frontRight};
  if (layout != ChannelLayout::quad) speakers.push_back(frontCenter);
  if (layout == ChannelLayout::fiveOne) speakers.push_back(lowFrequency);
  const bool side = surrounds == SurroundName::side;
  speakers.push_back(side ? sideLeft : rearLeft);
  speakers.push_back(side ? sideRight : rearRight);
  return speakers;
}

std::string speakerNames(const std::vector<Speaker>& speakers) {
  if (!anyStated(speakers)) return "";
  constexpr const char* kNames[] = {"unknown",     "mono",       "front left",
                                    "front right", "centre",     "low-frequency",
                                    "rear left",   "rear right", "rear centre",
                                    "side left",   "side right"};
  std::string names;
  for (const Speaker speaker : speakers) {
    if (!names.empty()) names += ", ";
    names += kNames[static_cast<std::size_t>(speaker)];
  }
  return names;
}

std::vector<std::string> channelNames(ChannelLayout layout) {
  switch (layout) {
    case ChannelLayout::mono:
      return {""};
    case ChannelLayout::stereo:
      return {"left", "right"};
    case ChannelLayout::quad:
      return {"left", "right", "left surround", "right surround"};
    case ChannelLayout::five:
      return {"left", "right", "centre", "left surround", "right surround"};
    case ChannelLayout::sevenOne:
      return {"left",      "right",      "centre",        "low-frequency",
              "left back", "right back", "left surround", "right surround"};
    default:
      return {"left",          "right",         "centre",
              "low-frequency", "left surround", "right surround"};
  }
}

}  // namespace ulmar::audio
