// Files that are none, or broken: read or refused with an Error.
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/choices.h"
#include "ulmar/audio/audio_file.h"
#include "ulmar/host/error.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr int kFrames = 512;
  constexpr int kMostReads = 200;
  const int file = memfd_create("input", MFD_CLOEXEC);
  if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) std::abort();
  try {
    ulmar::audio::AudioReader reader("/proc/self/fd/" + std::to_string(file));
    const auto channels = static_cast<std::size_t>(reader.info().channels);
    std::vector<float> samples(kFrames * channels);
    for (int i = 0; i < kMostReads; ++i) {
      const int frames = reader.read(samples.data(), kFrames);
      for (std::size_t k = 0; k < static_cast<std::size_t>(frames) * channels; ++k) {
        if (!std::isfinite(samples[k])) std::abort();
      }
      if (frames == 0) break;
    }
    reader.rewind();
  } catch (const ulmar::Error&) {
  }
  close(file);
  return 0;
}
