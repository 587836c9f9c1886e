#include "apps/render/saved_response.h"

#include <cstddef>
#include <filesystem>
#include <vector>

#include "apps/common/files.h"
#include "ulmar/audio/channel_layout.h"
#include "ulmar/host/error.h"

namespace ulmar::render {
namespace {

constexpr std::size_t kNumFeeds = 5;

// Of one source in the engine's order (L R Ls Rs C), as files have them: L R C Ls Rs.
constexpr std::size_t kFileOrder[kNumFeeds] = {0, 1, 4, 2, 3};

audio::AudioFormat formatOf(const Options& options, const PreparedResponse& prepared) {
  audio::AudioFormat format;
  format.channels = static_cast<int>(prepared.used.size());
  format.sampleRate = prepared.info.sourceRate;
  format.samples = audio::finestFormat(options.savedResponse);
  format.frames = prepared.info.usedFrames;
  const bool feeds = prepared.routing.response == ResponseLayout::feeds;
  if (feeds && prepared.used.size() == kNumFeeds) {
    format.speakers =
        audio::fileSpeakers(audio::ChannelLayout::five, audio::SurroundName::rear);
  }
  return format;
}

std::vector<float> interleaved(const PreparedResponse& prepared) {
  const Planar& used = prepared.used;
  const bool feeds = prepared.routing.response == ResponseLayout::feeds;
  const auto gain = static_cast<float>(prepared.info.normalizationGain);
  std::vector<float> samples;
  samples.reserve(used.size() * used[0].size());
  for (std::size_t n = 0; n < used[0].size(); ++n) {
    for (std::size_t k = 0; k < used.size(); ++k) {
      const std::size_t place = k % kNumFeeds;
      const std::size_t channel = feeds ? k - place + kFileOrder[place] : k;
      samples.push_back(gain * used[channel][n]);
    }
  }
  return samples;
}

}  // namespace

void checkSavedResponse(const Options& options, const PreparedResponse& prepared) {
  const std::string& path = options.savedResponse;
  if (!options.input.empty()) apps::refuseToReplace(path, options.input);
  if (!options.room) apps::refuseToReplace(path, options.response);
  if (std::filesystem::path(path).lexically_normal() ==
      std::filesystem::path(options.output).lexically_normal()) {
    fail("cannot save the response to ", path, ": the result is to go there");
  }
  audio::checkAudioOutput(path, formatOf(options, prepared));
}

void saveResponse(const Options& options, const PreparedResponse& prepared) {
  audio::AudioWriter writer(options.savedResponse, formatOf(options, prepared));
  const std::vector<float> samples = interleaved(prepared);
  writer.write(samples.data(), static_cast<int>(prepared.info.usedFrames));
  writer.commit();
}

}  // namespace ulmar::render
