// What an audio file's header claims, read independently of the decoder. Decoders clamp
// a promised length to what the file holds and so hide that it is cut off, and may lose
// themselves in chunks that reach beyond the end of the file.
#pragma once

#include <cstdint>
#include <optional>

#include "ulmar/audio/byte_source.h"

namespace ulmar::audio {

/// The claims of a WAV, RF64, W64, AIFF, AU, CAF, FLAC or Ogg file; all fields stay
/// empty for others.
struct AudioHeader {
  std::optional<double> sampleRate;  // Hz
  // Of the samples, as stated. Not given where writers could not seek back to fill
  // it in and left a placeholder or zero: the audio then runs to the end of the file.
  std::optional<std::int64_t> statedBytes;
  // From the first sample to the end of the file.
  std::int64_t presentBytes = 0;
  // Of Ogg, which states no length: whether its last page, marked as such, is missing.
  bool lacksLastPage = false;
  // Of MP3: whether it states how many frames it has. Without that they are guessed
  // from the bytes and the first bit rate.
  bool statesFrames = false;

  bool isCutShort() const { return statedBytes.value_or(0) > presentBytes; }
};

/// Reads the header. What follows the last whole chunk is hidden from then on, and a
/// length that was not filled in is replaced.
AudioHeader readAudioHeader(ByteSource& source);

}  // namespace ulmar::audio
