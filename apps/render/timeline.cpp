#include "apps/render/timeline.h"

#include <algorithm>

namespace ulmar::render {
namespace {

constexpr std::int64_t kOneJobStretch = 1 << 16;  // frames

// A stretch of so many histories spends a ninth or a fifth of its work on them.
constexpr std::int64_t kMostHistories = 8;
constexpr std::int64_t kLeastHistories = 4;

// What the samples of all jobs together may hold before stretches are shortened to the
// least.
constexpr std::int64_t kSampleBytes = 32 << 20;

int phasePeriod(const ParamStruct& params) {
  return params.numSegments * params.chunksPerSegment * params.blockLen;
}

// Frames after which what was fed to an engine is no longer heard: the response, or the
// blocks that it works ahead if they last longer, and its latency, of two blocks for a
// tail and one for the overlap.
std::int64_t engineHistory(const ParamStruct& params) {
  return std::max(params.irLen, phasePeriod(params)) +
         3 * std::int64_t{params.blockLen};
}

std::int64_t roundedUp(std::int64_t value, std::int64_t step) {
  return (value + step - 1) / step * step;
}

std::int64_t divided(std::int64_t value, std::int64_t by) {
  return (value + by - 1) / by;
}

}  // namespace

// All factors are powers of two, so the largest is a multiple of the others.
int phasePeriod(const RenderPlan& plan) {
  int period = 1;
  for (const StreamPart& part : plan.parts) {
    period = std::max(period, phasePeriod(part.stream.params()));
    if (const auto& tail = part.stream.tail()) {
      period = std::max(period, phasePeriod(tail->params));
    }
  }
  return period;
}

std::int64_t historyFrames(const RenderPlan& plan) {
  std::int64_t frames = 0;
  for (const StreamPart& part : plan.parts) {
    frames = std::max(frames, engineHistory(part.stream.params()));
    if (const auto& tail = part.stream.tail()) {
      frames = std::max(frames, tail->start + engineHistory(tail->params));
    }
  }
  return frames + plan.params().dryDelay + plan.params().rearDelay;
}

int jobsFor(const RenderPlan& plan, int most) {
  if (plan.routing.decodes()) return 1;
  const std::int64_t worthwhile =
      plan.streamFrames() / (kLeastHistories * historyFrames(plan));
  return static_cast<int>(std::clamp<std::int64_t>(worthwhile, 1, most));
}

std::vector<Stretch> stretchesOf(const RenderPlan& plan) {
  const std::int64_t total = plan.streamFrames();
  std::vector<Stretch> stretches;
  if (plan.jobs == 1) {
    for (std::int64_t first = 0; first < total; first += kOneJobStretch) {
      stretches.push_back({first, first, std::min(first + kOneJobStretch, total)});
    }
    return stretches;
  }
  // Streams start where phases repeat, and a history later their frames are taken.
  const std::int64_t history = historyFrames(plan);
  const std::int64_t bytesPerFrame =
      std::int64_t{sizeof(float)} *
      std::max(plan.routing.streamInputs(), plan.routing.streamOutputs());
  const std::int64_t longest =
      std::clamp(kSampleBytes / (bytesPerFrame * (plan.jobs + 2)),
                 kLeastHistories * history, kMostHistories * history);
  // As many for each job, of equal length.
  const std::int64_t count = roundedUp(divided(total, longest), plan.jobs);
  const std::int64_t length = roundedUp(divided(total, count), phasePeriod(plan));
  for (std::int64_t start = 0; start == 0 || start + history < total; start += length) {
    stretches.push_back({start, start == 0 ? 0 : start + history,
                         std::min(start + length + history, total)});
  }
  return stretches;
}

}  // namespace ulmar::render
