#include "apps/render/render.h"

#include <algorithm>
#include <chrono>

#include "apps/render/channels.h"
#include "apps/render/progress.h"
#include "ulmar/host/stream.h"

namespace ulmar::render {
namespace {

// As written, but with the library's meters, which show what was clamped.
std::vector<ChannelLevel> levelsOf(const host::Stream& stream, const Sink& sink) {
  std::vector<ChannelLevel> levels = sink.levels();
  const auto peaks = stream.peaks();
  for (std::size_t k = 0; k < std::min(peaks.size(), sink.order().size()); ++k) {
    levels[static_cast<std::size_t>(sink.order()[k])].peak = double{peaks[k]};
  }
  return levels;
}

}  // namespace

Rendering render(const Plan& plan, audio::AudioReader& material, Trace* trace) {
  const auto start = std::chrono::steady_clock::now();
  host::Stream stream(plan.routing.streamInputs(), plan.routing.streamOutputs(),
                      plan.params, plan.responses);
  audio::AudioWriter writer(plan.options.output, plan.format);
  Progress progress(plan.streamFrames(), plan.format.sampleRate);
  Source source(plan, material);
  Sink sink(plan, writer);

  std::int64_t done = 0;
  while (done < plan.streamFrames()) {
    const auto frames = static_cast<int>(
        std::min<std::int64_t>(kBufferFrames, plan.streamFrames() - done));
    const auto skipped = static_cast<int>(
        std::clamp<std::int64_t>(plan.skippedFrames - done, 0, frames));
    const float* const* const in = source.next(frames);
    if (trace == nullptr) {
      stream.process(in, sink.buffers(), frames);
    } else {
      const int numInputs = plan.routing.streamInputs();
      const int numOutputs = plan.routing.streamOutputs();
      const auto given = static_cast<int>(
          std::clamp<std::int64_t>(plan.material.frames - done, 0, frames));
      trace->material.add(source.undelayed(), numInputs, 0, given);
      processTraced(stream, in, numInputs, sink.buffers(), numOutputs, frames, *trace);
      trace->output.add(sink.buffers(), numOutputs, skipped, frames);
    }
    sink.write(skipped, frames);
    done += frames;
    progress.show(done);
  }

  Rendering rendering;
  rendering.elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  rendering.levels = levelsOf(stream, sink);
  writer.commit();
  return rendering;
}

}  // namespace ulmar::render
