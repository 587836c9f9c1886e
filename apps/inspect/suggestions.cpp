#include "apps/inspect/suggestions.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ulmar/audio/channel_layout.h"
#include "ulmar/audio/response_layout.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/plan.h"

namespace ulmar::inspect {
namespace {

using audio::ResponseLayout;

constexpr int kInputChannels = 2;
// Of B-format that says nothing else. The other one costs the same.
constexpr host::BFormat kConvention = host::BFormat::fuma;

// What lies before an onset at a tenth of the peak, such as the ringing of a sharp
// filter.
constexpr double kLeadIn = 0.001;  // s

void suggestPart(Suggestions& suggestions, const std::vector<Channel>& channels,
                 std::size_t numFrames, int sampleRate) {
  constexpr double kMaxFade = 0.25;  // s
  std::size_t start = numFrames;
  std::size_t end = 0;
  std::size_t soundEnd = 0;
  for (const Channel& channel : channels) {
    if (!channel.measures.onset) continue;
    const auto after = [&](double seconds) {
      return *channel.measures.onset +
             static_cast<std::size_t>(std::llround(seconds * sampleRate));
    };
    start = std::min(start, *channel.measures.onset);
    end = std::max(end, after(channel.measures.broadband.decay.end));
    soundEnd = std::max(soundEnd, after(channel.measures.profile.end()));
  }
  end = std::clamp(end, start + 1, numFrames);
  start -= std::min(start, static_cast<std::size_t>(kLeadIn * sampleRate));
  suggestions.start = momentOf(start, sampleRate);
  suggestions.length = momentOf(end - start, sampleRate);
  suggestions.leftOut = numFrames - end;
  if (end < std::min(soundEnd, numFrames)) {
    const auto longest = static_cast<std::size_t>(kMaxFade * sampleRate);
    suggestions.fade = momentOf(std::min((end - start) / 10, longest), sampleRate);
  }
}

/// Microphones at one place hear the direct sound at once, and the one without a
/// direction, the first, hears as much as any; those of true stereo stand apart.
bool arriveTogether(const std::vector<Channel>& channels, int sampleRate) {
  constexpr double kTogether = 0.0003;  // s
  std::size_t first = std::numeric_limits<std::size_t>::max();
  std::size_t last = 0;
  for (const Channel& channel : channels) {
    if (!channel.measures.onset) return false;
    first = std::min(first, *channel.measures.onset);
    last = std::max(last, *channel.measures.onset);
    if (channel.measures.energy > 2.5 * channels[0].measures.energy) return false;
  }
  return static_cast<double>(last - first) <= kTogether * sampleRate;
}

/// What the renderer would take the channels for, if it is told B-format of what can be
/// nothing else; nothing if that is not clear.
std::optional<ResponseLayout> layoutFor(const audio::AudioInfo& info) {
  if (audio::isOnlyBFormat(info.channels)) return ResponseLayout::bFormat;
  const auto layout = audio::layoutOfResponse(info);
  return layout && audio::statesSpeakersOf(*layout, info) ? layout : std::nullopt;
}

std::string obstacleOf(const audio::AudioInfo& info) {
  const std::string channels = std::to_string(info.channels);
  const bool bFormat = audio::canHave(ResponseLayout::bFormat, info.channels);
  if (!audio::canHave(ResponseLayout::feeds, info.channels)) {
    return "ulmar-render takes responses of 1 to 6, 8 or 10 channels, not of " +
           channels;
  }
  if (audio::statesSpeakersOf(ResponseLayout::feeds, info)) {
    return "ulmar-render takes " + channels +
           " channels as B-format, with --bformat, or as speaker feeds, with "
           "--passthrough";
  }
  return "its " + channels +
         " channels are for other loudspeakers than those of 5.0 or 5.1" +
         (bFormat ? "; ulmar-render takes them as B-format only, with --bformat" : "");
}

/// irLen: of every response of the stream.
host::ResponseShape shapeFor(ResponseLayout layout, const audio::AudioInfo& info,
                             int irLen) {
  const Planar silence(static_cast<std::size_t>(info.channels), {0.0F});
  const Planar channels = audio::channelsInOrder({info, silence}, layout, kConvention);
  host::ResponseShape shape = audio::arrange(channels, layout, kInputChannels).shape();
  std::fill(shape.lengths.begin(), shape.lengths.end(), irLen);
  return shape;
}

BlockChoice choiceOf(int blockLen, int irLen, ResponseLayout layout,
                     const audio::AudioInfo& info) {
  host::StreamOptions options;
  options.blockLen = blockLen;
  options.dryGain = 1.0F;
  options.dryDelay = blockLen;
  options.passThrough = layout == ResponseLayout::feeds;
  options.crossover = host::designCrossover(host::kDefaultCrossover, 48000.0);
  const host::ResponseShape shape = shapeFor(layout, info, irLen);
  const int numOutputs = audio::isForFive(layout)
                             ? audio::channelsOf(audio::ChannelLayout::five)
                             : shape.numOutputs;
  const host::StreamPlan plan(kInputChannels, numOutputs, shape, options);
  constexpr double kPicosecond = 1e-12;
  BlockChoice choice;
  choice.blockLen = blockLen;
  choice.tailBlockLen = plan.tail() ? plan.tail()->geometry.blockLen : 0;
  choice.latency = static_cast<double>(blockLen) / info.sampleRate;
  choice.memory = plan.streamBytes() + plan.setBytes();
  choice.meanLoad = kPicosecond * plan.work().mean / choice.latency;
  choice.worstLoad = kPicosecond * plan.work().worst / choice.latency;
  return choice;
}

}  // namespace

Suggestions suggest(const std::vector<Channel>& channels, const audio::AudioInfo& info,
                    std::optional<host::BFormat> bFormat) {
  constexpr int kShortest = 64;
  constexpr int kLongestShown = 2048;
  Suggestions suggestions;
  suggestPart(suggestions, channels, static_cast<std::size_t>(info.frames),
              info.sampleRate);
  const auto layout =
      bFormat ? std::optional(ResponseLayout::bFormat) : layoutFor(info);
  if (suggestions.length.frame > std::size_t{host::kMaxIRLen}) {
    suggestions.obstacle = "it is longer than ulmar-render takes";
    return suggestions;
  }
  if (!layout) {
    suggestions.obstacle = obstacleOf(info);
    return suggestions;
  }
  if (*layout == ResponseLayout::bFormat) {
    suggestions.asBFormat = bFormat.value_or(kConvention);
    suggestions.orAmbix =
        !bFormat && audio::canHave(*layout, info.channels, host::BFormat::ambix);
  }
  suggestions.maybeBFormat = *layout == ResponseLayout::trueStereo &&
                             arriveTogether(channels, info.sampleRate);
  const auto irLen = static_cast<int>(suggestions.length.frame);
  bool affordable = false;
  for (int blockLen = kShortest;
       blockLen <= kLongestShown || (!affordable && blockLen <= host::kMaxBlockLen);
       blockLen *= 2) {
    suggestions.blocks.push_back(choiceOf(blockLen, irLen, *layout, info));
    if (affordable) continue;
    affordable = suggestions.blocks.back().meanLoad <= Suggestions::kAffordable;
    suggestions.suggestedBlock = suggestions.blocks.size() - 1;
  }
  return suggestions;
}

}  // namespace ulmar::inspect
