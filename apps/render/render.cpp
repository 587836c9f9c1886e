#include "apps/render/render.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <future>
#include <utility>

#include "apps/render/channels.h"
#include "apps/render/progress.h"
#include "apps/render/timeline.h"
#include "apps/render/workers.h"
#include "ulmar/audio/channel_layout.h"

namespace ulmar::render {
namespace {

/// What was rendered.
struct Levels {
  std::vector<ChannelLevel> channels;  // of the file
  float streamPeak = 0.0F;             // before any limit of the library's

  double peak() const {
    double peak = 0.0;
    for (const ChannelLevel& channel : channels) peak = std::max(peak, channel.peak);
    return peak;
  }
};

// Reads what the stretches need, in their order.
class Reader {
 public:
  Reader(const RenderPlan& plan, audio::AudioReader& input, Trace* trace)
      : plan_(plan),
        source_(plan, input),
        trace_(trace),
        kept_(static_cast<std::size_t>(plan.routing.channelsRead())) {}

  Work workFor(const Stretch& stretch, std::int64_t keep) {
    Work work;
    work.ahead = stretch.first - stretch.start;
    work.continues = stretch.first > 0 && work.ahead == 0;
    work.samples = std::move(kept_);
    for (auto& channel : work.samples) {
      channel.reserve(static_cast<std::size_t>(stretch.end - stretch.start));
    }
    for (std::int64_t pos = stretch.first; pos < stretch.end;) {
      const auto frames =
          static_cast<int>(std::min<std::int64_t>(kBufferFrames, stretch.end - pos));
      const float* const* const in = source_.next(frames);
      for (std::size_t k = 0; k < work.samples.size(); ++k) {
        work.samples[k].insert(work.samples[k].end(), in[k], in[k] + frames);
      }
      if (trace_ != nullptr) {
        const auto given = static_cast<int>(
            std::clamp<std::int64_t>(plan_.input.frames - pos, 0, frames));
        trace_->input.add(source_.undelayed(), 0, given);
      }
      pos += frames;
    }
    kept_.resize(work.samples.size());
    for (std::size_t k = 0; k < kept_.size(); ++k) {
      kept_[k].assign(work.samples[k].end() - static_cast<std::ptrdiff_t>(keep),
                      work.samples[k].end());
    }
    return work;
  }

 private:
  const RenderPlan& plan_;
  Source source_;
  Trace* trace_;
  Planar kept_;  // what the next stretch needs again
};

// All frames, into the writer if there is one. Reading, rendering and writing overlap:
// stretches are read ahead of those that the workers are at, and written when they are
// due.
Levels renderAll(const RenderPlan& plan, audio::AudioReader& input, double gain,
                 audio::AudioWriter* writer, Trace* trace) {
  Progress progress(plan.streamFrames(), plan.format.sampleRate);
  Reader reader(plan, input, trace);
  Sink sink(plan, gain, writer);
  float streamPeak = 0.0F;

  const std::vector<Stretch> stretches = stretchesOf(plan);
  std::deque<std::future<Rendered>> pending;
  Workers workers(plan, trace);
  std::size_t numRead = 0;
  for (const Stretch& stretch : stretches) {
    for (; numRead < stretches.size() && std::cmp_less_equal(pending.size(), plan.jobs);
         ++numRead) {
      const Stretch& next = stretches[numRead];
      const bool isLast = numRead + 1 == stretches.size();
      const std::int64_t keep = isLast ? 0 : next.end - stretches[numRead + 1].start;
      pending.push_back(workers.render(reader.workFor(next, keep)));
    }
    const Rendered rendered = pending.front().get();
    pending.pop_front();
    // In the stretch's own frames.
    const std::int64_t frames = stretch.end - stretch.start;
    const std::int64_t first =
        std::min(std::max(plan.skippedFrames, stretch.first) - stretch.start, frames);
    if (trace != nullptr) trace->output.add(rendered.samples, first, frames);
    sink.write(rendered.samples, first, frames);
    streamPeak = std::max(streamPeak, rendered.peak);
    progress.show(stretch.end);
  }
  return {sink.levels(), streamPeak};
}

// The gain, at most 1, that takes a peak to the largest sample of the file.
double gainFor(double peak, const RenderPlan& plan) {
  const double fullScale = audio::fullScaleOf(plan.format.samples);
  return peak > fullScale ? fullScale / peak : 1.0;
}

}  // namespace

Rendering render(const RenderPlan& plan, audio::AudioReader& input, Trace* trace) {
  const auto start = std::chrono::steady_clock::now();
  Rendering rendering;
  rendering.outputGain = plan.options.outputGain.value_or(1.0);
  audio::AudioWriter writer(plan.options.output, plan.format);
  if (!plan.options.outputGain) {
    const double peak = renderAll(plan, input, 1.0, nullptr, nullptr).peak();
    input.rewind();
    // A step of single precision less, so that no rounding passes the limit.
    constexpr double kMargin = 1.0 - 0x1p-23;
    rendering.outputGain = gainFor(peak / kMargin, plan);
  }
  Levels levels = renderAll(plan, input, rendering.outputGain, &writer, trace);
  rendering.elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  rendering.timesRealTime = plan.outSeconds() / rendering.elapsed;
  rendering.channels = audio::channelNames(plan.routing.output);
  const double streamPeak = double{levels.streamPeak} * double{RenderPlan::kScale};
  rendering.beyondLibrary = streamPeak > double{kMaxSample};
  rendering.gainWithoutClipping =
      gainFor(rendering.beyondLibrary ? levels.streamPeak * rendering.outputGain
                                      : levels.peak(),
              plan);
  rendering.levels = std::move(levels.channels);
  rendering.limitedSamples = writer.limited();
  writer.commit();
  return rendering;
}

}  // namespace ulmar::render
