// The records that the host shares with the library; their layout is part of the
// interface. The library owns no memory and checks nothing: the host allocates the
// areas, fills the parameters and keeps every limit named here. A stream starts from a
// zero-filled StateStruct and areas that are zero-filled but for the transform's tables
// and the partition sets, and keeps all its data there from call to call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ulmar/base/host_long.h"
#include "ulmar/decoder/crossover.h"

/// One channel of one call; the records of further channels follow contiguously. Sample
/// i is data[i * step]. Never written.
struct OstinSoundBuf {
  float* data;
  std::int32_t step;  // samples from frame to frame, also negative
  std::int32_t
      format;  // kFormatFloat in the first input record, or nothing is processed
  std::int32_t unused[2];
};
static_assert(sizeof(OstinSoundBuf) == 16 + sizeof(void*) &&
              offsetof(OstinSoundBuf, step) == sizeof(void*) &&
              offsetof(OstinSoundBuf, format) == sizeof(void*) + 4);

/// The parameters, read in every call and never written. Between calls the host may
/// change the crossover, delays and gains, passThrough and bypass, but not what areas
/// and partition sets were made for: blockLen to hfTruncate, dryRingLen, perOutputIR
/// and foldToStereo. Flags are set when nonzero.
struct ParamStruct {
  std::int32_t reserved[3];       // the host's
  std::int32_t blockLen;          // N, samples; a power of two when the engine runs
  std::int32_t irLen;             // samples; 0: no wet signal; negative: silence
  std::int32_t numInputs;         // engine inputs, 1 to 3
  std::int32_t numOutputs;        // engine outputs, 1 to 5
  std::int32_t numSegments;       // G
  std::int32_t chunksPerSegment;  // C
  std::int32_t hfTruncate;        // flag: truncate the upper band
  cApXOverCfs<float> xoverCfs;
  std::int32_t rearDelay;     // samples, [0, 2 dryRingLen): outputs 3 and 4 of five
  std::int32_t dryDelay;      // samples, [0, dryRingLen)
  std::int32_t dryRingLen;    // samples, a power of two
  std::int32_t perOutputIR;   // flag: one set per output, cross pairs silent
  std::int32_t foldToStereo;  // flag: down-mix the inputs to engine inputs 0 and 1
  std::int32_t passThrough;   // flag: engine outputs are speaker feeds already
  std::int32_t bypass;        // flag: outputs carry the delayed dry signal only
  float crossfeed;            // linear gain between engine inputs 0 and 1, if > 0
  float dryGain;              // linear
  float wetGain[5];           // linear, per output
};
static_assert(
    sizeof(ParamStruct) == 108 && offsetof(ParamStruct, blockLen) == 12 &&
    offsetof(ParamStruct, irLen) == 16 && offsetof(ParamStruct, numInputs) == 20 &&
    offsetof(ParamStruct, numOutputs) == 24 &&
    offsetof(ParamStruct, numSegments) == 28 &&
    offsetof(ParamStruct, chunksPerSegment) == 32 &&
    offsetof(ParamStruct, hfTruncate) == 36 && offsetof(ParamStruct, xoverCfs) == 40 &&
    offsetof(ParamStruct, rearDelay) == 52 && offsetof(ParamStruct, dryDelay) == 56 &&
    offsetof(ParamStruct, dryRingLen) == 60 &&
    offsetof(ParamStruct, perOutputIR) == 64 &&
    offsetof(ParamStruct, foldToStereo) == 68 &&
    offsetof(ParamStruct, passThrough) == 72 && offsetof(ParamStruct, bypass) == 76 &&
    offsetof(ParamStruct, crossfeed) == 80 && offsetof(ParamStruct, dryGain) == 84 &&
    offsetof(ParamStruct, wetGain) == 88);

/// What a stream carries from call to call beside the areas.
struct StateStruct {
  std::int32_t blockPos;  // frames into the current block, [0, blockLen)
  std::int32_t dryPos;    // write position of the dry rings, counts down
  std::int32_t rearPos;   // write position of the rear rings, counts down
  std::int32_t ringPos;   // the engine's counters, see ConvRTState
  std::int32_t segPhase;
  std::int32_t chunkPhase;
  std::int32_t overlapSel;
  sApXOverSts<float> xoverSts[3];  // of W, X and Y
  float
      peak[5];  // largest magnitude of each output before the clamp; the host lowers it
};
static_assert(sizeof(StateStruct) == 132 && offsetof(StateStruct, dryPos) == 4 &&
              offsetof(StateStruct, rearPos) == 8 &&
              offsetof(StateStruct, ringPos) == 12 &&
              offsetof(StateStruct, segPhase) == 16 &&
              offsetof(StateStruct, chunkPhase) == 20 &&
              offsetof(StateStruct, overlapSel) == 24 &&
              offsetof(StateStruct, xoverSts) == 28 &&
              offsetof(StateStruct, peak) == 112);

/// The 13 memory areas, each used from the next multiple of 32 bytes on, hence with 31
/// bytes of slack behind the sizes below. N = blockLen, R = dryRingLen; inputs is the
/// configuration's input count with foldToStereo, else numInputs; outputs is
/// numOutputs; setPitch is numRows * rowPitch + 1 VecComplex.
struct ExternStruct {
  struct Area {
    void* address;
    std::int32_t host[3];  // the host's
  };

  Area fftTwiddles;  // 16 N bytes, filled by the host, only read: tables of FFT(2 N)
  Area fftBitRev;    // 8 N bytes, likewise
  Area fftWork;      // 48 N bytes
  Area inBlocks;     // double [inputs][N]
  Area outBlocks;    // double [outputs][N]
  Area dryRings;     // float [inputs][R]
  Area rearRings;    // float [2][2 R], five-output configurations only
  Area histMem;      // VecComplex [numInputs][histLen + 1]
  Area accMem;       // VecComplex [numInputs][outputs][accLen + 1]
  Area outMem;       // outputs x (40 N + 32) bytes
  Area fwdSpectrum;  // cmplxFFT [N]
  Area dcSave;       // float [numSegments][2]
  Area irSets;       // partition sets, setPitch apart, only read; see SetTable
};
static_assert(sizeof(ExternStruct::Area) == (ulmar::k32BitAddresses ? 16 : 24) &&
              offsetof(ExternStruct::Area, host) == sizeof(void*));
static_assert(sizeof(ExternStruct) == 13 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, fftBitRev) == 1 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, fftWork) == 2 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, inBlocks) == 3 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, outBlocks) == 4 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, dryRings) == 5 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, rearRings) == 6 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, histMem) == 7 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, accMem) == 8 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, outMem) == 9 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, fwdSpectrum) == 10 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, dcSave) == 11 * sizeof(ExternStruct::Area) &&
              offsetof(ExternStruct, irSets) == 12 * sizeof(ExternStruct::Area));

namespace ulmar {

/// The buffer kind that is processed: single-precision samples.
inline constexpr std::int32_t kFormatFloat = 1;

/// What output samples are limited to; the upper limit is 32767/32768, exact in single
/// precision.
inline constexpr float kMinSample = -1.0F;
inline constexpr float kMaxSample = 0.999969482421875F;

/// The library's tables have room for five channels; sets for three by five pairs.
inline constexpr int kMaxChannels = 5;

/// Which partition set of irSets joins an engine input to an engine output: with one
/// set per pair, each its own, input by input; with one per output, set j on output j,
/// which input i feeds only where j is i, i + numInputs or 4.
struct SetTable {
  static constexpr int kNone = -1;

  int numInputs;   // of the engine
  int numOutputs;  // of the engine
  bool perOutput;

  constexpr int numSets() const noexcept {
    return perOutput ? numOutputs : numInputs * numOutputs;
  }

  /// The set's index, or kNone where the pair is silent.
  constexpr int indexOf(int input, int output) const noexcept {
    if (!perOutput) return input * numOutputs + output;
    const bool feeds = output == input || output == input + numInputs || output == 4;
    return feeds ? output : kNone;
  }
};

constexpr SetTable setTableOf(const ParamStruct& params) noexcept {
  return {params.numInputs, params.numOutputs, params.perOutputIR != 0};
}

}  // namespace ulmar
