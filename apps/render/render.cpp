#include "apps/render/render.h"

#include <algorithm>
#include <chrono>

#include "apps/render/channels.h"
#include "apps/render/progress.h"
#include "ulmar/audio/channel_layout.h"
#include "ulmar/host/stream.h"

namespace ulmar::render {
namespace {

// The levels as written, but the peaks of the library's meters, which measure before
// the limit.
std::vector<ChannelLevel> levelsOf(const RenderPlan& plan, const host::Stream& stream,
                                   const Sink& sink) {
  std::vector<ChannelLevel> levels = sink.levels();
  const auto peaks = stream.peaks();
  for (std::size_t k = 0; k < std::min(peaks.size(), sink.order().size()); ++k) {
    levels[static_cast<std::size_t>(sink.order()[k])].peak =
        double{peaks[k]} / double{plan.scale};
  }
  return levels;
}

// Of the channels that the library mixes: all but a low-frequency channel.
double peakOf(const RenderPlan& plan, const std::vector<ChannelLevel>& levels) {
  double peak = 0.0;
  for (std::size_t j = 0; j < levels.size(); ++j) {
    const bool copied = !plan.format.speakers.empty() &&
                        plan.format.speakers[j] == audio::Speaker::lowFrequency;
    if (!copied) peak = std::max(peak, levels[j].peak);
  }
  return peak;
}

// The stream at the plan's scale.
host::Stream streamOf(const RenderPlan& plan) {
  host::Stream stream(plan.stream, plan.responses);
  const ParamStruct& params = plan.params();
  stream.setDryGain(params.dryGain * plan.scale);
  stream.setWetGain(params.wetGain[0] * plan.scale);
  return stream;
}

}  // namespace

Rendering render(const RenderPlan& plan, audio::AudioReader& input, Trace* trace) {
  const auto start = std::chrono::steady_clock::now();
  host::Stream stream = streamOf(plan);
  audio::AudioWriter writer(plan.options.output, plan.format);
  Progress progress(plan.streamFrames(), plan.format.sampleRate);
  Source source(plan, input);
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
      sink.undoScale(plan.scale, frames);
    } else {
      const int numInputs = plan.routing.streamInputs();
      const int numOutputs = plan.routing.streamOutputs();
      const auto given = static_cast<int>(
          std::clamp<std::int64_t>(plan.input.frames - done, 0, frames));
      trace->input.add(source.undelayed(), numInputs, 0, given);
      processTraced(stream, in, numInputs, sink.buffers(), numOutputs, frames, *trace);
      sink.undoScale(plan.scale, frames);
      trace->output.add(sink.buffers(), numOutputs, skipped, frames);
    }
    sink.write(skipped, frames);
    done += frames;
    progress.show(done);
  }

  Rendering rendering;
  rendering.elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  rendering.timesRealTime = plan.outSeconds() / rendering.elapsed;
  rendering.channels = audio::channelNames(plan.routing.output);
  rendering.levels = levelsOf(plan, stream, sink);
  const double peak = peakOf(plan, rendering.levels);
  rendering.gainWithoutClipping = peak > kMaxSample ? kMaxSample / peak : 1.0;
  rendering.limited = peak * double{plan.scale} > kMaxSample;
  writer.commit();
  return rendering;
}

}  // namespace ulmar::render
