#include "ulmar/audio/sndfile_handle.h"

#include <algorithm>
#include <array>
#include <utility>

namespace ulmar::audio {
namespace {

// The first entry of a speaker is the one that is written.
constexpr std::array<std::pair<Speaker, int>, 13> kChannelMapValues = {{
    {Speaker::mono, SF_CHANNEL_MAP_MONO},
    {Speaker::frontLeft, SF_CHANNEL_MAP_LEFT},
    {Speaker::frontLeft, SF_CHANNEL_MAP_FRONT_LEFT},
    {Speaker::frontRight, SF_CHANNEL_MAP_RIGHT},
    {Speaker::frontRight, SF_CHANNEL_MAP_FRONT_RIGHT},
    {Speaker::frontCenter, SF_CHANNEL_MAP_CENTER},
    {Speaker::frontCenter, SF_CHANNEL_MAP_FRONT_CENTER},
    {Speaker::lowFrequency, SF_CHANNEL_MAP_LFE},
    {Speaker::rearLeft, SF_CHANNEL_MAP_REAR_LEFT},
    {Speaker::rearRight, SF_CHANNEL_MAP_REAR_RIGHT},
    {Speaker::rearCenter, SF_CHANNEL_MAP_REAR_CENTER},
    {Speaker::sideLeft, SF_CHANNEL_MAP_SIDE_LEFT},
    {Speaker::sideRight, SF_CHANNEL_MAP_SIDE_RIGHT},
}};

}  // namespace

std::vector<int> channelMapOf(const std::vector<Speaker>& speakers) {
  std::vector<int> map;
  for (const Speaker speaker : speakers) {
    const auto* entry =
        std::ranges::find(kChannelMapValues, speaker, &std::pair<Speaker, int>::first);
    map.push_back(entry == kChannelMapValues.end() ? SF_CHANNEL_MAP_INVALID
                                                   : entry->second);
  }
  return map;
}

std::vector<Speaker> speakersOf(const std::vector<int>& channelMap) {
  std::vector<Speaker> speakers;
  for (const int value : channelMap) {
    const auto* entry =
        std::ranges::find(kChannelMapValues, value, &std::pair<Speaker, int>::second);
    speakers.push_back(entry == kChannelMapValues.end() ? Speaker::unknown
                                                        : entry->first);
  }
  return speakers;
}

std::vector<Speaker> flacSpeakers(int channels) {
  using enum Speaker;
  switch (channels) {
    case 3:
      return {frontLeft, frontRight, frontCenter};
    case 4:
      return {frontLeft, frontRight, rearLeft, rearRight};
    case 5:
      return {frontLeft, frontRight, frontCenter, rearLeft, rearRight};
    case 6:
      return {frontLeft, frontRight, frontCenter, lowFrequency, rearLeft, rearRight};
    default:
      return {};
  }
}

// RFC 7845, section 5.1.1.2, for Opus; the Vorbis I specification, section 4.3.9, says
// the same.
std::vector<Speaker> oggSpeakers(int channels) {
  using enum Speaker;
  switch (channels) {
    case 3:
      return {frontLeft, frontCenter, frontRight};
    case 4:
      return {frontLeft, frontRight, rearLeft, rearRight};
    case 5:
      return {frontLeft, frontCenter, frontRight, rearLeft, rearRight};
    case 6:
      return {frontLeft, frontCenter, frontRight, rearLeft, rearRight, lowFrequency};
    case 7:
      return {frontLeft, frontCenter, frontRight,  sideLeft,
              sideRight, rearCenter,  lowFrequency};
    case 8:
      return {frontLeft, frontCenter, frontRight, sideLeft,
              sideRight, rearLeft,    rearRight,  lowFrequency};
    default:
      return {};
  }
}

}  // namespace ulmar::audio
