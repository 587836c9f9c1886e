#include "apps/render/workers.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

#include "apps/render/channels.h"

namespace ulmar::render {
namespace {

// At the plan's scale.
host::Stream streamOf(const RenderPlan& plan,
                      std::shared_ptr<const host::PartitionSets> sets) {
  host::Stream stream(plan.stream, std::move(sets));
  const ParamStruct& params = plan.params();
  stream.setDryGain(params.dryGain * plan.scale);
  stream.setWetGain(params.wetGain[0] * plan.scale);
  return stream;
}

// Exact, as the scale is a power of two. The low-frequency channel, which the stream
// copies, has none.
void undoScale(float scale, Planar& samples, std::size_t first) {
  if (scale == 1.0F) return;
  for (std::size_t k = 0; k < std::min(samples.size(), kLowFrequency); ++k) {
    for (float& sample : std::span(samples[k]).subspan(first)) sample /= scale;
  }
}

// In place: an output takes the buffer of the input of its number.
Rendered renderStretch(const RenderPlan& plan, host::Stream& stream, Work work,
                       Trace* trace) {
  if (!work.continues) stream.reset();
  Rendered rendered{.samples = std::move(work.samples), .peaks = {}};
  Planar& samples = rendered.samples;
  const auto numInputs = static_cast<std::size_t>(plan.routing.streamInputs());
  const auto numOutputs = static_cast<std::size_t>(plan.routing.streamOutputs());
  const std::size_t total = samples[0].size();
  samples.resize(std::max(numInputs, numOutputs));
  for (auto& channel : samples) channel.resize(total);

  const auto ahead = static_cast<std::size_t>(work.ahead);
  std::vector<float*> at(samples.size());
  for (std::size_t done = 0; done < total;) {
    if (done == ahead) stream.clearPeaks();
    const std::size_t end = done < ahead ? ahead : total;
    const auto frames =
        static_cast<int>(std::min(end - done, std::size_t{kBufferFrames}));
    std::ranges::transform(samples, at.begin(),
                           [&](auto& channel) { return channel.data() + done; });
    if (trace == nullptr) {
      stream.process(at.data(), at.data(), frames);
    } else {
      processTraced(stream, at.data(), static_cast<int>(numInputs), at.data(),
                    static_cast<int>(numOutputs), frames, *trace);
    }
    done += static_cast<std::size_t>(frames);
  }
  samples.resize(numOutputs);
  rendered.peaks = stream.peaks();
  undoScale(plan.scale, samples, ahead);
  return rendered;
}

}  // namespace

Workers::Workers(const RenderPlan& plan, Trace* trace) : plan_(plan), trace_(trace) {
  const auto sets = host::buildPartitionSets(plan.stream, plan.responses);
  for (int job = 0; job < plan.jobs; ++job) streams_.push_back(streamOf(plan, sets));
  for (host::Stream& stream : streams_) {
    threads_.emplace_back([this, &stream] { run(stream); });
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
  Task task([this, work = std::move(work)](host::Stream& stream) mutable {
    return renderStretch(plan_, stream, std::move(work), trace_);
  });
  std::future<Rendered> result = task.get_future();
  {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  changed_.notify_one();
  return result;
}

void Workers::run(host::Stream& stream) {
  for (;;) {
    Task task;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return closing_ || !tasks_.empty(); });
      if (tasks_.empty()) return;
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task(stream);
  }
}

}  // namespace ulmar::render
