#include "plugins/ulmar.lv2/response_request.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>
#include <utility>

#include "plugins/ulmar.lv2/loudness.h"
#include "ulmar/audio/audio_file.h"
#include "ulmar/audio/resample.h"
#include "ulmar/audio/response_layout.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/error.h"

namespace ulmar::lv2 {
namespace {

using audio::ResponseLayout;

/// A response's channels, in the order in which audio::arrange() takes them.
struct Source {
  Planar channels;
  int sampleRate = 0;
  ResponseLayout layout = ResponseLayout::mono;
  std::string name;
};

int framesIn(double seconds, int rate) {
  return static_cast<int>(std::lround(seconds * rate));
}

room::RoomKind kindOf(Choice choice) {
  switch (choice) {
    case Choice::small:
      return room::RoomKind::small;
    case Choice::cathedral:
      return room::RoomKind::cathedral;
    default:
      return room::RoomKind::hall;
  }
}

ResponseLayout layoutOf(room::RoomLayout room) {
  switch (room) {
    case room::RoomLayout::mono:
      return ResponseLayout::mono;
    case room::RoomLayout::stereo:
      return ResponseLayout::stereo;
    case room::RoomLayout::trueStereo:
      return ResponseLayout::trueStereo;
    default:
      return ResponseLayout::bFormat;
  }
}

Source roomSource(Choice choice, const Setting& setting) {
  const room::RoomLayout layout = roomLayoutFor(setting.variant);
  // Rooms are made for the rates from 8 kHz on.
  constexpr int kLeastRate = 8000;
  const int rate = std::max(setting.sampleRate, kLeastRate);
  return {room::renderRoom(room::roomPreset(kindOf(choice)), layout, rate), rate,
          layoutOf(layout), "the built-in room"};
}

std::vector<float> meanOf(const std::vector<float>& a, const std::vector<float>& b) {
  std::vector<float> mean(a.size());
  std::ranges::transform(a, b, mean.begin(),
                         [](float x, float y) { return 0.5F * (x + y); });
  return mean;
}

// Feeds of five loudspeakers from a response for one or two: front and surrounds alike,
// the centre through both sides' mean.
void spreadToFive(Source& source) {
  Planar& channels = source.channels;
  if (source.layout == ResponseLayout::mono) channels.push_back(channels[0]);
  Planar feeds;
  for (std::size_t k = 0; k < channels.size(); k += 2) {
    const auto& left = channels[k];
    const auto& right = channels[k + 1];
    feeds.insert(feeds.end(), {left, right, left, right, meanOf(left, right)});
  }
  channels = std::move(feeds);
  source.layout = ResponseLayout::feeds;
}

Source fileSource(const std::string& path, BFormatChoice bFormat,
                  const Variant& variant) {
  audio::AudioFile file = audio::readAudioFile(path);
  std::optional<host::BFormat> convention;
  if (bFormat == BFormatChoice::fuma) convention = host::BFormat::fuma;
  if (bFormat == BFormatChoice::ambix) convention = host::BFormat::ambix;
  const std::optional<ResponseLayout> layout =
      convention ? ResponseLayout::bFormat : audio::layoutOfResponse(file.info);
  const int numChannels = file.info.channels;
  if (!layout || !audio::canHave(*layout, numChannels, convention) ||
      !audio::statesSpeakersOf(*layout, file.info)) {
    fail("cannot use ", path, ": its ", numChannels, " channels are not those of a ",
         convention ? "response in B-format"
                    : "response; B-format is said by a control");
  }
  if (!takes(variant, *layout)) {
    fail("cannot use ", path, ": it is for five loudspeakers, and ", variant.name,
         " has ", variant.outputs, variant.outputs == 1 ? " output" : " outputs");
  }
  const int sampleRate = file.info.sampleRate;
  Source source = {audio::channelsInOrder(std::move(file), *layout, convention),
                   sampleRate, *layout, path};
  if (variant.outputs == 5 && !audio::isForFive(*layout)) spreadToFive(source);
  return source;
}

void cut(Source& source, const ResponseRequest& request) {
  const auto frames = static_cast<int>(source.channels[0].size());
  const int start = framesIn(request.start, source.sampleRate);
  if (start >= frames) {
    fail("cannot use ", source.name, " from ", request.start, " s on: it lasts ",
         static_cast<double>(frames) / source.sampleRate, " s");
  }
  const int used =
      std::clamp(framesIn(request.length, source.sampleRate), 1, frames - start);
  const int fade = std::min(used, framesIn(request.fade, source.sampleRate));
  for (auto& channel : source.channels) {
    channel.erase(channel.begin(), channel.begin() + start);
    channel.resize(static_cast<std::size_t>(used));
    host::fadeOut(channel, fade);
  }
}

// The filter rings before a resampled response: that time is taken off the pre-delay as
// far as there is any.
host::Responses arrange(const Source& source, const ResponseRequest& request,
                        const Setting& setting) {
  const Variant& variant = setting.variant;
  const int rate = setting.sampleRate;
  const int ringing = audio::resampleRinging(source.sampleRate, rate);
  const Planar channels =
      audio::resampleResponse(source.channels, source.sampleRate, rate);
  const bool inMono = variant.outputs == 1;
  host::Responses responses =
      audio::arrange(channels, source.layout, inMono ? 2 : variant.streamInputs());
  if (inMono) responses = host::monoSum(responses);
  if (variant.outputs == 2 && responses.numOutputs == 1) {
    responses = audio::arrange({channels[0], channels[0]}, ResponseLayout::stereo, 1);
  }
  host::delay(responses, std::max(0, framesIn(request.predelay, rate) - ringing));
  return responses;
}

}  // namespace

int blockLenFor(const ResponseRequest& request, const Setting& setting) {
  const int wanted = request.block > 0 ? request.block : setting.hostBlock;
  return std::clamp(static_cast<int>(std::bit_floor(static_cast<unsigned>(wanted))), 64,
                    8192);
}

std::unique_ptr<host::Stream> buildStream(const ResponseRequest& request,
                                          const std::string& path,
                                          const Setting& setting) {
  const bool fromFile = request.choice == Choice::file && !path.empty();
  Source source = fromFile ? fileSource(path, request.bFormat, setting.variant)
                           : roomSource(request.choice, setting);
  cut(source, request);
  host::StreamOptions options;
  options.blockLen = blockLenFor(request, setting);
  options.hfTruncate = request.lowCost;
  options.wetGain = kScale;
  if (setting.variant.outputs == 5) {
    options.passThrough = source.layout != ResponseLayout::bFormat;
    options.rearDelay = framesIn(request.rearDelay, setting.sampleRate);
    const double highest = 0.45 * setting.sampleRate;
    options.crossover =
        host::designCrossover(std::min(request.crossover, highest), setting.sampleRate);
  }
  const host::Responses responses = arrange(source, request, setting);
  const host::StreamPlan plan(setting.variant.streamInputs(), setting.variant.outputs,
                              responses.shape(), options);
  auto stream = std::make_unique<host::Stream>(plan, responses);
  if (request.level == Level::energy) {
    const double gain = pinkNoiseGain(*stream, setting);
    if (gain == 0.0) fail("cannot use ", source.name, ": what is used of it is silent");
    stream->setWetGain(static_cast<float>(double{kScale} / gain));
  }
  return stream;
}

}  // namespace ulmar::lv2
