#include "ulmar/convrt/convrt.h"

#include <algorithm>

#include "ulmar/base/align.h"
#include "ulmar/convrt/row_kernels.h"
#include "ulmar/convrt/row_order.h"
#include "ulmar/convrt/row_result.h"

namespace {

// The areas behind one output's spectrum: numRows VecComplex and two overlap buffers of
// 2N doubles are 40 N bytes; 32 are spare.
std::size_t outAreaBytes(const ConvRTState& state) noexcept {
  return 40 * static_cast<std::size_t>(state.blockLen) + ulmar::kAreaAlign;
}

// Overlap buffer `which` of an output, 2N doubles.
double* overlapBuffer(const ConvRTState& state, VecComplex* outArea,
                      int which) noexcept {
  auto* const first = ulmar::asRecords<double>(outArea + state.numRows);
  return first + which * 2 * state.blockLen;
}

}  // namespace

ConvRT::ConvRT(ConvRTState* state_)
    : state(state_),
      inHist{},
      irParts{},
      pairAcc{},
      outAcc{},
      dcSave(state_->dcSave),
      fft(2 * state_->blockLen, state_->fftTwiddles, state_->fftBitRev,
          state_->fftWork),
      fwdSpectrum(state_->fwdSpectrum) {
  const int numOutputs = state->numOutputs;
  for (int input = 0; input < state->numInputs; ++input) {
    inHist[input] = state->histMem + input * (state->histLen + 1);
    for (int output = 0; output < numOutputs; ++output) {
      const int pair = input * numOutputs + output;
      pairAcc[input][output] = state->accMem + pair * (state->accLen + 1);
    }
  }
  auto* const outBytes = ulmar::asRecords<char>(state->outMem);
  for (int output = 0; output < numOutputs; ++output) {
    outAcc[output] = ulmar::asRecords<VecComplex>(
        outBytes + static_cast<std::size_t>(output) * outAreaBytes(*state));
  }
}

void ConvRT::setImpulseResponse(int input, int output, VecComplex* set) {
  irParts[input][output] = set;
}

void ConvRT::updateInputHist(VecComplex* hist, double* in) {
  fft.rcfftZX(in, fwdSpectrum, state->blockLen);
  int col = state->ringPos;
  for (int segment = 0; segment < state->numSegments; ++segment) {
    const int firstRow = segment * state->rowsPerSegment;
    for (int row = firstRow; row < firstRow + state->rowsPerSegment; ++row) {
      hist[row * state->rowPitch + col] = ulmar::rowOf(*state, fwdSpectrum, row);
    }
    if (++col == state->ringLen) col = 0;
  }
}

void ConvRT::genOutput(double** outputs, double** inputs) {
  for (int output = 0; output < state->numOutputs; ++output) {
    std::fill_n(outAcc[output], state->numRows, VecComplex{});
  }
  for (int input = 0; input < state->numInputs; ++input) {
    updateInputHist(inHist[input], inputs[input]);
    for (int output = 0; output < state->numOutputs; ++output) {
      VecComplex* const parts = irParts[input][output];
      if (parts == nullptr) continue;
      runLowLatency(inHist[input], parts, pairAcc[input][output], outAcc[output]);
    }
  }
  for (int output = 0; output < state->numOutputs; ++output) {
    produceOutput(output, outputs[output]);
  }
  state->overlapSel = 1 - state->overlapSel;
}

void ConvRT::runLowLatency(VecComplex* hist, VecComplex* parts, VecComplex* acc,
                           VecComplex* spectrum) {
  const int numSegments = state->numSegments;
  const int slot = state->chunkPhase * numSegments + state->segPhase;
  VecComplex const* const slotRows = acc + slot * state->numRows;
  const ulmar::RowKernels& kernels = ulmar::rowKernels();

  // In every phase one segment takes the first partition only, one the first two, and
  // so on up to G: what the mid tier has not summed for this block.
  for (int numParts = 1; numParts <= numSegments; ++numParts) {
    const int segment = (numParts + state->segPhase - 1) & (numSegments - 1);
    // The run ends at the segment's newest column and never wraps, since
    // ringPos + segPhase is a multiple of G.
    int col = state->ringPos + segment - numParts + 1;
    if (col >= state->ringLen) col -= state->ringLen;

    const int firstRow = segment * state->rowsPerSegment;
    const int rowStart = firstRow * state->rowPitch;
    VecComplex const* const columns = hist + rowStart + col;
    VecComplex const* const newest = parts + rowStart + state->ringLen - numParts;
    const VecComplex before = spectrum[firstRow];
    kernels.addRows(spectrum + firstRow, slotRows + firstRow, columns, newest,
                    state->rowPitch, state->rowsPerSegment, numParts);
    if (firstRow == 0) {
      ulmar::RowSums sums{};
      kernels.slideSums(&sums, 1, columns, newest, numParts, 0);
      // addRows has treated the packed lane, DC and Nyquist, as a complex value; it is
      // summed again as two real ones.
      spectrum[0].re[0] = before.re[0] + (slotRows[0].re[0] + sums.direct.re[0]);
      spectrum[0].im[0] = before.im[0] + (slotRows[0].im[0] + sums.direct.im[0]);
    }
  }
}

void ConvRT::produceOutput(int output, double* samples) {
  const int blockLen = state->blockLen;
  VecComplex* const area = outAcc[output];
  double* const work = overlapBuffer(*state, area, state->overlapSel);
  double const* const tail =
      overlapBuffer(*state, area, 1 - state->overlapSel) + blockLen;

  auto* const packed = reinterpret_cast<cmplxFFT*>(work);
  for (int row = 0; row < state->numRows; ++row) {
    ulmar::putRow(*state, area[row], row, packed);
  }
  fft.crifft(packed);
  for (int n = 0; n < blockLen; ++n) samples[n] = work[n] + tail[n];
}
