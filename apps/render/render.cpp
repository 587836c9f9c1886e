#include "apps/render/render.h"

#include <algorithm>
#include <chrono>

#include "apps/render/progress.h"
#include "host/stream.h"

namespace ulmar::render {
namespace {

// Frames that are read, processed and written at a time: long enough to make the cost
// of a call vanish, short enough for a smooth progress bar and a small memory.
constexpr int kBufferFrames = 8192;

// Interleaved frames of the material, then of silence.
class Source {
 public:
  explicit Source(host::AudioReader& material)
      : material_(material),
        channels_(material.info().channels),
        buffer_(static_cast<std::size_t>(kBufferFrames * channels_)) {}

  const float* next(int frames) {
    const int given = material_.read(buffer_.data(), frames);
    std::fill(buffer_.begin() + given * channels_, buffer_.end(), 0.0F);
    return buffer_.data();
  }

 private:
  host::AudioReader& material_;
  int channels_;
  std::vector<float> buffer_;
};

}  // namespace

Rendering render(const Plan& plan, host::AudioReader& material) {
  const auto start = std::chrono::steady_clock::now();
  const int outChannels = plan.format.channels;
  host::Stream stream(plan.material.channels, outChannels, plan.params, plan.responses);
  host::AudioWriter writer(plan.options.output, plan.format);
  Progress progress(plan.streamFrames(), plan.format.sampleRate);
  Source source(material);
  std::vector<float> out(static_cast<std::size_t>(kBufferFrames * outChannels));

  std::int64_t done = 0;
  while (done < plan.streamFrames()) {
    const auto frames = static_cast<int>(
        std::min<std::int64_t>(kBufferFrames, plan.streamFrames() - done));
    stream.processInterleaved(source.next(frames), out.data(), frames);
    const auto skipped = static_cast<int>(
        std::clamp<std::int64_t>(plan.skippedFrames - done, 0, frames));
    writer.write(out.data() + skipped * outChannels, frames - skipped);
    done += frames;
    progress.show(done);
  }

  Rendering rendering;
  rendering.elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const auto peaks = stream.peaks();
  rendering.peaks.assign(peaks.begin(), peaks.begin() + outChannels);
  writer.commit();
  return rendering;
}

}  // namespace ulmar::render
