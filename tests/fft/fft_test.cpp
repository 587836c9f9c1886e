// The engine's transform against the definition of the discrete Fourier transform.
//
// Error bounds: each of the log2 n butterfly passes, the split of the real transform
// included, is an orthogonal map up to scale, computed with a relative error of at most
// mu + 4 sqrt(2) u (Higham, "Accuracy and Stability of Numerical Algorithms", 24.1) in
// the 2-norm. u = 2^-53; mu is the error of a twiddle: three roundings of an angle of
// at most pi and one of the result, below 9 u. Hence 15 u per pass.
#include "ulmar/fft/fft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "tests/support/at.h"
#include "tests/support/dft.h"
#include "tests/support/random.h"
#include "tests/support/transform_areas.h"

namespace ulmar::test {
namespace {

template <typename Value>
Spectrum widened(const std::vector<Value>& x) {
  return {x.begin(), x.end()};
}

Spectrum widened(const std::vector<cmplxFFT>& x) {
  Spectrum result;
  for (const cmplxFFT& value : x) result.emplace_back(value.re, value.im);
  return result;
}

// All n bins from the packed half spectrum.
Spectrum unpacked(const std::vector<cmplxFFT>& packed) {
  const std::size_t half = packed.size();
  Spectrum full(2 * half);
  full[0] = packed[0].re;
  full[half] = packed[0].im;
  for (std::size_t k = 1; k < half; ++k) {
    full[k] = {packed[k].re, packed[k].im};
    full[2 * half - k] = std::conj(full[k]);
  }
  return full;
}

// The 2-norm of a - b against that of b, in units of u per pass.
void expectClose(const Spectrum& a, const Spectrum& b, int numPasses) {
  ASSERT_EQ(a.size(), b.size());
  EXPECT_LE(distance(a, b), 15 * numPasses * 0x1p-53L);
}

void expectSameBits(const std::vector<cmplxFFT>& a, const std::vector<cmplxFFT>& b) {
  ASSERT_EQ(a.size(), b.size());
  EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(cmplxFFT)), 0);
}

class Transform {
 public:
  explicit Transform(int n)
      : size(n), log2Size(std::countr_zero(static_cast<unsigned>(n))), areas_(n) {}

  FFT fft() const { return areas_.transform(); }

  std::vector<cmplxFFT> rcfft(const std::vector<double>& in) const {
    std::vector<cmplxFFT> out(in.size() / 2);
    fft().rcfft(ReadOnly(in).data(), out.data());
    return out;
  }

  // `in` is all that may be read; count may be negative.
  template <typename Sample>
  std::vector<cmplxFFT> rcfftZX(const std::vector<Sample>& in, int count) const {
    std::vector<cmplxFFT> out(static_cast<std::size_t>(size / 2));
    fft().rcfftZX(ReadOnly(in).data(), out.data(), count);
    return out;
  }

  std::vector<double> crifft(const std::vector<cmplxFFT>& spectrum) const {
    std::vector<double> samples(2 * spectrum.size());
    std::memcpy(samples.data(), spectrum.data(), spectrum.size() * sizeof(cmplxFFT));
    fft().crifft(reinterpret_cast<cmplxFFT*>(samples.data()));
    return samples;
  }

  // Natural order from cmplxfft's bit-reversed one.
  std::vector<cmplxFFT> cmplxfft(std::vector<cmplxFFT> in, bool inPlace) const {
    const int log2N = std::countr_zero(static_cast<unsigned>(in.size()));
    std::vector<cmplxFFT> out(in.size());
    cmplxFFT* const to = inPlace ? in.data() : out.data();
    FFT object = fft();
    object.cmplxfft(in.data(), to, log2N);
    std::vector<cmplxFFT> natural;
    for (std::size_t k = 0; k < in.size(); ++k) {
      natural.push_back(to[object.bitRevTab[k] >> (log2Size - log2N)]);
    }
    return natural;
  }

  int size;
  int log2Size;

 private:
  TransformAreas areas_;
};

std::vector<cmplxFFT> randomSpectrum(Random& random, int length) {
  std::vector<cmplxFFT> values(static_cast<std::size_t>(length));
  for (cmplxFFT& value : values) value = {random.sample(), random.sample()};
  return values;
}

class FftSize : public testing::TestWithParam<int> {};

TEST_P(FftSize, EveryEntryIsTheDefinition) {
  Transform transform(GetParam());
  const int n = transform.size;
  const int passes = transform.log2Size;
  Random random(1);

  const auto x = random.signal<double>(n);
  const Spectrum truth = directDft(widened(x));
  expectClose(unpacked(transform.rcfft(x)), truth, passes);

  std::vector<cmplxFFT> scaled(x.size() / 2);
  std::vector<cmplxFFT> work(x.size() / 2);
  transform.fft().realfft(-2.5, ReadOnly(x).data(), scaled.data(), work.data());
  Spectrum scaledTruth = truth;
  for (Complex& value : scaledTruth) value *= -2.5L;
  expectClose(unpacked(scaled), scaledTruth, passes);

  const auto packed = randomSpectrum(random, n / 2);
  Spectrum inverse = directDft(unpacked(packed), +1);
  for (Complex& value : inverse) value /= n;
  expectClose(widened(transform.crifft(packed)), inverse, passes);

  // A spectrum without symmetry: only the real parts of the inverse are kept, and the
  // error is in proportion to the whole.
  auto full = randomSpectrum(random, n);
  inverse = directDft(widened(full), +1);
  long double dropped = 0;
  for (Complex& value : inverse) {
    value *= 3.0L / n;
    dropped += value.imag() * value.imag();
    value.imag(0);
  }
  std::vector<double> samples(full.size());
  transform.fft().realifft(3.0, full.data(), samples.data());
  ASSERT_GT(dropped, 0);
  expectClose(widened(samples), inverse, 2 * passes);

  for (const int points : {n / 2, n}) {
    const auto z = randomSpectrum(random, points);
    const auto natural = transform.cmplxfft(z, false);
    expectClose(widened(natural), directDft(widened(z)), passes);
    expectSameBits(transform.cmplxfft(z, true), natural);
  }
}

INSTANTIATE_TEST_SUITE_P(Small, FftSize, testing::Values(8, 16, 32, 64));

// Linearity, impulses, shift and inverse determine the transform without its O(n^2)
// definition (Ergun 1995).
TEST(Fft, LargeSizesByTheirProperties) {
  for (const int n : {512, 4096, 16384, 65536}) {
    SCOPED_TRACE(n);
    Transform transform(n);
    const int passes = transform.log2Size;
    const auto size = static_cast<std::size_t>(n);
    Random random(2);
    const auto x = random.signal<double>(n);
    const auto y = random.signal<double>(n);
    const Spectrum spectrumX = unpacked(transform.rcfft(x));
    const Spectrum spectrumY = unpacked(transform.rcfft(y));

    std::vector<double> mixed(size);
    std::vector<double> shifted(size);
    Spectrum mixedSpectrum(size);
    Spectrum shiftedSpectrum(size);
    for (std::size_t j = 0; j < size; ++j) {
      mixed[j] = x[j] - 0.75 * y[j];
      shifted[(j + 1) % size] = x[j];
      mixedSpectrum[j] = spectrumX[j] - 0.75L * spectrumY[j];
      shiftedSpectrum[j] = spectrumX[j] * unit(static_cast<int>(j), n, -1);
    }
    expectClose(unpacked(transform.rcfft(mixed)), mixedSpectrum, 3 * passes);
    expectClose(unpacked(transform.rcfft(shifted)), shiftedSpectrum, 2 * passes);
    expectClose(widened(transform.crifft(transform.rcfft(x))), widened(x), 2 * passes);

    for (const int delay : {0, 1, n / 2, random.below(n)}) {
      std::vector<double> impulse(size);
      at(impulse, delay) = 1.0;
      Spectrum truth(size);
      for (int k = 0; k < n; ++k) {
        at(truth, k) = unit(std::int64_t{delay} * k, n, -1);
      }
      expectClose(unpacked(transform.rcfft(impulse)), truth, passes);
    }
  }
}

TEST(Fft, ZeroExtensionReadsCountSamplesOfEitherPrecision) {
  for (const int n : {8, 256}) {
    Transform transform(n);
    Random random(3);
    for (const int count : {-1, 0, 1, n / 2 - 1, n / 2, n}) {
      SCOPED_TRACE(testing::Message() << "n " << n << ", count " << count);
      const auto single = random.signal(std::max(count, 0));
      const std::vector<double> twice(single.begin(), single.end());
      std::vector<double> extended = twice;
      extended.resize(static_cast<std::size_t>(n));

      const auto expected = transform.rcfft(extended);
      expectSameBits(transform.rcfftZX(single, count), expected);
      expectSameBits(transform.rcfftZX(twice, count), expected);
    }
  }
}

}  // namespace
}  // namespace ulmar::test
