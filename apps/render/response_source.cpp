#include "apps/render/response_source.h"

#include <utility>

#include "apps/render/option_values.h"
#include "ulmar/host/error.h"

namespace ulmar::render {
namespace {

room::RoomLayout roomLayoutOf(ResponseLayout response) {
  switch (response) {
    case ResponseLayout::mono:
      return room::RoomLayout::mono;
    case ResponseLayout::stereo:
      return room::RoomLayout::stereo;
    case ResponseLayout::trueStereo:
      return room::RoomLayout::trueStereo;
    default:
      return room::RoomLayout::bFormat;
  }
}

Planar renderRoomFor(const Options& options, ResponseLayout layout,
                     const audio::AudioInfo& input) {
  room::RoomSpec room = room::roomPreset(*options.room);
  if (options.seed) room.seed = *options.seed;
  try {
    return room::renderRoom(room, roomLayoutOf(layout), input.sampleRate);
  } catch (const Error& error) {
    fail("cannot put ", input.path, " into a room: ", error.what());
  }
}

// A file's speaker feeds in the engine's order: left, right, left surround, right
// surround, centre. Ten channels are twice five in the standard order of files; a
// low-frequency channel is left out.
Planar feedsOf(const audio::AudioFile& file) {
  enum LibraryChannel : std::size_t {
    left,
    centre,
    right,
    leftSurround,
    rightSurround
  };
  constexpr LibraryChannel kEngineOrder[] = {left, right, leftSurround, rightSurround,
                                             centre};
  const bool two = file.info.channels == 10;
  const std::vector<int> order =
      two ? audio::libraryOrder(5, {})
          : audio::libraryOrder(file.info.channels, file.info.speakers);
  Planar feeds;
  for (std::size_t source = 0; source < (two ? 2 : 1); ++source) {
    for (const LibraryChannel k : kEngineOrder) {
      feeds.push_back(file.samples[5 * source + static_cast<std::size_t>(order[k])]);
    }
  }
  return feeds;
}

}  // namespace

Planar readResponse(const Options& options, const audio::AudioInfo& input,
                    ResponseInfo& info, Routing& routing) {
  Planar signal;
  if (options.room) {
    routing = routingFor(options, input, nullptr);
    signal = renderRoomFor(options, routing.response, input);
    info.name = std::string("synthetic ") + wordFor(*options.room, kRoomWords);
    info.sourceRate = input.sampleRate;
    info.channels = static_cast<int>(signal.size());
  } else {
    audio::AudioFile file = audio::readAudioFile(options.response);
    routing = routingFor(options, input, &file.info);
    info.name = file.info.path;
    info.format = file.info.format;
    info.sourceRate = file.info.sampleRate;
    info.channels = file.info.channels;
    if (routing.response == ResponseLayout::bFormat) {
      signal = host::horizontalBFormat(file.samples, *options.bFormat);
    } else if (routing.response == ResponseLayout::feeds) {
      signal = feedsOf(file);
    } else {
      signal = std::move(file.samples);
    }
  }
  info.sourceFrames = std::ssize(signal[0]);
  return signal;
}

}  // namespace ulmar::render
