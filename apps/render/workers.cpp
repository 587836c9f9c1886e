#include "apps/render/workers.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <span>
#include <utility>

#include "apps/render/bed.h"
#include "apps/render/channels.h"

namespace ulmar::render {
namespace {

// At the scale of all renderings.
host::Stream streamOf(const StreamPart& part,
                      std::shared_ptr<const host::PartitionSets> sets) {
  host::Stream stream(part.stream, std::move(sets));
  const ParamStruct& params = part.stream.params();
  stream.setDryGain(params.dryGain * RenderPlan::kScale);
  stream.setWetGain(params.wetGain[0] * RenderPlan::kScale);
  return stream;
}

// Exact, as the scale is a power of two. The low-frequency channel, which the stream
// copies, has none.
void undoScale(Planar& samples, std::size_t first) {
  for (std::size_t k = 0; k < samples.size(); ++k) {
    if (k == kLowFrequency) continue;
    for (float& sample : std::span(samples[k]).subspan(first)) {
      sample /= RenderPlan::kScale;
    }
  }
}

// Frames from `first` on, in place: an output takes the buffer of the channel that it
// becomes, which no later part reads.
void processPart(const StreamPart& part, host::Stream& stream, Planar& samples,
                 std::size_t first, int frames, Trace* trace) {
  const auto startsOf = [&](const std::vector<std::size_t>& channels) {
    std::vector<float*> starts;
    starts.reserve(channels.size());
    for (const std::size_t channel : channels) {
      starts.push_back(samples[channel].data() + first);
    }
    return starts;
  };
  const std::vector<float*> in = startsOf(part.inputs);
  const std::vector<float*> out = startsOf(part.outputs);
  if (trace == nullptr) {
    stream.process(in.data(), out.data(), frames);
  } else {
    processTraced(stream, in.data(), static_cast<int>(in.size()), out.data(),
                  static_cast<int>(out.size()), frames, *trace);
  }
}

// Adds the reverberation of left and right, or of L C R Ls Rs, to the same channels of
// the bed, both in the library's order.
Planar mixed(audio::ChannelLayout layout, Planar bed, const Planar& wet) {
  const std::vector<std::size_t> front = groupsOf(layout)[0].channels;
  for (std::size_t k = 0; k < wet.size(); ++k) {
    std::vector<float>& channel = bed[wet.size() == 2 ? front[k] : k];
    for (std::size_t i = 0; i < channel.size(); ++i) channel[i] += wet[k][i];
  }
  return bed;
}

void processStretch(const StreamPart& part, host::Stream& stream, const Work& work,
                    Planar& samples, Trace* trace) {
  const auto ahead = static_cast<std::size_t>(work.ahead);
  const std::size_t total = samples[0].size();
  if (!work.continues) stream.reset();
  if (trace != nullptr) trace->startPart();
  for (std::size_t done = 0; done < total;) {
    if (done == ahead) stream.clearPeaks();
    const std::size_t end = done < ahead ? ahead : total;
    const auto frames = std::min(end - done, std::size_t{kBufferFrames});
    processPart(part, stream, samples, done, static_cast<int>(frames), trace);
    done += frames;
  }
}

Rendered renderStretch(const RenderPlan& plan, std::vector<host::Stream>& streams,
                       Work work, Trace* trace) {
  Rendered rendered{.samples = std::move(work.samples), .peak = 0.0F};
  Planar& samples = rendered.samples;
  const std::size_t total = samples[0].size();
  const auto numInputs = static_cast<std::ptrdiff_t>(plan.routing.streamInputs());
  const auto numOutputs = static_cast<std::size_t>(plan.routing.streamOutputs());
  Planar bed(std::make_move_iterator(samples.begin() + numInputs),
             std::make_move_iterator(samples.end()));
  samples.resize(static_cast<std::size_t>(numInputs));
  samples.resize(std::max(samples.size(), numOutputs));
  for (auto& channel : samples) channel.resize(total);

  if (trace != nullptr) trace->startStretch();
  for (std::size_t p = 0; p < streams.size(); ++p) {
    processStretch(plan.parts[p], streams[p], work, samples, trace);
    rendered.peak = std::max(rendered.peak, std::ranges::max(streams[p].peaks()));
  }
  rendered.peak /= RenderPlan::kScale;
  samples.resize(numOutputs);
  undoScale(samples, static_cast<std::size_t>(work.ahead));
  if (!bed.empty()) samples = mixed(plan.routing.input, std::move(bed), samples);
  return rendered;
}

}  // namespace

Workers::Workers(const RenderPlan& plan, Trace* trace) : plan_(plan), trace_(trace) {
  streams_.resize(static_cast<std::size_t>(plan.jobs));
  for (const StreamPart& part : plan.parts) {
    const auto sets = host::buildPartitionSets(part.stream, part.responses);
    for (Streams& streams : streams_) {
      streams.push_back(streamOf(part, sets));
    }
  }
  for (Streams& streams : streams_) {
    threads_.emplace_back([this, &streams] { run(streams); });
  }
}

Workers::~Workers() {
  {
    const std::lock_guard lock(mutex_);
    closing_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

std::future<Rendered> Workers::render(Work work) {
  Task task([this, work = std::move(work)](Streams& streams) mutable {
    return renderStretch(plan_, streams, std::move(work), trace_);
  });
  std::future<Rendered> result = task.get_future();
  {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  changed_.notify_one();
  return result;
}

void Workers::run(Streams& streams) {
  for (;;) {
    Task task;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return closing_ || !tasks_.empty(); });
      if (tasks_.empty()) return;
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task(streams);
  }
}

}  // namespace ulmar::render
