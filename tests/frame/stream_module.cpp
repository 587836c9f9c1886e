// A host's shared library that plays one stream: what it links and publishes shows what
// the host kit brings along.
#include "ulmar/host/stream.h"

extern "C" __attribute__((visibility("default"))) int playStream(const float* in,
                                                                 float* out,
                                                                 int frames) {
  using namespace ulmar::host;
  const Responses responses = arrangeResponses({{1.0F, 0.5F}}, 1);
  Stream stream(1, 1, streamParams(responses, {}), responses);
  stream.process(&in, &out, frames);
  return stream.latency();
}
