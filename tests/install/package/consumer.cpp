// A host that renders a room into a stream, with nothing but what is installed.
#include "ulmar/audio/resample.h"
#include "ulmar/host/stream.h"
#include "ulmar/room/room.h"

int main() {
  using namespace ulmar;
  const Planar room = room::renderRoom(room::roomPreset(room::RoomKind::small),
                                       room::RoomLayout::stereo, 8000);
  const host::Responses responses =
      host::arrangeResponses(audio::resampleResponse(room, 8000, 16000), 1);
  host::Stream stream(host::StreamPlan(1, 2, responses.shape(), {}), responses);
  std::vector<float> in(4096);
  in[0] = 0.5F;
  std::vector<float> out(2 * in.size());
  stream.processInterleaved(in.data(), out.data(), 4096);
  return stream.peaks()[0] > 0.0F ? 0 : 1;
}
