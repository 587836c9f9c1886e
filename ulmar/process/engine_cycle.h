// One block of the convolution engine, run when the input block is complete. The
// engine's objects stand on the stack; its counters and memory are the host's.
#pragma once

#include "ulmar/base/align.h"
#include "ulmar/convrt/convrt.h"
#include "ulmar/process/engine_state.h"
#include "ulmar/process/host_records.h"

namespace ulmar {

inline void restoreCounters(const StateStruct& from, ConvRTState& to) noexcept {
  to.ringPos = from.ringPos;
  to.segPhase = from.segPhase;
  to.chunkPhase = from.chunkPhase;
  to.overlapSel = from.overlapSel;
}

inline void saveCounters(const ConvRTState& from, StateStruct& to) noexcept {
  to.ringPos = from.ringPos;
  to.segPhase = from.segPhase;
  to.chunkPhase = from.chunkPhase;
  to.overlapSel = from.overlapSel;
}

inline void attachAreas(const ExternStruct& ext, ConvRTState& engineState) noexcept {
  engineState.histMem = alignedArea<VecComplex>(ext.histMem.address);
  engineState.accMem = alignedArea<VecComplex>(ext.accMem.address);
  engineState.outMem = alignedArea<VecComplex>(ext.outMem.address);
  engineState.fwdSpectrum = alignedArea<cmplxFFT>(ext.fwdSpectrum.address);
  engineState.dcSave = alignedArea<float>(ext.dcSave.address);
  engineState.fftTwiddles = alignedArea<char>(ext.fftTwiddles.address);
  engineState.fftBitRev = alignedArea<char>(ext.fftBitRev.address);
  engineState.fftWork = alignedArea<char>(ext.fftWork.address);
}

/// Gives every pair of engine input and output its partition set. The sets lie set
/// after set, numRows * rowPitch VecComplex and one spare each.
inline void registerSets(const ParamStruct& params, const ConvRTState& engineState,
                         VecComplex* sets, ConvRT& engine) noexcept {
  const std::ptrdiff_t setPitch =
      std::ptrdiff_t{engineState.numRows} * engineState.rowPitch + 1;
  const SetTable table = setTableOf(params);
  for (int i = 0; i < table.numInputs; ++i) {
    for (int j = 0; j < table.numOutputs; ++j) {
      const int set = table.indexOf(i, j);
      engine.setImpulseResponse(
          i, j, set == SetTable::kNone ? nullptr : sets + set * setPitch);
    }
  }
}

/// inBlocks: the completed engine input blocks. outBlocks: receives the next blockLen
/// samples of every engine output.
inline void runEngineCycle(const ParamStruct& params, StateStruct& state,
                           const ExternStruct& ext, double** inBlocks,
                           double** outBlocks) noexcept {
  ConvRTState engineState = engineStateOf(params);
  restoreCounters(state, engineState);
  attachAreas(ext, engineState);

  ConvRT engine(&engineState);
  registerSets(params, engineState, alignedArea<VecComplex>(ext.irSets.address),
               engine);
  engine.genOutput(outBlocks, inBlocks);
  engine.doHousekeeping();
  saveCounters(engineState, state);
}

}  // namespace ulmar
