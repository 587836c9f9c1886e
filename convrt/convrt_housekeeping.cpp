// The tiers that work ahead. After the counters' step, slot (s - k) mod M of a pair's
// accumulator belongs to the block k + 1 blocks ahead, s being the next block's slot.
// In the housekeeping that stepped to phases (m, h), the high tier overwrites chunk h
// of segment m in all M slots with every partition that no later call will add, and the
// mid tier adds to the other chunks of segment m, in the next G slots, the partitions
// between.
#include <algorithm>

#include "convrt/convrt.h"
#include "convrt/row_kernels.h"

namespace {

using ulmar::RowSums;

// Slots whose sums are held at once; longer runs of slots are taken in pieces.
constexpr int kSlotBlock = 16;

// slideSums with shrink 1 over a ring row: slot k takes ring column (first + k + i) mod
// ringLen with fixed[i], i < len - k. 0 <= first < ringLen; len <= ringLen.
void slideRing(RowSums* sums, int numSlots, VecComplex const* ring, int ringLen,
               int first, VecComplex const* fixed, int len) noexcept {
  const int toWrap = ringLen - first;
  if (len <= toWrap) {
    ulmar::slideSums(sums, numSlots, ring + first, fixed, len, 1);
    return;
  }
  // All slots run up to the wrap, cross it over a straightened seam, and run on.
  const int before = std::max(0, toWrap - (numSlots - 1));
  ulmar::slideSums(sums, numSlots, ring + first, fixed, before, 0);

  VecComplex seam[2 * (kSlotBlock - 1)];
  const int rest = len - before;
  const int across = toWrap - before;
  const int seamLen = std::min(rest, across + numSlots - 1);
  std::copy_n(ring + first + before, across, seam);
  std::copy_n(ring, seamLen - across, seam + across);
  if (rest <= seamLen) {
    ulmar::slideSums(sums, numSlots, seam, fixed + before, rest, 1);
    return;
  }
  ulmar::slideSums(sums, numSlots, seam, fixed + before, across, 0);
  ulmar::slideSums(sums, numSlots, ring, fixed + toWrap, len - toWrap, 1);
}

// Row products of one run of ring columns, `len` from `first` on, with the partitions
// of numSlots neighbouring slots: slot k takes parts[i - k]. The partitions slide,
// hence sums[numSlots - 1 - k] belongs to slot k.
void slideParts(RowSums* sums, int numSlots, VecComplex const* ring, int ringLen,
                int first, VecComplex const* parts, int len) noexcept {
  VecComplex const* const sliding = parts - (numSlots - 1);
  const int before = std::min(len, ringLen - first);
  ulmar::slideSums(sums, numSlots, sliding, ring + first, before, 0);
  ulmar::slideSums(sums, numSlots, sliding + before, ring, len - before, 0);
}

int wrapped(int col, int ringLen) noexcept { return col < 0 ? col + ringLen : col; }

}  // namespace

void ConvRT::doHousekeeping() {
  if (--state->segPhase < 0) {
    state->segPhase += state->numSegments;
    if (--state->chunkPhase < 0) state->chunkPhase += state->chunksPerSegment;
  }
  for (int input = 0; input < state->numInputs; ++input) {
    for (int output = 0; output < state->numOutputs; ++output) {
      VecComplex* const parts = irParts[input][output];
      if (parts != nullptr)
        runHighLatency(inHist[input], parts, pairAcc[input][output]);
    }
  }
  for (int input = 0; input < state->numInputs; ++input) {
    for (int output = 0; output < state->numOutputs; ++output) {
      VecComplex* const parts = irParts[input][output];
      if (parts != nullptr) runMidLatency(inHist[input], parts, pairAcc[input][output]);
    }
  }
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

  for (int inChunk = 0; inChunk < rowsPerChunk; ++inChunk) {
    const int row = chunk * rowsPerChunk + inChunk;
    const bool upperBand = 2 * inChunk >= rowsPerChunk;
    const int skip = upperBand ? std::max(state->hfSkipBlocks, 0) : 0;
    VecComplex const* const histRow = hist + row * state->rowPitch;
    VecComplex const* const tail =
        parts + row * state->rowPitch + (ringLen - numIRBlocks) + skip;

    for (int firstSlot = 0; firstSlot < numChunks; firstSlot += kSlotBlock) {
      const int numSlots = std::min(kSlotBlock, numChunks - firstSlot);
      const int len = std::max(0, numIRBlocks - 1 - skip - firstSlot);
      const int first = wrapped(newest - len + 1, ringLen);
      RowSums sums[kSlotBlock] = {};
      slideRing(sums, numSlots, histRow, ringLen, first, tail, len);

      for (int k = 0; k < numSlots; ++k) {
        const int slot = (nextSlot - firstSlot - k) & (numChunks - 1);
        VecComplex& target = acc[slot * state->numRows + row];
        target = ulmar::rowResult(sums[k]);
        if (row == 0) ulmar::packedResult(sums[k], target);
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
      for (int firstSlot = 0; firstSlot < numSegments; firstSlot += kSlotBlock) {
        const int numSlots = std::min(kSlotBlock, numSegments - firstSlot);
        RowSums sums[kSlotBlock] = {};
        slideParts(sums, numSlots, histRow, ringLen, first,
                   partsRow + (ringLen - len - 1 - firstSlot), len);

        for (int k = 0; k < numSlots; ++k) {
          const RowSums& slotSums = sums[numSlots - 1 - k];
          VecComplex& target = slotRow(firstSlot + k, row);
          ulmar::addTo(target, ulmar::rowResult(slotSums));
          if (row == 0) {
            float const* const saved = dcSave + 2 * (firstSlot + k);
            target.re[0] = saved[0] + slotSums.direct.re[0];
            target.im[0] = saved[1] + slotSums.direct.im[0];
          }
        }
      }
    }
  }
}
