// The library as a convolver: its engine alone, and the whole of it.
#pragma once

#include <optional>

#include "bench/body.h"
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
  int period() const override { return geometry_.numChunks; }

  /// One pair's high tier, all phases: every row once. Leaves the stream's counters.
  void highTier();

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

/// A stream as a host runs it on planar audio, in calls of a whole block. The output
/// lags by a block. Wet signal alone, as the peers' is.
class PlanarStream final : public Convolver {
 public:
  /// plan: of planFor().
  PlanarStream(const host::StreamPlan& plan, const host::Responses& responses);

  void feed(int input, std::span<const float> block) override;
  void fetch(int output, std::span<float> block) const override;
  void run() override;
  int period() const override;
  int lag() const override { return 1; }

 private:
  host::Stream stream_;
  Planar in_;
  Planar out_;
};

/// Another contender with a certain body of the kernels.
class WithBody final : public Convolver {
 public:
  WithBody(Convolver& convolver, Isa isa) : convolver_(convolver), isa_(isa) {}

  void feed(int input, std::span<const float> block) override {
    convolver_.feed(input, block);
  }
  void fetch(int output, std::span<float> block) const override {
    convolver_.fetch(output, block);
  }
  void run() override {
    const UseBody body(isa_);
    convolver_.run();
  }
  int period() const override { return convolver_.period(); }
  int lag() const override { return convolver_.lag(); }

 private:
  Convolver& convolver_;
  Isa isa_;
};

/// UlmarProc on whole blocks of interleaved audio, in calls of kCallLen frames. The
/// output lags by a block.
class InterleavedStream final : public Convolver {
 public:
  static constexpr int kCallLen = 128;

  InterleavedStream(const host::StreamPlan& plan,
                    std::shared_ptr<const host::PartitionSets> sets);

  void feed(int input, std::span<const float> block) override;
  void fetch(int output, std::span<float> block) const override;
  void run() override;
  int period() const override;
  int lag() const override { return 1; }

  const host::Stream& stream() const { return stream_; }

 private:
  host::Stream stream_;
  std::vector<float> in_;
  std::vector<float> out_;
};

/// One engine for the workload, with wet and dry signal.
ParamStruct paramsFor(const Workload& workload, const host::Responses& responses,
                      bool hfTruncate);

/// The plan of a stream for the workload. tail: as in StreamOptions.
host::StreamPlan planFor(const Workload& workload, const host::ResponseShape& shape,
                         int tail);

/// The plan with a tail whose mean work is least, whatever the largest boundary: none
/// where the response is too short for any tail.
std::optional<host::StreamPlan> bestTailPlan(const Workload& workload,
                                             const host::ResponseShape& shape);

}  // namespace ulmar::bench
