// The engine's counts from the host's parameters.
#pragma once

#include "ulmar/convrt/convrt.h"
#include "ulmar/process/host_records.h"

namespace ulmar {

/// Every count that the parameters imply; counters and addresses are zero. params.irLen
/// is at least 1.
inline ConvRTState engineStateOf(const ParamStruct& params) {
  return {params.blockLen,       params.irLen,       params.numInputs,
          params.numOutputs,     params.numSegments, params.chunksPerSegment,
          params.hfTruncate != 0};
}

}  // namespace ulmar
