// The single-precision transforms against the definition of the discrete Fourier
// transform at small sizes, and against its properties at large ones: unit impulses,
// shifts, and the way there and back.
//
// Error bounds: each of the log2 N butterfly passes, the split of the real transform
// included, is an orthogonal map up to scale, computed with a relative error of at most
// mu + 4 sqrt(2) u in the 2-norm (Higham, "Accuracy and Stability of Numerical
// Algorithms", 24.1), with u = 2^-24 and twiddles rounded once, mu < u. Hence 7 u per
// pass. Scaling takes two roundings more.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/spectral/toolkit.h"
#include "tests/support/dft.h"
#include "tests/support/random.h"

namespace ulmar::test {
namespace {

constexpr long double kUnit = 0x1p-24L;
constexpr int kLargeSizes[] = {1 << 11, 1 << 14, 1 << 18};

long double bound(int numPasses) { return (7 * numPasses + 2) * kUnit; }

Spectrum widened(const std::vector<cmplx>& x) {
  Spectrum result;
  for (const cmplx& value : x) result.emplace_back(value.re, value.im);
  return result;
}

Spectrum widened(const std::vector<float>& x) { return {x.begin(), x.end()}; }

Spectrum times(Complex factor, Spectrum x) {
  for (Complex& value : x) value *= factor;
  return x;
}

std::vector<cmplx> complexSignal(int length, std::uint64_t seed) {
  Random random(seed);
  std::vector<cmplx> signal(static_cast<std::size_t>(length));
  for (cmplx& value : signal) value = {random.sample(), random.sample()};
  return signal;
}

std::vector<float> impulseAt(int n, int length) {
  std::vector<float> signal(static_cast<std::size_t>(length));
  at(signal, n) = 1.0F;
  return signal;
}

// The whole spectrum of the unit impulse at n.
Spectrum impulseSpectrum(int n, int length) {
  Spectrum result;
  for (int k = 0; k < length; ++k) {
    result.push_back(unit(std::int64_t{n} * k, length, -1));
  }
  return result;
}

// Im of DC and Nyquist are zero, the rest mirrored, exactly.
void expectConjugateSymmetry(const std::vector<cmplx>& spectrum) {
  const int n = static_cast<int>(spectrum.size());
  EXPECT_EQ(spectrum[0].im, 0.0F);
  EXPECT_EQ(at(spectrum, n / 2).im, 0.0F);
  for (int k = 1; k < n / 2; ++k) {
    ASSERT_EQ(at(spectrum, k).re, at(spectrum, n - k).re) << k;
    ASSERT_EQ(at(spectrum, k).im, -at(spectrum, n - k).im) << k;
  }
}

TEST(Transforms, MatchTheDefinition) {
  for (int size = 2; size <= 512; size *= 2) {
    SCOPED_TRACE(size);
    const Toolkit toolkit(size);
    const int passes = toolkit.log2Size;
    Random random(static_cast<std::uint64_t>(size));

    if (size >= 4) {
      const auto x = complexSignal(size, random.next());
      const auto apart = toolkit.complex(x, Place::apart);
      EXPECT_LE(distance(widened(apart), directDft(widened(x))), bound(passes));
      EXPECT_TRUE(sameBits(toolkit.complex(x, Place::inPlace), apart));
      // Tables of twice the size serve alike.
      EXPECT_TRUE(sameBits(Toolkit(2 * size).complex(x, Place::apart), apart));
      EXPECT_TRUE(sameBits(Toolkit(2 * size).complex(x, Place::inPlace), apart));
    }
    if (size >= 8) {
      const auto x = random.signal(size);
      const Spectrum expected = directDft(widened(x));
      const auto spectrum = toolkit.forward(-0.3F, x);
      EXPECT_LE(distance(widened(spectrum), times(-0.3F, expected)), bound(passes));
      expectConjugateSymmetry(spectrum);
      EXPECT_TRUE(sameBits(toolkit.forward(-0.3F, x, Place::inPlace), spectrum));

      Spectrum squares;
      for (const Complex& bin : expected) squares.push_back(0.7F * std::norm(bin));
      const auto power = toolkit.power(0.7F, x);
      // An error of e in X is one of 2 e in its square, to first order; the square
      // takes four roundings.
      EXPECT_LE(distance(widened(power), squares), 2 * bound(passes) + 4 * kUnit);
      for (int k = 1; k < size / 2; ++k) {
        ASSERT_EQ(at(power, k), at(power, size - k)) << k;
      }
      EXPECT_TRUE(sameBits(toolkit.power(0.7F, x, Place::inPlace), power));
    }

    // A spectrum without symmetry comes back as the real part of its transform.
    const auto bins = complexSignal(size, random.next());
    Spectrum expected;
    for (const Complex& value : directDft(widened(bins), +1)) {
      expected.emplace_back(2.5F * value.real() / size);
    }
    // The complex transform may have all of the error in the half that is kept.
    EXPECT_LE(distance(widened(toolkit.inverse(2.5F, bins)), expected),
              2 * bound(passes));
  }
}

TEST(Transforms, LargeOnesTurnImpulsesAndShifts) {
  for (const int size : kLargeSizes) {
    SCOPED_TRACE(size);
    const Toolkit toolkit(size);
    const long double tolerance = bound(toolkit.log2Size);
    for (const int n : {0, 1, 2, size / 2, size / 3, size - 1}) {
      SCOPED_TRACE(n);
      const auto impulse = impulseAt(n, size);
      EXPECT_LE(
          distance(widened(toolkit.forward(1.0F, impulse)), impulseSpectrum(n, size)),
          tolerance);
      EXPECT_LE(distance(widened(toolkit.power(1.0F, impulse)),
                         Spectrum(static_cast<std::size_t>(size), 1)),
                2 * tolerance + 4 * kUnit);
    }

    auto x = Random(3).signal(size);
    Spectrum expected = widened(toolkit.forward(1.0F, x));
    for (int k = 0; k < size; ++k) at(expected, k) *= unit(k, size, -1);
    std::rotate(x.rbegin(), x.rbegin() + 1, x.rend());
    EXPECT_LE(distance(widened(toolkit.forward(1.0F, x)), expected), 2 * tolerance);
  }
}

TEST(Transforms, ThereAndBackIsTheInput) {
  for (int size = 8; size <= 1 << 18; size *= 8) {
    SCOPED_TRACE(size);
    const Toolkit toolkit(size);
    const auto x = Random(4).signal(size);
    const auto spectrum = toolkit.forward(0.5F, x);
    expectConjugateSymmetry(spectrum);
    const auto back = toolkit.inverse(2.0F, spectrum);
    EXPECT_LE(distance(widened(back), widened(x)), 2 * bound(toolkit.log2Size));
  }
}

}  // namespace
}  // namespace ulmar::test
