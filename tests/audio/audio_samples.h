// Audio files made byte by byte, and short ways to write and read whole ones.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/random.h"
#include "ulmar/audio/audio_file.h"

namespace ulmar::audio {

/// A number of numBytes bytes, the lowest first.
inline std::string little(std::uint64_t value, int numBytes) {
  std::string bytes;
  for (int i = 0; i < numBytes; ++i)
    bytes += static_cast<char>(value >> (8 * i) & 0xFF);
  return bytes;
}

/// The same, the highest first.
inline std::string big(std::uint64_t value, int numBytes) {
  const std::string bytes = little(value, numBytes);
  return {bytes.rbegin(), bytes.rend()};
}

/// A 16-bit WAV file whose header may say what is not so.
struct WavHeader {
  unsigned channels = 2;
  std::uint32_t rate = 48000;
  std::uint32_t dataLen = 0;
  std::uint32_t riffLen = 0;
  std::string before = {};  // chunks ahead of the format's
  std::string container = "RIFF";

  std::string with(std::string_view data) const {
    const unsigned frameBytes = 2 * channels;
    return container + little(riffLen, 4) + "WAVE" + before + "fmt " + little(16, 4) +
           little(1, 2) + little(channels, 2) + little(rate, 4) +
           little(std::uint64_t{rate} * frameBytes, 4) + little(frameBytes, 2) +
           little(16, 2) + "data" + little(dataLen, 4) + std::string(data);
  }
};

/// The same with a length of 64 bits.
inline WavHeader rf64(std::uint64_t dataLen) {
  return {.dataLen = 0xFFFFFFFF,
          .riffLen = 0xFFFFFFFF,
          .before = "ds64" + little(28, 4) + little(dataLen + 72, 8) +
                    little(dataLen, 8) + std::string(12, '\0'),
          .container = "RF64"};
}

/// A 16-bit AIFF file of two channels at 48 kHz whose header may say what is not so.
struct AiffHeader {
  std::uint32_t numFrames = 0;
  std::uint32_t audioLen = 0;  // with the 8 bytes between the length and the samples
  std::uint32_t formLen = 0;
  std::string before = {};  // chunks ahead of the format's

  std::string with(std::string_view data) const {
    const std::string rate = big(0x400E, 2) + big(0xBB80, 2) + std::string(6, '\0');
    return "FORM" + big(formLen, 4) + "AIFF" + before + "COMM" + big(18, 4) +
           big(2, 2) + big(numFrames, 4) + big(16, 2) + rate + "SSND" +
           big(audioLen, 4) + std::string(8, '\0') + std::string(data);
  }
};

inline void writeAudio(const std::string& path, const AudioFormat& format,
                       const std::vector<float>& interleaved) {
  AudioWriter writer(path, format);
  writer.write(interleaved.data(),
               static_cast<int>(interleaved.size()) / format.channels);
  writer.commit();
}

/// The same in every run; from -1 to 1.
inline std::vector<float> noise(int numSamples) {
  return test::Random(1).signal(numSamples);
}

/// Interleaved, read in blocks that divide nothing.
inline std::vector<float> readAudio(const std::string& path) {
  constexpr int kBlockFrames = 37;
  AudioReader reader(path);
  const auto channels = static_cast<std::size_t>(reader.info().channels);
  std::vector<float> samples;
  std::vector<float> block(kBlockFrames * channels);
  while (const int frames = reader.read(block.data(), kBlockFrames)) {
    samples.insert(
        samples.end(), block.begin(),
        block.begin() + static_cast<std::ptrdiff_t>(frames) * reader.info().channels);
  }
  return samples;
}

}  // namespace ulmar::audio
