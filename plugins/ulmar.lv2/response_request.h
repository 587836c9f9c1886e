// What decides on a response, and the stream that is made for it.
#pragma once

#include <memory>
#include <string>

#include "plugins/ulmar.lv2/ports.h"
#include "ulmar/host/stream.h"

namespace ulmar::lv2 {

/// The controls that take a new stream.
struct ResponseRequest {
  Choice choice = Choice::file;
  double predelay = 0.0;  // s
  double start = 0.0;     // s
  double length = 30.0;   // s
  double fade = 0.0;      // s
  Level level = Level::energy;
  BFormatChoice bFormat = BFormatChoice::none;
  bool lowCost = false;
  double rearDelay = 0.0;    // s
  double crossover = 400.0;  // Hz
  int block = 0;             // frames, 0 for the host's

  bool operator==(const ResponseRequest&) const = default;
};

/// What the whole life of an instance has in common.
struct Setting {
  Variant variant;
  int sampleRate = 48000;
  int hostBlock = 512;  // frames that the host will mostly ask for
};

/// The block length of a stream: what is asked for, or the largest power of two that
/// the host's block holds, within the limits of the port.
int blockLenFor(const ResponseRequest& request, const Setting& setting);

/// The streams compute at this scale, so that the library's limit lies 192 dB above
/// full scale. A power of two, which is undone exactly.
inline constexpr float kScale = 0x1p-32F;

/// A stream without a dry signal, at kScale. path: of the file, with Choice::file;
/// empty for the hall. Throws Error with a sentence for people. Takes up to seconds.
std::unique_ptr<host::Stream> buildStream(const ResponseRequest& request,
                                          const std::string& path,
                                          const Setting& setting);

}  // namespace ulmar::lv2
