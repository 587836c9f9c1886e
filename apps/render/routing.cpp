#include "apps/render/routing.h"

#include <algorithm>
#include <optional>
#include <span>

#include "apps/common/text.h"
#include "apps/render/bed.h"
#include "apps/render/option_values.h"
#include "ulmar/host/error.h"

namespace ulmar::render {
namespace {

using apps::countText;

using audio::ChannelLayout;

bool hasFive(ChannelLayout layout) {
  return layout == ChannelLayout::five || layout == ChannelLayout::fiveOne;
}

// Quad and 7.1.
bool hasOthersThanFive(ChannelLayout layout) {
  return isBed(layout) && !hasFive(layout);
}

ChannelLayout inputLayout(const audio::AudioInfo& input) {
  if (const auto layout = audio::layoutOf(input)) return *layout;
  const std::string speakers = audio::speakerNames(input.speakers);
  fail(
      "cannot use ", input.path, " as input: its ",
      countText(input.channels, "channel"),
      speakers.empty() ? "" : " (" + speakers + ")",
      " are not those of mono, stereo, quad, 5.0, 5.1 or 7.1, which have 1, 2, 4, 5, 6 "
      "or 8");
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
       " are: 1, 2, 4, 5, 6 (5.1) or 10 say so by their number, B-format by --bformat "
       "fuma "
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
  if (isBed(input)) return input;
  if (audio::isForFive(response)) return ChannelLayout::five;
  return input == ChannelLayout::mono && response == ResponseLayout::mono
             ? ChannelLayout::mono
             : ChannelLayout::stereo;
}

ChannelLayout sourceLayout(const Routing& routing) {
  if (routing.dryBed) return ChannelLayout::stereo;
  if (isBed(routing.output)) return routing.input;
  if (routing.output == ChannelLayout::mono) return ChannelLayout::mono;
  return isBed(routing.input) ? ChannelLayout::stereo : routing.input;
}

// Whether the reverberation can have the output's channels.
void refuseMismatch(const Routing& routing, const std::string& input,
                    const std::string& response) {
  const std::string output = wordFor(routing.output, kChannelLayoutWords);
  const std::string from = wordFor(routing.input, kChannelLayoutWords);
  const std::string start = "cannot render " + input + " in " + output;
  const std::string through =
      start + " through " + response + ": it is " + nameOf(routing.response);
  if (routing.dryBed) {
    if (!isBed(routing.input) || routing.output != routing.input) {
      fail(start, " (--dry-bed): it is ", from,
           ", and only quad, 5.0, 5.1 and 7.1 stay as they are");
    }
    if (routing.forFive() && routing.input == ChannelLayout::quad) {
      fail(through, ", and quad (--dry-bed) has no centre for it");
    }
    return;
  }
  const bool keeps = routing.output == routing.input;
  if (routing.input == ChannelLayout::fiveOne &&
      routing.output == ChannelLayout::five) {
    fail(start,
         ": it is 5.1, whose low-frequency channel would be lost; give --out-layout "
         "5.1");
  }
  const bool toFive = hasFive(routing.output) && !hasOthersThanFive(routing.input);
  if (isBed(routing.output) && !keeps && !toFive) {
    fail(start, ": it is ", from, ", and only ",
         hasFive(routing.output) ? "mono, stereo, 5.0 and 5.1" : output,
         " can be rendered so");
  }
  if (isBed(routing.output) && !routing.forFive() && !isBed(routing.input)) {
    fail(through,
         ", and five loudspeakers take B-format (--bformat fuma or ambix) or "
         "speaker feeds (5, 6 or 10 channels)");
  }
  if (routing.forFive() && !hasFive(routing.output)) {
    fail(through, ", which is for five loudspeakers; give --out-layout 5.0 or 5.1",
         isBed(routing.output) ? ", or --dry-bed" : "");
  }
}

void refuseUseless(const Options& options, const Routing& routing) {
  const std::string output = wordFor(routing.output, kChannelLayoutWords);
  if (options.crossover && !routing.decodes()) {
    fail("cannot cross over at ", *options.crossover,
         " Hz (--crossover): that is done in decoding B-format, and the response is ",
         nameOf(routing.response));
  }
  if (options.rearDelay > 0.0 && !routing.forFive() && !routing.pairwise()) {
    fail("cannot delay the surrounds by ", 1000.0 * options.rearDelay,
         " ms (--rear-delay): the output is ", output,
         ", and only that of surrounds has any");
  }
  if (options.bedMap && !routing.pairwise()) {
    fail(
        "cannot send channels by --map: it is for quad, 5.0, 5.1 and 7.1 through a "
        "mono, stereo or true-stereo response");
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

bool Routing::pairwise() const { return isBed(source) && !forFive(); }

bool Routing::folds() const { return hasFive(source) && forFive(); }

bool Routing::addsLowFrequency() const {
  return output == ChannelLayout::fiveOne && input != ChannelLayout::fiveOne;
}

int Routing::streamOutputs() const {
  if (addsLowFrequency() || (dryBed && forFive())) return 5;
  return audio::channelsOf(dryBed ? source : output);
}

Routing routingFor(const Options& options, const audio::AudioInfo& input,
                   const audio::AudioInfo* response) {
  Routing routing;
  routing.input = inputLayout(input);
  routing.response = response == nullptr ? roomLayout(options, routing.input)
                                         : responseLayout(options, *response);
  routing.output = outputLayout(options, routing.input, routing.response);
  routing.dryBed = options.dryBed;
  routing.source = sourceLayout(routing);
  refuseMismatch(routing, input.path,
                 response == nullptr ? "the room" : response->path);
  refuseUseless(options, routing);
  return routing;
}

}  // namespace ulmar::render
