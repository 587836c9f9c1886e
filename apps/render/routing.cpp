#include "apps/render/routing.h"

#include <algorithm>
#include <optional>
#include <span>

#include "apps/common/text.h"
#include "apps/render/option_values.h"
#include "ulmar/host/error.h"

namespace ulmar::render {
namespace {

using apps::countText;

using audio::ChannelLayout;

bool hasFive(ChannelLayout layout) {
  return layout == ChannelLayout::five || layout == ChannelLayout::fiveOne;
}

ChannelLayout inputLayout(const audio::AudioInfo& input) {
  if (const auto layout = audio::layoutOf(input)) return *layout;
  const std::string speakers = audio::speakerNames(input.speakers);
  fail("cannot use ", input.path, " as input: its ",
       countText(input.channels, "channel"),
       speakers.empty() ? "" : " (" + speakers + ")",
       " are not those of mono, stereo, 5.0 or 5.1, which have 1, 2, 5 or 6");
}

void refuseCount(const audio::AudioInfo& response, ResponseLayout layout,
                 std::optional<host::BFormat> convention) {
  const bool fits = audio::canHave(layout, response.channels, convention);
  if (fits && audio::statesSpeakersOf(layout, response)) return;
  const std::span<const int> counts = audio::channelCounts(layout, convention);
  std::string needed;
  for (const int count : counts) {
    if (!needed.empty()) needed += count == counts.back() ? " or " : ", ";
    needed += std::to_string(count);
  }
  std::string name = nameOf(layout);
  if (convention) {
    name.append(" with --bformat ").append(wordFor(*convention, kBFormatWords));
  }
  fail("cannot use ", response.path, " as ", name, ": it has ",
       countText(response.channels, "channel"),
       fits ? " for other loudspeakers than those of 5.0 or 5.1"
            : ", and " + needed + " can be that");
}

ResponseLayout layoutByCount(const audio::AudioInfo& response) {
  if (const auto layout = audio::layoutOfResponse(response)) return *layout;
  fail("cannot tell what the ", response.channels, " channels of ", response.path,
       " are: 1, 2, 4, 5 or 10 say so by their number, B-format by --bformat fuma "
       "or ambix");
}

ResponseLayout responseLayout(const Options& options,
                              const audio::AudioInfo& response) {
  ResponseLayout layout;
  if (options.responseLayout) {
    layout = *options.responseLayout;
  } else if (options.bFormat) {
    layout = ResponseLayout::bFormat;
  } else if (options.passThrough) {
    layout = ResponseLayout::feeds;
  } else {
    layout = layoutByCount(response);
  }
  refuseCount(response, layout, options.bFormat);
  return layout;
}

// A room is heard in stereo, each side of stereo input from its own place in it; in
// mono where that is asked for; and in B-format for five loudspeakers.
ResponseLayout roomLayout(const Options& options, ChannelLayout input) {
  if (options.decode || hasFive(options.outLayout.value_or(input))) {
    return ResponseLayout::bFormat;
  }
  if (options.outLayout == ChannelLayout::mono) return ResponseLayout::mono;
  return input == ChannelLayout::mono ? ResponseLayout::stereo
                                      : ResponseLayout::trueStereo;
}

ChannelLayout outputLayout(const Options& options, ChannelLayout input,
                           ResponseLayout response) {
  if (options.outLayout) return *options.outLayout;
  if (hasFive(input)) return input;
  if (audio::isForFive(response)) return ChannelLayout::five;
  return input == ChannelLayout::mono && response == ResponseLayout::mono
             ? ChannelLayout::mono
             : ChannelLayout::stereo;
}

void refuseMismatch(const Routing& routing, const std::string& input,
                    const std::string& response) {
  const std::string output = wordFor(routing.output, kChannelLayoutWords);
  const std::string start = "cannot render " + input + " in " + output;
  if (routing.input == ChannelLayout::fiveOne &&
      routing.output != ChannelLayout::fiveOne) {
    fail(start, ": it is 5.1, whose low-frequency channel ",
         routing.surround() ? "would be lost" : "has no place there",
         "; give --out-layout 5.1");
  }
  if (routing.folds() && !routing.surround()) {
    fail(start,
         ": it is 5.0, and only its reverberation would be folded; give "
         "--out-layout 5.0 or 5.1");
  }
  if (routing.input == ChannelLayout::stereo && routing.output == ChannelLayout::mono) {
    fail(start, ": it is stereo; give --out-layout stereo");
  }
  const std::string through =
      start + " through " + response + ": it is " + nameOf(routing.response);
  if (routing.surround() && !audio::isForFive(routing.response) &&
      !routing.pairwise()) {
    fail(through,
         ", and five loudspeakers take B-format (--bformat fuma or ambix) or "
         "speaker feeds (5 or 10 channels)");
  }
  if (!routing.surround() && audio::isForFive(routing.response)) {
    fail(through, ", which is for five loudspeakers; give --out-layout 5.0 or 5.1");
  }
  if (routing.output == ChannelLayout::mono &&
      routing.response != ResponseLayout::mono) {
    fail(through, ", which is for two loudspeakers; give --out-layout stereo");
  }
}

void refuseUseless(const Options& options, const Routing& routing) {
  const std::string output = wordFor(routing.output, kChannelLayoutWords);
  if (options.crossover && !routing.decodes()) {
    fail("cannot cross over at ", *options.crossover,
         " Hz (--crossover): that is done in decoding B-format, and the response is ",
         nameOf(routing.response));
  }
  if (options.rearDelay > 0.0 && !routing.surround()) {
    fail("cannot delay the surrounds by ", 1000.0 * options.rearDelay,
         " ms (--rear-delay): the output is ", output,
         ", and only 5.0 and 5.1 have any");
  }
}

}  // namespace

const char* nameOf(ResponseLayout layout) {
  switch (layout) {
    case ResponseLayout::mono:
      return "a mono response";
    case ResponseLayout::stereo:
      return "a stereo response";
    case ResponseLayout::trueStereo:
      return "a true-stereo response";
    case ResponseLayout::bFormat:
      return "B-format";
    default:
      return "speaker feeds";
  }
}

bool Routing::surround() const { return hasFive(output); }

bool Routing::pairwise() const {
  return hasFive(input) && surround() && !audio::isForFive(response);
}

bool Routing::folds() const { return hasFive(input) && !pairwise(); }

bool Routing::addsLowFrequency() const {
  return output == ChannelLayout::fiveOne && input != ChannelLayout::fiveOne;
}

int Routing::streamOutputs() const {
  return addsLowFrequency() ? 5 : audio::channelsOf(output);
}

Routing routingFor(const Options& options, const audio::AudioInfo& input,
                   const audio::AudioInfo* response) {
  Routing routing;
  routing.input = inputLayout(input);
  routing.response = response == nullptr ? roomLayout(options, routing.input)
                                         : responseLayout(options, *response);
  routing.output = outputLayout(options, routing.input, routing.response);
  refuseMismatch(routing, input.path,
                 response == nullptr ? "the room" : response->path);
  refuseUseless(options, routing);
  return routing;
}

}  // namespace ulmar::render
