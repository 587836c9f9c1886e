// The second engine of a stream, for the part of a response that the head leaves out.
// See plan.h for the scheme.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ulmar/convrt/convrt.h"
#include "ulmar/host/plan.h"

namespace ulmar::host {

/// What a tail carries from boundary to boundary beside its areas.
struct TailState {
  std::int32_t boundary = 0;  // boundaries passed, modulo 2 R
  std::int32_t running = 0;   // flag: a block of input has been completed
  std::int32_t ringPos = 0;   // the engine's counters, see ConvRTState
  std::int32_t segPhase = 0;
  std::int32_t chunkPhase = 0;
  std::int32_t overlapSel = 0;
};

/// The engine of a tail, on a plan and memory that the stream owns.
class Tail {
 public:
  /// table: the areas of the tail's engine, of the sizes that the plan gives, and its
  /// tables and sets. The plan and the areas must outlive the Tail; the table itself is
  /// read here only.
  Tail(const TailPlan& plan, const ExternStruct& table);

  /// To be called at every boundary of the head's blocks, when the head's engine has
  /// run. Adds the tail's part to the head's next block of output, takes in the block
  /// of input that has just been completed, and does the stages that belong to this
  /// boundary. inBlocks, outBlocks: the head's, blockLen samples a channel one after
  /// another. Real-time safe.
  void passBoundary(TailState& state, const double* inBlocks,
                    double* outBlocks) noexcept;

 private:
  void run(const TailStage& stage, ConvRTState& counters, ConvRT& engine,
           int buffer) const noexcept;
  void runHighSlice(const TailStage& stage, const ConvRTState& counters, ConvRT& engine,
                    VecComplex* set) const noexcept;
  double* inBlock(int buffer, int input) const noexcept;
  double* outBlock(int buffer, int output) const noexcept;

  const TailPlan* plan_;
  ConvRTState engineState_;  // geometry and addresses; its counters are not used
  VecComplex* sets_;
  std::ptrdiff_t setPitch_;  // VecComplex
  double* inBlocks_;         // [2][numInputs][T]
  double* outBlocks_;        // [2][numOutputs][T]
};

}  // namespace ulmar::host
