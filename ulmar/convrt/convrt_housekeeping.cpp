// The mid and the high tier, which sum into the blocks ahead. A pair's accumulator has
// one slot, a spectrum, for each of the next M blocks: with s the slot of the next
// block, slot (s - k) mod M belongs to the block k + 1 ahead.
//
// In the block whose phases have become segPhase = m and chunkPhase = h, the high tier
// overwrites chunk h of segment m in all M slots with the sum over every partition that
// no later call adds, and the mid tier adds the partitions between high and low tier to
// the other chunks of segment m, in the next G slots.
#include <algorithm>

#include "ulmar/convrt/convrt.h"
#include "ulmar/convrt/row_kernels.h"
#include "ulmar/convrt/row_result.h"

namespace {

using ulmar::kMaxSlots;
using ulmar::RowKernels;
using ulmar::RowSums;

// Rows whose high tier is summed before any of it is written to the slots. The slots
// lie numRows elements apart, often a multiple of 4096 bytes, so their rows fall into
// the same sets of the first-level cache: written row by row they would evict one
// another.
constexpr int kRowBlock = 8;

using RowBlock = VecComplex[kMaxSlots][kRowBlock];

// slideSums over `len` columns of a history's row, a ring of ringLen, from column
// `first` on: slot k takes column (first + i) mod ringLen with parts[i - k],
// i = max(0, k - lead) ... len - 1.
void sumSlots(const RowKernels& kernels, RowSums* sums, int numSlots,
              VecComplex const* ring, int ringLen, int first, VecComplex const* parts,
              int len, int lead) noexcept {
  const int toWrap = std::min(len, ringLen - first);
  kernels.slideSums(sums, numSlots, ring + first, parts, toWrap, lead);
  if (toWrap == len) return;
  kernels.slideSums(sums, numSlots, ring, parts + toWrap, len - toWrap, lead + toWrap);
}

// A whole block of rows has a size known at compile time, and is copied by a few moves
// instead of a call.
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
  const int ringLen = state->ringLen;
  const int rowsPerChunk = state->rowsPerChunk;
  const int nextSlot = state->chunkPhase * state->numSegments + state->segPhase;
  const int chunk = state->segPhase * state->chunksPerSegment + state->chunkPhase;
  const int upperSkip = std::max(state->hfSkipBlocks, 0);

  // The newest block's column in this segment: every slot's run ends there.
  int newest = state->ringPos + state->segPhase;
  if (newest >= ringLen) newest -= ringLen;

  const RowKernels& kernels = ulmar::rowKernels();
  const auto sumRow = [&](RowSums* sums, int row, int skip, int firstSlot,
                          int numSlots) {
    const int len = std::max(0, state->numIRBlocks - 1 - skip - firstSlot);
    VecComplex const* const oldest =
        parts + row * state->rowPitch + (ringLen - state->numIRBlocks) + skip;
    sumSlots(kernels, sums, numSlots, hist + row * state->rowPitch, ringLen,
             wrapped(newest - len + 1, ringLen), oldest, len, 0);
  };
  const auto sumRows = [&](RowBlock& results, int firstInChunk, int numBlockRows,
                           int firstSlot, int numSlots) {
    for (int r = 0; r < numBlockRows; ++r) {
      const int row = chunk * rowsPerChunk + firstInChunk + r;
      const bool upperBand = 2 * (firstInChunk + r) >= rowsPerChunk;
      RowSums sums[kMaxSlots];
      std::fill_n(sums, numSlots, RowSums{});
      sumRow(sums, row, upperBand ? upperSkip : 0, firstSlot, numSlots);
      for (int k = 0; k < numSlots; ++k) {
        results[k][r] = ulmar::rowResult(sums[k]);
        if (row == 0) ulmar::setPackedLane(sums[k], results[k][r]);
      }
    }
  };

  for (int first = 0; first < rowsPerChunk; first += kRowBlock) {
    const int numBlockRows = std::min(kRowBlock, rowsPerChunk - first);
    VecComplex* const accRows = acc + chunk * rowsPerChunk + first;
    for (int firstSlot = 0; firstSlot < numChunks; firstSlot += kMaxSlots) {
      const int numSlots = std::min(kMaxSlots, numChunks - firstSlot);
      RowBlock results;
      sumRows(results, first, numBlockRows, firstSlot, numSlots);
      for (int k = 0; k < numSlots; ++k) {
        const int slot = (nextSlot - firstSlot - k) & (numChunks - 1);
        copyRows(results[k], numBlockRows, accRows + slot * state->numRows);
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

  // Where row 0 is among this call's rows, its packed lane is set aside before the
  // complex sum is added, and takes the sum of real products instead.
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
