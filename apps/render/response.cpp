#include "apps/render/response.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "apps/common/text.h"
#include "apps/render/bed.h"
#include "apps/render/response_source.h"
#include "ulmar/audio/resample.h"
#include "ulmar/host/error.h"
#include "ulmar/host/geometry.h"
#include "ulmar/host/planar.h"

namespace ulmar::render {
namespace {

using apps::framesIn;

// Keeps the part that is used, and fades its end out.
void trim(const Options& options, Planar& signal, ResponseInfo& info) {
  const int rate = info.sourceRate;
  const double duration = static_cast<double>(info.sourceFrames) / rate;
  info.startFrame = framesIn(options.responseStart, rate);
  if (info.startFrame >= info.sourceFrames) {
    fail("cannot use ", info.name, " from ", options.responseStart,
         " s on (--ir-start): it lasts ", duration, " s");
  }
  info.usedFrames = info.sourceFrames - info.startFrame;
  if (options.responseLength) {
    info.usedFrames =
        std::min(info.usedFrames, framesIn(*options.responseLength, rate));
  }
  if (info.usedFrames < 1) {
    fail("cannot use ", *options.responseLength, " s of ", info.name,
         " (--ir-length): one frame, the least, lasts ",
         apps::millisecondsText(1.0 / rate, 4));
  }
  info.fadeFrames = framesIn(options.responseFade, rate);
  if (info.fadeFrames > info.usedFrames) {
    fail("cannot fade ", info.name, " out over ", options.responseFade,
         " s (--ir-fade): ", static_cast<double>(info.usedFrames) / rate,
         " s of it are used");
  }
  for (auto& channel : signal) {
    channel.erase(channel.begin(),
                  channel.begin() + static_cast<std::ptrdiff_t>(info.startFrame));
    channel.resize(static_cast<std::size_t>(info.usedFrames));
    host::fadeOut(channel, info.fadeFrames);
  }
}

void refuseTooLong(const ResponseInfo& info, int rate) {
  const double seconds =
      static_cast<double>(info.usedFrames) / static_cast<double>(info.sourceRate);
  const double frames =
      seconds * rate + static_cast<double>(info.predelay + 2 * info.ringing);
  if (frames <= host::kMaxIRLen) return;
  fail("cannot use ", info.name, ": at ", rate, " Hz it has ", frames,
       " frames, and the limit is ", host::kMaxIRLen);
}

double peakOf(const host::Responses& responses) {
  double peak = 0.0;
  for (const auto& response : responses.samples) {
    for (const float sample : response) peak = std::max(peak, std::abs(double{sample}));
  }
  return peak;
}

double energyOf(const std::vector<float>& response) {
  double energy = 0.0;
  for (const float sample : response) energy += double{sample} * double{sample};
  return energy;
}

// The energy that reaches an output from all its inputs, of the output with most of it;
// in B-format that of the sound pressure, which is W without its -3 dB.
double loudestEnergyOf(const host::Responses& responses, ResponseLayout layout) {
  double loudest = 0.0;
  for (int output = 0; output < responses.numOutputs; ++output) {
    double energy = 0.0;
    for (int input = 0; input < responses.numInputs; ++input) {
      if (const auto* response = responses.between(input, output)) {
        energy += energyOf(*response);
      }
    }
    if (layout == ResponseLayout::bFormat) return 2.0 * energy;
    loudest = std::max(loudest, energy);
  }
  return loudest;
}

double normalizationGain(Normalization normalization, const host::Responses& responses,
                         ResponseLayout layout) {
  switch (normalization) {
    case Normalization::peak:
      return 1.0 / peakOf(responses);
    case Normalization::energy:
      return 1.0 / std::sqrt(loudestEnergyOf(responses, layout));
    default:
      return 1.0;
  }
}

host::Responses arrange(const Planar& signal, const ResponseInfo& info,
                        ResponseLayout layout, int inputChannels,
                        const std::string& input) {
  try {
    return audio::arrange(signal, layout, inputChannels);
  } catch (const Error& error) {
    fail("cannot put ", input, " through ", info.name, ": ", error.what());
  }
}

// For the source of a stream; of the channels of a bed, for a pair.
host::Responses arrangeFor(const Routing& routing, const Planar& signal,
                           const ResponseInfo& info, const std::string& input) {
  const bool inMono = routing.output == audio::ChannelLayout::mono;
  const int channels = routing.pairwise() || inMono ? 2 : routing.streamInputs();
  const host::Responses responses =
      arrange(signal, info, routing.response, channels, input);
  return inMono ? host::monoSum(responses) : responses;
}

std::vector<host::Responses> groupResponses(const Options& options,
                                            audio::ChannelLayout bed,
                                            const host::Responses& pair,
                                            int rearDelay) {
  const BedMap map = options.bedMap.value_or(BedMap{});
  std::vector<host::Responses> responses;
  for (const BedGroup& group : groupsOf(bed)) {
    responses.push_back(responsesOf(map.*group.way, group.channels.size(), pair));
    const bool isFront = group.way == &BedMap::front || group.way == &BedMap::centre;
    if (!isFront) host::delay(responses.back(), rearDelay);
  }
  return responses;
}

}  // namespace

PreparedResponse prepareResponse(const Options& options,
                                 const audio::AudioInfo& input) {
  PreparedResponse prepared;
  ResponseInfo& info = prepared.info;
  Planar signal = readResponse(options, input, info, prepared.routing);
  trim(options, signal, info);
  if (!options.savedResponse.empty()) prepared.used = signal;
  info.predelay = framesIn(options.predelay, input.sampleRate);
  info.ringing = audio::resampleRinging(info.sourceRate, input.sampleRate);
  refuseTooLong(info, input.sampleRate);
  signal = audio::resampleResponse(signal, info.sourceRate, input.sampleRate);
  info.frames = std::ssize(signal[0]) - 2 * info.ringing;

  host::Responses responses = arrangeFor(prepared.routing, signal, info, input.path);
  if (peakOf(responses) == 0.0) {
    const std::string used =
        info.usedFrames == 1
            ? "the one frame that is used is"
            : "all " + std::to_string(info.usedFrames) + " frames that are used are";
    fail("cannot use ", info.name, ": ", used, " silent");
  }
  info.normalizationGain =
      normalizationGain(options.normalization, responses, prepared.routing.response);
  for (auto& response : responses.samples) {
    if (options.normalization != Normalization::none) {
      for (float& sample : response) {
        sample = static_cast<float>(sample * info.normalizationGain);
      }
    }
  }
  host::delay(responses, static_cast<int>(info.predelay));
  if (prepared.routing.pairwise()) {
    prepared.responses =
        groupResponses(options, prepared.routing.source, responses,
                       static_cast<int>(framesIn(options.rearDelay, input.sampleRate)));
  } else {
    prepared.responses = {std::move(responses)};
  }
  return prepared;
}

}  // namespace ulmar::render
