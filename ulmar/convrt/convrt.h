// Uniformly partitioned FFT convolution with overlap-add, in three tiers of constant
// cost.
//
// An impulse response is cut into partitions of one block; its partition set holds
// their spectra. An output block's spectrum is the sum over all partitions of the
// partition's spectrum times that of the input block so many blocks back. The low tier
// takes the first partitions, which meet the newest input blocks, in the block that
// needs them. The mid tier sums the next ones up to numSegments blocks ahead, the high
// tier all others up to numChunks blocks ahead; in each block they treat one segment
// and one chunk of the spectrum, so that every block costs the same. The geometry, that
// is the lengths of block and response and the division into segments and chunks, fixes
// all counts. Uniform partitioning and overlap-add: Stockham 1966; Gardner, "Efficient
// Convolution without Input-Output Delay", J. Audio Eng. Soc. 43, 1995, for the
// scheduling problem.
//
// A block spectrum is the packed half spectrum of a transform of 2 blockLen points,
// four elements to a VecComplex: group g holds elements 4g to 4g + 3. A row is the
// place of one group. Rows are interleaved: row e holds group
//   (e mod rowsPerChunk) numChunks + floor(e / rowsPerChunk),
// so that every chunk, a run of rowsPerChunk rows, samples the whole band. Element 0,
// lane 0 of row 0, packs DC and Nyquist and multiplies part by part.
//
// A ring array (an input history, a partition set) is [numRows][rowPitch] VecComplex,
// of which columns 0 to ringLen - 1 are used and the last is neither read nor written.
#pragma once

#include <cstddef>

#include "ulmar/base/export.h"
#include "ulmar/base/host_long.h"
#include "ulmar/convrt/vec_complex.h"
#include "ulmar/fft/fft.h"

/// Geometry, phase counters and memory of one engine. N, G, C below are blockLen,
/// numSegments, chunksPerSegment; M = G C.
///
/// The engine checks nothing. It needs N, G, C and N / (4 M) >= 1 to be powers of two,
/// ringLen >= M, 1 to 3 inputs and 1 to 5 outputs. A stream starts with all counters
/// zero and all memory but the tables and partition sets zero-filled.
struct ULMAR_EXPORT ConvRTState {
  /// Derives every count; counters and addresses become zero.
  /// irLen: samples, at least 1. hfTruncate: convolve the upper half of the band with
  /// the first hfKeepBlocks partitions only.
  ConvRTState(int blockLen, int irLen, int numInputs, int numOutputs, int numSegments,
              int chunksPerSegment, bool hfTruncate);

  int blockLen;          // N, samples
  int numSegments;       // G
  int chunksPerSegment;  // C
  int numChunks;         // M
  int numIRBlocks;       // B, partitions that hold samples
  int ringLen;           // B rounded up to a multiple of G, columns
  int rowPitch;          // ringLen + 1
  int rowsPerChunk;      // L = N / (4 M)
  int rowsPerChunkLog2;
  int rowsPerSegment;  // C L
  int numRows;         // N / 4
  int hfKeepBlocks;    // max(M, 32)
  int hfSkipBlocks;    // B - hfKeepBlocks with hfTruncate (may be negative), else 0
  int numInputs;
  int numOutputs;
  int histLen;            // VecComplex in a history: rowPitch numRows
  int accLen;             // VecComplex in a pair accumulator: M numRows
  int ringPos;            // column of the newest block, [0, ringLen)
  int segPhase;           // [0, G)
  int chunkPhase;         // [0, C)
  int overlapSel;         // 0 or 1
  VecComplex* histMem;    // numInputs x (histLen + 1)
  VecComplex* accMem;     // numInputs x numOutputs x (accLen + 1)
  VecComplex* outMem;     // numOutputs x (40 N + 32) bytes
  cmplxFFT* fwdSpectrum;  // N
  float* dcSave;          // G pairs
  char* fftTwiddles;      // the areas of FFT(2 N)
  char* fftBitRev;
  char* fftWork;
};
static_assert(
    !ulmar::k32BitAddresses ||
    (sizeof(ConvRTState) == 116 && offsetof(ConvRTState, numChunks) == 12 &&
     offsetof(ConvRTState, rowPitch) == 24 &&
     offsetof(ConvRTState, hfSkipBlocks) == 48 && offsetof(ConvRTState, accLen) == 64 &&
     offsetof(ConvRTState, ringPos) == 68 && offsetof(ConvRTState, overlapSel) == 80 &&
     offsetof(ConvRTState, histMem) == 84 && offsetof(ConvRTState, fwdSpectrum) == 96 &&
     offsetof(ConvRTState, dcSave) == 100 && offsetof(ConvRTState, fftWork) == 112));

/// Builds the partition set of one impulse response, for the host.
class ULMAR_EXPORT ConvRTimpResp {
 public:
  /// state: the geometry of the engine that will use the set. fft: of 2 blockLen
  /// points. scratch: blockLen values. samples: irLen of them, of which none beyond is
  /// read; irLen may fall short of the geometry's. set: [numRows][rowPitch]; partition
  /// v goes to column ringLen - 1 - v, unscaled, in single precision.
  ConvRTimpResp(ConvRTState& state, FFT& fft, cmplxFFT* scratch, float const* samples,
                VecComplex* set, int irLen);
  virtual ~ConvRTimpResp();

  int irLen;
};
static_assert(sizeof(ConvRTimpResp) == 2 * sizeof(void*));

/// The engine over one ConvRTState. It keeps nothing of its own, all that lasts is in
/// the state's counters and memory, and it is built afresh for every block: construct,
/// register the partition sets, genOutput, doHousekeeping. Real-time safe.
class ULMAR_EXPORT ConvRT {
 public:
  static constexpr int kMaxInputs = 3;
  static constexpr int kMaxOutputs = 5;

  /// state: addresses set, counters as the previous block left them. Touches no memory
  /// area; all pairs start without a set.
  explicit ConvRT(ConvRTState* state);

  /// Gives pair (input, output) its partition set; null withdraws the pair, which then
  /// costs nothing and adds nothing.
  void setImpulseResponse(int input, int output, VecComplex* set);

  /// outputs, inputs: one pointer per channel to blockLen samples. Writes the block of
  /// output that the block of input completes: no latency of the engine's own.
  void genOutput(double** outputs, double** inputs);

  /// Steps the counters and sums the mid and high tier for the blocks ahead.
  void doHousekeeping();

  /// Transforms the block `in` and writes segment b of its spectrum to column
  /// (ringPos + b) mod ringLen of the history.
  void updateInputHist(VecComplex* hist, double* in);

  /// Adds the pair's low tier, and what the other tiers have summed for this block in
  /// its accumulator slot, to the output spectrum.
  /// Costs numRows (G + 1) / 2 row products in every phase.
  void runLowLatency(VecComplex* hist, VecComplex* parts, VecComplex* acc,
                     VecComplex* spectrum);

  /// Adds the mid tier of one segment to the accumulator, the next G blocks' slots.
  /// Costs L G^2 C (C - 1) / 2 row products.
  void runMidLatency(VecComplex* hist, VecComplex* parts, VecComplex* acc);

  /// Overwrites one chunk of all M slots of the accumulator with the high tier.
  void runHighLatency(VecComplex* hist, VecComplex* parts, VecComplex* acc);

  /// Inverse transform and overlap-add of one output; samples: blockLen.
  void produceOutput(int output, double* samples);

  ConvRTState* state;
  VecComplex* inHist[kMaxInputs];
  VecComplex* irParts[kMaxInputs][kMaxOutputs];  // null: the pair is not convolved
  VecComplex* pairAcc[kMaxInputs][kMaxOutputs];  // M slots of numRows
  VecComplex*
      outAcc[kMaxOutputs];  // spectrum [numRows], then two overlap buffers of 2N
  float* dcSave;
  FFT fft;
  cmplxFFT* fwdSpectrum;
};
static_assert(!ulmar::k32BitAddresses ||
              (sizeof(ConvRT) == 188 && offsetof(ConvRT, inHist) == 4 &&
               offsetof(ConvRT, irParts) == 16 && offsetof(ConvRT, pairAcc) == 76 &&
               offsetof(ConvRT, outAcc) == 136 && offsetof(ConvRT, dcSave) == 156 &&
               offsetof(ConvRT, fft) == 160 && offsetof(ConvRT, fwdSpectrum) == 184));
