#include "ulmar/host/tail.h"

#include <algorithm>
#include <utility>

#include "ulmar/base/align.h"
#include "ulmar/host/areas.h"

namespace ulmar::host {
namespace {

void restoreCounters(const TailState& from, ConvRTState& to) noexcept {
  to.ringPos = from.ringPos;
  to.segPhase = from.segPhase;
  to.chunkPhase = from.chunkPhase;
  to.overlapSel = from.overlapSel;
}

void saveCounters(const ConvRTState& from, TailState& to) noexcept {
  to.ringPos = from.ringPos;
  to.segPhase = from.segPhase;
  to.chunkPhase = from.chunkPhase;
  to.overlapSel = from.overlapSel;
}

}  // namespace

Tail::Tail(const TailPlan& plan, const ExternStruct& table)
    : plan_(&plan),
      engineState_(engineStateOf(plan.params)),
      sets_(asRecords<VecComplex>(table.irSets.address)),
      setPitch_(static_cast<std::ptrdiff_t>(setOffset(plan.params, 1)) /
                static_cast<std::ptrdiff_t>(sizeof(VecComplex))),
      inBlocks_(asRecords<double>(table.inBlocks.address)),
      outBlocks_(asRecords<double>(table.outBlocks.address)) {
  engineState_.histMem = asRecords<VecComplex>(table.histMem.address);
  engineState_.accMem = asRecords<VecComplex>(table.accMem.address);
  engineState_.outMem = asRecords<VecComplex>(table.outMem.address);
  engineState_.fwdSpectrum = asRecords<cmplxFFT>(table.fwdSpectrum.address);
  engineState_.dcSave = asRecords<float>(table.dcSave.address);
  engineState_.fftTwiddles = asRecords<char>(table.fftTwiddles.address);
  engineState_.fftBitRev = asRecords<char>(table.fftBitRev.address);
  engineState_.fftWork = asRecords<char>(table.fftWork.address);
}

double* Tail::inBlock(int buffer, int input) const noexcept {
  return inBlocks_ + (std::ptrdiff_t{buffer} * engineState_.numInputs + input) *
                         engineState_.blockLen;
}

double* Tail::outBlock(int buffer, int output) const noexcept {
  return outBlocks_ + (std::ptrdiff_t{buffer} * engineState_.numOutputs + output) *
                          engineState_.blockLen;
}

void Tail::passBoundary(TailState& state, const double* inBlocks,
                        double* outBlocks) noexcept {
  const int numSlots = plan_->numSlots;
  const int blockLen = engineState_.blockLen / numSlots;  // the head's
  // The block of input that ends here is piece `boundary` of two tail blocks in turn.
  const int piece = state.boundary % numSlots;
  const int filling = state.boundary / numSlots;
  for (int i = 0; i < engineState_.numInputs; ++i) {
    std::copy_n(inBlocks + std::ptrdiff_t{i} * blockLen, blockLen,
                inBlock(filling, i) + std::ptrdiff_t{piece} * blockLen);
  }
  if (++state.boundary == 2 * numSlots) state.boundary = 0;

  const int slot = state.boundary % numSlots;
  if (slot == 0) state.running = 1;
  if (state.running == 0) return;
  // From slot 0 on, the buffer that `boundary` is in fills up with input, and its
  // twin's block is worked on; the output of the block before is played.
  const int playing = state.boundary / numSlots;
  const int working = 1 - playing;
  for (int j = 0; j < engineState_.numOutputs; ++j) {
    double const* const from = outBlock(playing, j) + std::ptrdiff_t{slot} * blockLen;
    double* const to = outBlocks + std::ptrdiff_t{j} * blockLen;
    for (int n = 0; n < blockLen; ++n) to[n] += from[n];
  }

  const auto at = static_cast<std::size_t>(slot);
  const int first = plan_->firstStage[at];
  const int end = plan_->firstStage[at + 1];
  if (first == end) return;
  ConvRTState counters = engineState_;
  restoreCounters(state, counters);
  ConvRT engine(&counters);
  for (int k = first; k < end; ++k) {
    run(plan_->stages[static_cast<std::size_t>(k)], counters, engine, working);
  }
  saveCounters(counters, state);
}

void Tail::run(const TailStage& stage, ConvRTState& counters, ConvRT& engine,
               int buffer) const noexcept {
  const auto [kind, i, j, slice] = stage;
  VecComplex* const set = sets_ + setTableOf(plan_->params).indexOf(i, j) * setPitch_;
  switch (kind) {
    case TailStage::Kind::transform:
      engine.updateInputHist(engine.inHist[i], inBlock(buffer, i));
      break;
    case TailStage::Kind::low:
      engine.runLowLatency(engine.inHist[i], set, engine.pairAcc[i][j],
                           engine.outAcc[j]);
      break;
    case TailStage::Kind::output:
      engine.produceOutput(j, outBlock(buffer, j));
      // Ready for the next block's low tier, which adds to it.
      std::fill_n(engine.outAcc[j], counters.numRows, VecComplex{});
      break;
    case TailStage::Kind::step:
      counters.overlapSel = 1 - counters.overlapSel;
      if (--counters.segPhase < 0) {
        counters.segPhase += counters.numSegments;
        if (--counters.chunkPhase < 0) counters.chunkPhase += counters.chunksPerSegment;
      }
      break;
    case TailStage::Kind::high:
      runHighSlice(stage, counters, engine, set);
      break;
    case TailStage::Kind::mid:
      engine.runMidLatency(engine.inHist[i], set, engine.pairAcc[i][j]);
      break;
    case TailStage::Kind::advance:
      if (++counters.ringPos == counters.ringLen) counters.ringPos = 0;
      break;
  }
}

// The high tier takes the rows of chunk m C + h, in phases m and h, for the slots from
// h G + m on, with history columns up to ringPos + m. A state of the same slots and
// partitions but finer chunks, whose phases are 1 and 1, names any slice of those rows:
// C' = slice - 1 and G' = slot - 1 give the same formulas the numbers that are wanted.
// Row by row the sums are the same.
void Tail::runHighSlice(const TailStage& stage, const ConvRTState& counters,
                        ConvRT& engine, VecComplex* set) const noexcept {
  const int numSlices = plan_->numSlices;
  const int chunk = counters.segPhase * counters.chunksPerSegment + counters.chunkPhase;
  const int slot = counters.chunkPhase * counters.numSegments + counters.segPhase;
  ConvRTState view = counters;
  view.rowsPerChunk = counters.rowsPerChunk / numSlices;
  view.segPhase = 1;
  view.chunkPhase = 1;
  view.chunksPerSegment = chunk * numSlices + stage.slice - 1;
  view.numSegments = slot - 1;
  view.ringPos = counters.ringPos + counters.segPhase - 1;
  if (view.ringPos < 0) view.ringPos += counters.ringLen;
  if (view.ringPos >= counters.ringLen) view.ringPos -= counters.ringLen;
  if (numSlices > 1 && counters.hfSkipBlocks > 0) {
    // The upper half of the chunk's rows is the upper band, which ends early.
    const bool upperBand = 2 * stage.slice >= numSlices;
    if (upperBand) view.numIRBlocks -= counters.hfSkipBlocks;
    view.hfSkipBlocks = 0;
  }
  ConvRTState* const whole = std::exchange(engine.state, &view);
  engine.runHighLatency(engine.inHist[stage.input], set,
                        engine.pairAcc[stage.input][stage.output]);
  engine.state = whole;
}

}  // namespace ulmar::host
