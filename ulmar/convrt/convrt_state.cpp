#include <algorithm>
#include <cmath>

#include "ulmar/convrt/convrt.h"

namespace {

// The least number of partitions that the upper band keeps under truncation.
constexpr int kMinKeepBlocks = 32;

}  // namespace

ConvRTState::ConvRTState(int blockLen_, int irLen, int numInputs_, int numOutputs_,
                         int numSegments_, int chunksPerSegment_, bool hfTruncate)
    : blockLen(blockLen_),
      numSegments(numSegments_),
      chunksPerSegment(chunksPerSegment_),
      numChunks(numSegments * chunksPerSegment),
      numIRBlocks((blockLen + irLen - 1) / blockLen),
      ringLen(numSegments * ((numSegments + numIRBlocks - 1) / numSegments)),
      rowPitch(ringLen + 1),
      rowsPerChunk(blockLen / (4 * numChunks)),
      rowsPerChunkLog2(static_cast<int>(std::log2(static_cast<double>(rowsPerChunk)))),
      rowsPerSegment(chunksPerSegment * rowsPerChunk),
      numRows(blockLen / 4),
      hfKeepBlocks(std::max(numChunks, kMinKeepBlocks)),
      hfSkipBlocks(hfTruncate ? numIRBlocks - hfKeepBlocks : 0),
      numInputs(numInputs_),
      numOutputs(numOutputs_),
      histLen(rowPitch * numRows),
      accLen(numRows * numChunks),
      ringPos(0),
      segPhase(0),
      chunkPhase(0),
      overlapSel(0),
      histMem(nullptr),
      accMem(nullptr),
      outMem(nullptr),
      fwdSpectrum(nullptr),
      dcSave(nullptr),
      fftTwiddles(nullptr),
      fftBitRev(nullptr),
      fftWork(nullptr) {}
