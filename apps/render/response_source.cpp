#include "apps/render/response_source.h"

#include <utility>

#include "apps/common/files.h"
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

}  // namespace

Planar readResponse(const Options& options, const audio::AudioInfo& input,
                    ResponseInfo& info, Routing& routing) {
  Planar signal;
  if (options.room) {
    routing = routingFor(options, input, nullptr);
    signal = renderRoomFor(options, routing.response, input);
    info.name = std::string("synthetic ") + wordFor(*options.room, kRoomWords);
    if (*options.room == room::RoomKind::small) info.name += " room";
    info.sourceRate = input.sampleRate;
    info.channels = static_cast<int>(signal.size());
  } else {
    audio::AudioFile file = audio::readAudioFile(options.response);
    apps::noteIfCutShort(file.info, options.strict);
    routing = routingFor(options, input, &file.info);
    info.name = file.info.path;
    info.format = file.info.format;
    info.sourceRate = file.info.sampleRate;
    info.channels = file.info.channels;
    signal = audio::channelsInOrder(std::move(file), routing.response, options.bFormat);
  }
  info.sourceFrames = std::ssize(signal[0]);
  return signal;
}

}  // namespace ulmar::render
