#include "apps/inspect/suggestions.h"

#include <algorithm>
#include <cmath>

#include "host/areas.h"
#include "host/impulse.h"
#include "host/stream.h"
#include "host/surround_responses.h"

namespace ulmar::inspect {
namespace {

constexpr int kMaterialChannels = 2;

// What lies before an onset at a tenth of the peak, such as the ringing of a sharp
// filter.
constexpr double kLeadIn = 0.001;  // s

void suggestPart(Suggestions& suggestions, const std::vector<Channel>& channels,
                 std::size_t numFrames, double sampleRate) {
  constexpr double kMaxFade = 0.25;  // s
  std::size_t start = numFrames;
  std::size_t end = 0;
  std::size_t soundEnd = 0;
  for (const Channel& channel : channels) {
    if (!channel.onset) continue;
    const auto after = [&](double seconds) {
      return *channel.onset +
             static_cast<std::size_t>(std::llround(seconds * sampleRate));
    };
    start = std::min(start, *channel.onset);
    end = std::max(end, after(channel.broadband.decay.end));
    soundEnd = std::max(soundEnd, after(channel.profile.end()));
  }
  end = std::clamp(end, start + 1, numFrames);
  start -= std::min(start, static_cast<std::size_t>(kLeadIn * sampleRate));
  suggestions.start = start;
  suggestions.length = end - start;
  if (end < std::min(soundEnd, numFrames)) {
    suggestions.fade = std::min(suggestions.length / 10,
                                static_cast<std::size_t>(kMaxFade * sampleRate));
  }
}

/// How the renderer would arrange so many channels; nothing if their number alone
/// does not say what they are.
std::optional<host::Responses> arrangementOf(std::size_t numChannels) {
  if (numChannels == 5 || numChannels == 10) {
    return host::arrangeFeeds(host::Planar(numChannels, {1.0F}), kMaterialChannels);
  }
  if (numChannels != 1 && numChannels != 2 && numChannels != 4) return std::nullopt;
  return host::arrangeResponses(host::Planar(numChannels, {1.0F}), kMaterialChannels);
}

BlockChoice choiceOf(int blockLen, int irLen, const host::Responses& arrangement,
                     int sampleRate) {
  host::StreamOptions options;
  options.blockLen = blockLen;
  options.dryGain = 1.0F;
  options.dryDelay = blockLen;
  options.passThrough = arrangement.numOutputs > 2;
  ParamStruct params = host::streamParams(arrangement, options);
  BlockChoice choice;
  choice.geometry = host::chooseGeometry(blockLen, irLen);
  host::setGeometry(params, choice.geometry);
  choice.latency = static_cast<double>(blockLen) / sampleRate;
  choice.memory =
      host::areaSizes(params, kMaterialChannels, arrangement.numOutputs).total();
  choice.rowProducts =
      host::blockCost(choice.geometry).total() * arrangement.numPairs();
  choice.rowProductsPerSecond =
      static_cast<double>(choice.rowProducts) / choice.latency;
  return choice;
}

}  // namespace

Suggestions suggest(const std::vector<Channel>& channels, std::size_t numFrames,
                    int sampleRate) {
  constexpr int kShortest = 64;
  constexpr int kLongestShown = 2048;
  Suggestions suggestions;
  suggestPart(suggestions, channels, numFrames, sampleRate);
  const auto arrangement = arrangementOf(channels.size());
  if (!arrangement || suggestions.length > std::size_t{host::kMaxIRLen}) {
    return suggestions;
  }
  const auto irLen = static_cast<int>(suggestions.length);
  bool affordable = false;
  for (int blockLen = kShortest;
       blockLen <= kLongestShown || (!affordable && blockLen <= host::kMaxBlockLen);
       blockLen *= 2) {
    suggestions.blocks.push_back(choiceOf(blockLen, irLen, *arrangement, sampleRate));
    if (affordable) continue;
    affordable =
        suggestions.blocks.back().rowProductsPerSecond <= Suggestions::kAffordable;
    suggestions.suggestedBlock = suggestions.blocks.size() - 1;
  }
  return suggestions;
}

}  // namespace ulmar::inspect
