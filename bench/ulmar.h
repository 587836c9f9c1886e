// The library as a convolver: its engine alone, and the whole of it.
#pragma once

#include "bench/convolver.h"
#include "ulmar/convrt/convrt.h"
#include "ulmar/host/areas.h"
#include "ulmar/host/stream.h"

namespace ulmar::bench {

/// The engine cycle at a block boundary, without the frame loop around it.
class Engine final : public Convolver {
 public:
  Engine(const ParamStruct& params, const host::Responses& responses);

  void feed(int input, std::span<const float> block) override;
  void fetch(int output, std::span<float> block) const override;
  void run() override;

  /// One pair's high tier, all phases: every row once. Leaves the stream's counters.
  void highTier();

  const ConvRTState& geometry() const { return geometry_; }

 private:
  double* inBlock(int input) const;
  double* outBlock(int output) const;

  ParamStruct params_;
  ConvRTState geometry_;
  StateStruct state_{};
  std::shared_ptr<const host::PartitionSets> sets_;
  host::Areas areas_;
  ExternStruct ext_{};
};

/// UlmarProc on whole blocks of interleaved audio, in calls of kCallLen frames. The
/// output lags by a block.
class WholeStream final : public Convolver {
 public:
  static constexpr int kCallLen = 128;

  /// numOutputs: the call's, which may be more than the engine's.
  WholeStream(const ParamStruct& params, int numOutputs,
              const host::Responses& responses);

  void feed(int input, std::span<const float> block) override;
  void fetch(int output, std::span<float> block) const override;
  void run() override;

 private:
  host::Stream stream_;
  std::size_t numInputs_;
  std::size_t numOutputs_;
  std::vector<float> in_;
  std::vector<float> out_;
};

ParamStruct paramsFor(const Workload& workload, const host::Responses& responses,
                      bool hfTruncate);

}  // namespace ulmar::bench
