// The tiers that work ahead. After the counters' step, slot (s - k) mod M of a pair's
// accumulator belongs to the block k + 1 blocks ahead, s being the next block's slot.
// In the housekeeping that stepped to phases (m, h), the high tier overwrites chunk h
// of segment m in all M slots with every partition that no later call will add, and the
// mid tier adds to the other chunks of segment m, in the next G slots, the partitions
// between.
#include <algorithm>

#include "ulmar/convrt/convrt.h"
#include "ulmar/convrt/row_kernels.h"
#include "ulmar/convrt/row_result.h"

namespace {

using ulmar::kMaxSlots;
using ulmar::RowKernels;
using ulmar::RowSums;

// Rows whose high tier is gathered before it goes to the slots, which lie numRows
// apart, often a multiple of 4096 bytes: scattered row by row they would evict one
// another.
constexpr int kRowBlock = 8;

// Row products of a run of history columns, `len` from `first` on, wrapping at ringLen,
// with the partitions of numSlots neighbouring slots: slot k takes column first + i
// with parts[i - k], i = max(0, k - lead) ... len - 1.
void sumSlots(const RowKernels& kernels, RowSums* sums, int numSlots,
              VecComplex const* ring, int ringLen, int first, VecComplex const* parts,
              int len, int lead) noexcept {
  const int toWrap = std::min(len, ringLen - first);
  kernels.slideSums(sums, numSlots, ring + first, parts, toWrap, lead);
  if (toWrap == len) return;
  kernels.slideSums(sums, numSlots, ring, parts + toWrap, len - toWrap, lead + toWrap);
}

// A copy of known size is a few moves, one of any size a slow start.
void copyRows(VecComplex const* from, int numRows, VecComplex* to) noexcept {
  if (numRows == kRowBlock) {
    std::copy_n(from, kRowBlock, to);
  } else {
    std::copy_n(from, numRows, to);
  }
}

int wrapped(int col, int ringLen) noexcept { return col < 0 ? col + ringLen : col; }

// Visits every pair that has a partition set, input by input.
template <typename Visit>
void forEachPair(const ConvRT& engine, Visit visit) {
  for (int input = 0; input < engine.state->numInputs; ++input) {
    for (int output = 0; output < engine.state->numOutputs; ++output) {
      if (engine.irParts[input][output] != nullptr) visit(input, output);
    }
  }
}

}  // namespace

void ConvRT::doHousekeeping() {
  if (--state->segPhase < 0) {
    state->segPhase += state->numSegments;
    if (--state->chunkPhase < 0) state->chunkPhase += state->chunksPerSegment;
  }
  forEachPair(*this, [this](int input, int output) {
    runHighLatency(inHist[input], irParts[input][output], pairAcc[input][output]);
  });
  forEachPair(*this, [this](int input, int output) {
    runMidLatency(inHist[input], irParts[input][output], pairAcc[input][output]);
  });
  if (++state->ringPos == state->ringLen) state->ringPos = 0;
}

void ConvRT::runHighLatency(VecComplex* hist, VecComplex* parts, VecComplex* acc) {
  const int numChunks = state->numChunks;
  const int numIRBlocks = state->numIRBlocks;
  const int ringLen = state->ringLen;
  const int rowsPerChunk = state->rowsPerChunk;
  const int nextSlot = state->chunkPhase * state->numSegments + state->segPhase;
  const int chunk = state->segPhase * state->chunksPerSegment + state->chunkPhase;

  // The newest block's column in this segment: every slot's run ends there.
  int newest = state->ringPos + state->segPhase;
  if (newest >= ringLen) newest -= ringLen;

  const RowKernels& kernels = ulmar::rowKernels();
  for (int firstInChunk = 0; firstInChunk < rowsPerChunk; firstInChunk += kRowBlock) {
    const int numBlockRows = std::min(kRowBlock, rowsPerChunk - firstInChunk);
    const int firstRow = chunk * rowsPerChunk + firstInChunk;
    for (int firstSlot = 0; firstSlot < numChunks; firstSlot += kMaxSlots) {
      const int numSlots = std::min(kMaxSlots, numChunks - firstSlot);
      VecComplex results[kMaxSlots][kRowBlock];

      for (int r = 0; r < numBlockRows; ++r) {
        const int row = firstRow + r;
        const bool upperBand = 2 * (firstInChunk + r) >= rowsPerChunk;
        const int skip = upperBand ? std::max(state->hfSkipBlocks, 0) : 0;
        const int len = std::max(0, numIRBlocks - 1 - skip - firstSlot);
        const int first = wrapped(newest - len + 1, ringLen);
        VecComplex const* const tail =
            parts + row * state->rowPitch + (ringLen - numIRBlocks) + skip;
        RowSums sums[kMaxSlots];
        std::fill_n(sums, numSlots, RowSums{});
        sumSlots(kernels, sums, numSlots, hist + row * state->rowPitch, ringLen, first,
                 tail, len, 0);
        for (int k = 0; k < numSlots; ++k) {
          results[k][r] = ulmar::rowResult(sums[k]);
          if (row == 0) ulmar::setPackedLane(sums[k], results[k][r]);
        }
      }
      for (int k = 0; k < numSlots; ++k) {
        const int slot = (nextSlot - firstSlot - k) & (numChunks - 1);
        copyRows(results[k], numBlockRows, acc + slot * state->numRows + firstRow);
      }
    }
  }
}

void ConvRT::runMidLatency(VecComplex* hist, VecComplex* parts, VecComplex* acc) {
  const int numSegments = state->numSegments;
  const int chunksPerSegment = state->chunksPerSegment;
  const int numChunks = state->numChunks;
  const int ringLen = state->ringLen;
  const int segPhase = state->segPhase;
  const int chunkPhase = state->chunkPhase;
  const int nextSlot = chunkPhase * numSegments + segPhase;
  const RowKernels& kernels = ulmar::rowKernels();
  const auto slotRow = [&](int k, int row) -> VecComplex& {
    return acc[((nextSlot - k) & (numChunks - 1)) * state->numRows + row];
  };

  // Row 0 is among this call's rows: its packed lane is set aside, and takes its own
  // sum in place of the complex one.
  const bool handlesRow0 = segPhase == 0 && chunkPhase != 0;
  for (int k = 0; handlesRow0 && k < numSegments; ++k) {
    dcSave[2 * k] = slotRow(k, 0).re[0];
    dcSave[2 * k + 1] = slotRow(k, 0).im[0];
  }

  for (int pass = 1; pass < chunksPerSegment; ++pass) {
    const int len = pass * numSegments;
    const int first = wrapped(state->ringPos + segPhase - len + 1, ringLen);
    const int inSegment = (chunkPhase + pass) & (chunksPerSegment - 1);
    const int firstRow =
        (segPhase * chunksPerSegment + inSegment) * state->rowsPerChunk;

    for (int row = firstRow; row < firstRow + state->rowsPerChunk; ++row) {
      VecComplex const* const histRow = hist + row * state->rowPitch;
      VecComplex const* const partsRow = parts + row * state->rowPitch;
      for (int firstSlot = 0; firstSlot < numSegments; firstSlot += kMaxSlots) {
        const int numSlots = std::min(kMaxSlots, numSegments - firstSlot);
        RowSums sums[kMaxSlots];
        std::fill_n(sums, numSlots, RowSums{});
        sumSlots(kernels, sums, numSlots, histRow, ringLen, first,
                 partsRow + (ringLen - len - 1 - firstSlot), len, numSlots);

        for (int k = 0; k < numSlots; ++k) {
          VecComplex& target = slotRow(firstSlot + k, row);
          ulmar::addTo(target, ulmar::rowResult(sums[k]));
          if (row == 0) {
            float const* const saved = dcSave + 2 * (firstSlot + k);
            target.re[0] = saved[0] + sums[k].direct.re[0];
            target.im[0] = saved[1] + sums[k].direct.im[0];
          }
        }
      }
    }
  }
}
