#include "bench/ulmar.h"

#include <algorithm>

#include "ulmar/base/align.h"
#include "ulmar/process/engine_cycle.h"

namespace ulmar::bench {

ParamStruct paramsFor(const Workload& workload, const host::Responses& responses,
                      bool hfTruncate) {
  host::StreamOptions options;
  options.blockLen = workload.blockLen;
  options.hfTruncate = hfTruncate;
  options.wetGain = 1e-3F;
  options.dryGain = 0.5F;
  return host::streamParams(responses, options);
}

Engine::Engine(const ParamStruct& params, const host::Responses& responses)
    : params_(params),
      geometry_(params.blockLen, params.irLen, params.numInputs, params.numOutputs,
                params.numSegments, params.chunksPerSegment, params.hfTruncate != 0),
      sets_(host::buildPartitionSets(
          host::StreamPlan(params.numInputs, params.numOutputs, params), responses)),
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

WholeStream::WholeStream(const ParamStruct& params, int numOutputs,
                         const host::Responses& responses)
    : stream_(params.numInputs, numOutputs, params, responses),
      numInputs_(static_cast<std::size_t>(params.numInputs)),
      numOutputs_(static_cast<std::size_t>(numOutputs)),
      in_(numInputs_ * static_cast<std::size_t>(params.blockLen)),
      out_(numOutputs_ * static_cast<std::size_t>(params.blockLen)) {}

void WholeStream::feed(int input, std::span<const float> block) {
  for (std::size_t n = 0; n < block.size(); ++n) {
    in_[n * numInputs_ + static_cast<std::size_t>(input)] = block[n];
  }
}

void WholeStream::fetch(int output, std::span<float> block) const {
  for (std::size_t n = 0; n < block.size(); ++n) {
    block[n] = out_[n * numOutputs_ + static_cast<std::size_t>(output)];
  }
}

void WholeStream::run() {
  const auto numFrames = static_cast<std::size_t>(stream_.params().blockLen);
  for (std::size_t start = 0; start < numFrames; start += kCallLen) {
    const std::size_t count = std::min<std::size_t>(kCallLen, numFrames - start);
    stream_.processInterleaved(in_.data() + start * numInputs_,
                               out_.data() + start * numOutputs_,
                               static_cast<int>(count));
  }
}

}  // namespace ulmar::bench
