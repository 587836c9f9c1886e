#include "bench/ulmar.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ulmar/base/align.h"
#include "ulmar/process/engine_cycle.h"

namespace ulmar::bench {

namespace {

// A power of two, so that it can be undone exactly: noise convolved with ten seconds of
// noise stays below full scale.
constexpr float kWetGain = 0x1p-14F;

// The blocks in which head and tail have passed all rows of their partition sets.
int periodOf(const host::StreamPlan& plan) {
  const ParamStruct& params = plan.params();
  const int headPeriod = params.numSegments * params.chunksPerSegment;
  if (!plan.tail()) return headPeriod;
  const host::Geometry& geometry = plan.tail()->geometry;
  return std::max(headPeriod, plan.tail()->numSlots * geometry.numSegments *
                                  geometry.chunksPerSegment);
}

// Of an engine: its three outputs, where it has as many, are decoded to five.
host::StreamPlan planOf(const ParamStruct& params) {
  return {params.numInputs, params.numOutputs == 3 ? 5 : params.numOutputs, params};
}

}  // namespace

Engine::Engine(const ParamStruct& params, const host::Responses& responses)
    : params_(params),
      geometry_(params.blockLen, params.irLen, params.numInputs, params.numOutputs,
                params.numSegments, params.chunksPerSegment, params.hfTruncate != 0),
      sets_(host::buildPartitionSets(planOf(params), responses)),
      areas_(sets_->plan().streamAreas()) {
  areas_.enterInto(ext_, 0);
  sets_->areas().enterInto(ext_, 0);
}

double* Engine::inBlock(int input) const {
  return asRecords<double>(areas_[host::Area::inBlocks]) + input * params_.blockLen;
}

double* Engine::outBlock(int output) const {
  return asRecords<double>(areas_[host::Area::outBlocks]) + output * params_.blockLen;
}

void Engine::feed(int input, std::span<const float> block) {
  std::copy(block.begin(), block.end(), inBlock(input));
}

void Engine::fetch(int output, std::span<float> block) const {
  std::transform(outBlock(output), outBlock(output) + block.size(), block.begin(),
                 [](double sample) { return static_cast<float>(sample); });
}

void Engine::run() {
  double* in[ConvRT::kMaxInputs];
  double* out[ConvRT::kMaxOutputs];
  for (int i = 0; i < params_.numInputs; ++i) in[i] = inBlock(i);
  for (int j = 0; j < params_.numOutputs; ++j) out[j] = outBlock(j);
  runEngineCycle(params_, state_, ext_, in, out);
}

void Engine::highTier() {
  ConvRTState state = geometry_;
  attachAreas(ext_, state);
  ConvRT engine(&state);
  registerSets(params_, state,
               asRecords<VecComplex>(sets_->areas()[host::Area::irSets]), engine);
  for (state.segPhase = 0; state.segPhase < state.numSegments; ++state.segPhase) {
    for (state.chunkPhase = 0; state.chunkPhase < state.chunksPerSegment;
         ++state.chunkPhase) {
      engine.runHighLatency(engine.inHist[0], engine.irParts[0][0],
                            engine.pairAcc[0][0]);
    }
  }
}

PlanarStream::PlanarStream(const host::StreamPlan& plan,
                           const host::Responses& responses)
    : stream_(plan, responses),
      in_(static_cast<std::size_t>(plan.inChannels()),
          std::vector<float>(static_cast<std::size_t>(plan.latency()))),
      out_(static_cast<std::size_t>(plan.outChannels()), in_[0]) {}

void PlanarStream::feed(int input, std::span<const float> block) {
  std::ranges::copy(block, in_[static_cast<std::size_t>(input)].begin());
}

void PlanarStream::fetch(int output, std::span<float> block) const {
  // Speaker feeds come out in another order, and the centre 3 dB down.
  constexpr std::size_t kSpeakers[] = {0, 2, 3, 4, 1};
  const auto at = static_cast<std::size_t>(output);
  const bool speakers = out_.size() == 5;
  const float gain = speakers && output == 4 ? kWetGain * std::sqrt(0.5F) : kWetGain;
  std::ranges::transform(out_[speakers ? kSpeakers[at] : at], block.begin(),
                         [&](float sample) { return sample / gain; });
}

void PlanarStream::run() {
  const float* in[ConvRT::kMaxInputs];
  float* out[ConvRT::kMaxOutputs];
  for (std::size_t i = 0; i < in_.size(); ++i) in[i] = in_[i].data();
  for (std::size_t j = 0; j < out_.size(); ++j) out[j] = out_[j].data();
  stream_.process(in, out, stream_.latency());
}

int PlanarStream::period() const { return periodOf(stream_.plan()); }

InterleavedStream::InterleavedStream(const host::StreamPlan& plan,
                                     std::shared_ptr<const host::PartitionSets> sets)
    : stream_(plan, std::move(sets)),
      in_(static_cast<std::size_t>(plan.inChannels()) *
          static_cast<std::size_t>(plan.latency())),
      out_(static_cast<std::size_t>(plan.outChannels()) *
           static_cast<std::size_t>(plan.latency())) {}

void InterleavedStream::feed(int input, std::span<const float> block) {
  const auto numInputs = static_cast<std::size_t>(stream_.plan().inChannels());
  for (std::size_t n = 0; n < block.size(); ++n) {
    in_[n * numInputs + static_cast<std::size_t>(input)] = block[n];
  }
}

void InterleavedStream::fetch(int output, std::span<float> block) const {
  const auto numOutputs = static_cast<std::size_t>(stream_.plan().outChannels());
  for (std::size_t n = 0; n < block.size(); ++n) {
    block[n] = out_[n * numOutputs + static_cast<std::size_t>(output)];
  }
}

void InterleavedStream::run() {
  const host::StreamPlan& plan = stream_.plan();
  for (int start = 0; start < plan.latency(); start += kCallLen) {
    stream_.processInterleaved(in_.data() + start * plan.inChannels(),
                               out_.data() + start * plan.outChannels(),
                               std::min(kCallLen, plan.latency() - start));
  }
}

int InterleavedStream::period() const { return periodOf(stream_.plan()); }

ParamStruct paramsFor(const Workload& workload, const host::Responses& responses,
                      bool hfTruncate) {
  host::StreamOptions options;
  options.blockLen = workload.blockLen;
  options.hfTruncate = hfTruncate;
  options.wetGain = kWetGain;
  options.dryGain = 0.5F;
  return host::streamParams(responses, options);
}

host::StreamPlan planFor(const Workload& workload, const host::ResponseShape& shape,
                         int tail) {
  host::StreamOptions options;
  options.blockLen = workload.blockLen;
  options.wetGain = kWetGain;
  options.tail = tail;
  options.passThrough = workload.numOutputs == 5;  // else they are decoded
  return {workload.numInputs, workload.numOutputs, shape, options};
}

std::optional<host::StreamPlan> bestTailPlan(const Workload& workload,
                                             const host::ResponseShape& shape) {
  std::optional<host::StreamPlan> best;
  for (int tail = 2 * workload.blockLen; 2 * tail - workload.blockLen < shape.length();
       tail *= 2) {
    host::StreamPlan plan = planFor(workload, shape, tail);
    if (!best || plan.work().mean < best->work().mean) best = std::move(plan);
  }
  return best;
}

}  // namespace ulmar::bench
