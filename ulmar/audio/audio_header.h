// The check for truncated files: what an audio file's header claims, read independently
// of the decoder. Decoders clamp a promised length to what the file holds and so hide
// that it is cut off.
#pragma once

#include <cstdint>
#include <optional>

namespace ulmar::audio {

/// The claims of a WAV, RF64, AIFF or FLAC header; all fields stay empty for other
/// files.
struct AudioHeader {
  /// How the header gives the length of the audio chunk. Writers that cannot seek back
  /// leave a placeholder, or zero; the audio then runs to the end of the file.
  enum class Length { notGiven, stated, placeholder, leftAtZero };

  std::optional<double> sampleRate;  // Hz
  Length length = Length::notGiven;
  std::int64_t statedBytes = 0;  // of the audio chunk, with Length::stated
  std::int64_t presentBytes =
      0;  // from the start of the audio chunk to the end of the file
  std::int64_t lengthPos = 0;  // where the file keeps the chunk's 32-bit length
};

/// Reads the header of an open file of fileBytes bytes; the file position is left
/// alone.
AudioHeader readAudioHeader(int fd, std::int64_t fileBytes);

}  // namespace ulmar::audio
