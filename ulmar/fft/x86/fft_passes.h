// The passes that all vector bodies share, over a vector type. Each body compiles them
// for its own instruction set, hence the internal linkage: a copy that uses AVX must
// never be the one that the linker keeps for all.
//
// A vector type V offers
//   Register, a register of kValues complex values; + and - work lane by lane;
//   load, store; loadReversed and storeReversed, the kValues values from an address on
//     in reversed order; loadMirrored, their conjugates;
//   startWith(first, r), `first` and behind it the values of r but for the last;
//   Twiddles<direction>(first, step), kValues twiddles that lie `step` apart, and
//     times(d), the products of d with them or, inverse, with their conjugates;
//   LastTwo<direction>(twiddles, stride), the passes of span 2, with `stride`, and 1
//     over kLastValues values in registers, and store(r, out), which runs them and
//     writes the values. It takes them as loadForLastTwo(in, r) loads them, or
//     orderForLastTwo(r) arranges those that stand in natural order;
//   writeReals(passes, data, out, bitRev, factor, n), which takes groups of values
//     through the inverse LastPasses and writes `factor` times their real parts in
//     natural order: values 0 ... 7 of the group at data[k] go 0, n/2, n/4, 3n/4, n/8,
//     5n/8, 3n/8 and 7n/8 behind out[bitRev[k]]. Groups whose numbers differ in the
//     highest bits go to neighbours, and are taken together;
//   loadBins(z, half), kValues bins of a transform of `half` values that stands in
//     bit-reversed order, the first of them at z; loadBinsBelow(z, next, half), bins
//     downwards from that at z, the second of them at `next`;
//   splitBins(a, b, w, halfScale), bins k of the real-FFT post-pass, of a = z[k],
//     b = z[half - k] and w = twiddles[k].
#pragma once

#include "ulmar/fft/fft_kernels.h"

namespace ulmar {
namespace {

enum class Direction { forward, inverse };

// kValues columns of two fused passes over groups of 4q values.
template <typename V, Direction direction>
class PairColumns {
 public:
  using Register = typename V::Register;

  PairColumns(cmplxFFT const* twiddles, int i, int q, int stride) noexcept
      : w0_(twiddles + i * stride, stride),
        w1_(twiddles + (i + q) * stride, stride),
        w2_(twiddles + 2 * i * stride, 2 * stride) {}

  void apply(Register a0, Register a1, Register a2, Register a3, cmplxFFT* out,
             int q) const noexcept {
    const Register b0 = a0 + a2;
    const Register b1 = a1 + a3;
    const Register b2 = w0_.times(a0 - a2);
    const Register b3 = w1_.times(a1 - a3);
    V::store(out, b0 + b1);
    V::store(out + q, w2_.times(b0 - b1));
    V::store(out + 2 * q, b2 + b3);
    V::store(out + 3 * q, w2_.times(b2 - b3));
  }

 private:
  using Twiddles = typename V::template Twiddles<direction>;

  Twiddles w0_;
  Twiddles w1_;
  Twiddles w2_;
};

// Column by column, so that the twiddles of a column serve all groups.
template <typename V, Direction direction>
void passPair(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles, int groups,
              int q, int stride) noexcept {
  for (int i = 0; i < q; i += V::kValues) {
    const PairColumns<V, direction> columns(twiddles, i, q, stride);
    cmplxFFT const* from = in + i;
    cmplxFFT* to = out + i;
    for (int group = 0; group < groups; ++group, from += 4 * q, to += 4 * q) {
      columns.apply(V::load(from), V::load(from + q), V::load(from + 2 * q),
                    V::load(from + 3 * q), to, q);
    }
  }
}

template <typename V>
void forwardPair(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int groups, int q, int stride) noexcept {
  passPair<V, Direction::forward>(in, out, twiddles, groups, q, stride);
}

template <typename V>
void inversePair(cmplxFFT* data, cmplxFFT const* twiddles, int groups, int q,
                 int stride) noexcept {
  passPair<V, Direction::inverse>(data, data, twiddles, groups, q, stride);
}

// The upper half of the spectrum is the mirror image of the packed lower half: element
// n - k is the conjugate of element k.
template <typename V>
void inverseFirst(cmplxFFT const* packed, cmplxFFT* out, cmplxFFT const* twiddles,
                  int numPoints) noexcept {
  using Columns = PairColumns<V, Direction::inverse>;
  const int half = numPoints / 2;
  const int q = numPoints / 4;
  constexpr int kLast = V::kValues - 1;
  // DC and Nyquist share element 0.
  Columns(twiddles, 0, q, 1)
      .apply(
          V::startWith({packed[0].re, 0.0}, V::load(packed + 1)), V::load(packed + q),
          V::startWith({packed[0].im, 0.0}, V::loadMirrored(packed + half - 1 - kLast)),
          V::loadMirrored(packed + q - kLast), out, q);
  for (int i = V::kValues; i < q; i += V::kValues) {
    Columns(twiddles, i, q, 1)
        .apply(V::load(packed + i), V::load(packed + i + q),
               V::loadMirrored(packed + half - i - kLast),
               V::loadMirrored(packed + q - i - kLast), out + i, q);
  }
}

// Bins k, k + 1, ... and half - k, half - k - 1, ... need the same values of z. For the
// bit-reversed places the lowest bits of k are the highest: bins k, k + 1, k + 2 and
// k + 3, k a multiple of four, stand 0, half/2, half/4 and 3 half/4 behind the place of
// k. That of bin half - 1 - k is its complement, half - 1 less the place of k.
template <typename V>
void splitReal(double scale, cmplxFFT const* z, cmplxFFT* out, cmplxFFT const* twiddles,
               HostLong const* bitRev, int half) noexcept {
  constexpr int kLast = V::kValues - 1;
  const double halfScale = scale * 0.5;
  const auto bins = [&](int k) { return V::loadBins(z + (bitRev[k] >> 1), half); };
  const auto binsBelow = [&](int k) {
    return V::loadBinsBelow(z + (bitRev[half - k] >> 1),
                            z + (half - 1 - (bitRev[k] >> 1)), half);
  };
  // Bins below kValues and their mirror images. Neither a bin `half` nor its twiddle
  // exists.
  if constexpr (kLast > 0) {
    const typename V::Register lastTwiddles =
        V::startWith({0.0, 0.0}, V::loadReversed(twiddles + half - 1 - kLast));
    cmplxFFT lastBins[V::kValues];
    V::storeReversed(lastBins,
                     V::splitBins(binsBelow(0), bins(0), lastTwiddles, halfScale));
    for (int j = 0; j < kLast; ++j) out[half - kLast + j] = lastBins[j];
    V::store(out, V::splitBins(bins(0), binsBelow(0), V::load(twiddles), halfScale));
  }
  out[0] = {(z[0].re + z[0].im) * scale, (z[0].re - z[0].im) * scale};

  for (int k = V::kValues; k < half / 2; k += V::kValues) {
    const typename V::Register a = bins(k);
    const typename V::Register b = binsBelow(k);
    const int below = half - k - kLast;
    V::store(out + k, V::splitBins(a, b, V::load(twiddles + k), halfScale));
    V::storeReversed(out + below,
                     V::splitBins(b, a, V::loadReversed(twiddles + below), halfScale));
  }
  // Bin half/2, alone; those above it come out once more.
  const int middle = half / 2;
  V::store(out + middle, V::splitBins(bins(middle), binsBelow(middle),
                                      V::load(twiddles + middle), halfScale));
}

// The last numPasses passes over a group of values in registers. With three passes,
// that of span 4 over eight values comes first.
template <typename V, Direction direction, int numPasses>
class LastPasses {
 public:
  static constexpr int kGroupLen = numPasses == 3 ? 8 : V::kLastValues;
  static constexpr int kRegisters = kGroupLen / V::kValues;
  using Group = typename V::Register[kRegisters];

  LastPasses(cmplxFFT const* twiddles, int stride) noexcept
      : lastTwo(twiddles, kHasSpanFour ? 2 * stride : stride) {
    if constexpr (kHasSpanFour) {
      for (int j = 0; j < kRegisters / 2; ++j) {
        spanFour_[j] = Twiddles(twiddles + j * V::kValues * stride, stride);
      }
    }
  }

  // Loads a group and takes it through the pass of span 4, if there is one.
  void load(cmplxFFT const* in, Group& r) const noexcept {
    if constexpr (kHasSpanFour) {
      for (int j = 0; j < kRegisters / 2; ++j) {
        const typename V::Register a = V::load(in + j * V::kValues);
        const typename V::Register b = V::load(in + 4 + j * V::kValues);
        r[j] = a + b;
        r[j + kRegisters / 2] = spanFour_[j].times(a - b);
      }
      V::orderForLastTwo(r);
    } else {
      V::loadForLastTwo(in, r);
    }
  }

  typename V::template LastTwo<direction> lastTwo;

 private:
  using Twiddles = typename V::template Twiddles<direction>;

  static constexpr bool kHasSpanFour = numPasses == 3;

  Twiddles spanFour_[kRegisters / 2];
};

template <typename V, int numPasses>
void forwardLastPasses(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                       int numPoints, int stride) noexcept {
  using Passes = LastPasses<V, Direction::forward, numPasses>;
  const Passes passes(twiddles, stride);
#pragma GCC unroll 2
  for (int k = 0; k < numPoints; k += Passes::kGroupLen) {
    typename Passes::Group r;
    passes.load(in + k, r);
    for (int j = 0; j < Passes::kGroupLen; j += V::kLastValues) {
      passes.lastTwo.store(r + j / V::kValues, out + k + j);
    }
  }
}

template <typename V>
void forwardLast(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int numPoints, int numPasses, int stride) noexcept {
  const auto run = numPasses == 3 ? forwardLastPasses<V, 3> : forwardLastPasses<V, 2>;
  run(in, out, twiddles, numPoints, stride);
}

template <typename V>
void inverseLast(cmplxFFT* data, double* out, cmplxFFT const* twiddles,
                 HostLong const* bitRev, double factor, int numPoints,
                 int numPasses) noexcept {
  const int stride = numPoints >> numPasses;
  if (numPasses == 3) {
    const LastPasses<V, Direction::inverse, 3> passes(twiddles, stride);
    V::writeReals(passes, data, out, bitRev, factor, numPoints);
  } else {
    const LastPasses<V, Direction::inverse, 2> passes(twiddles, stride);
    V::writeReals(passes, data, out, bitRev, factor, numPoints);
  }
}

}  // namespace
}  // namespace ulmar
