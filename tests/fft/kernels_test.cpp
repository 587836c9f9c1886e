// Every vector body of the transforms' passes against the scalar one, bit for bit.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "fft/fft_kernels.h"
#include "spectral/UpdateOstinFFT.h"
#include "tests/support/random.h"

namespace ulmar::test {
namespace {

using Spectrum = std::vector<cmplxFFT>;

struct Tables {
  explicit Tables(int numPoints)
      : bitRev(static_cast<std::size_t>(numPoints)),
        twiddles(static_cast<std::size_t>(numPoints / 2)) {
    std::vector<dcmplx> built(twiddles.size());
    dUpdateFFTTables(bitRev.data(), built.data(), numPoints);
    for (std::size_t k = 0; k < built.size(); ++k) {
      twiddles[k] = {built[k].re, built[k].im};
    }
  }

  std::vector<HostLong> bitRev;
  Spectrum twiddles;
};

Spectrum randomSpectrum(int numPoints, Random& random) {
  Spectrum values(static_cast<std::size_t>(numPoints));
  for (cmplxFFT& value : values) value = {random.sample(), random.sample()};
  return values;
}

bool sameBits(const Spectrum& a, const Spectrum& b) {
  return std::memcmp(a.data(), b.data(), a.size() * sizeof(cmplxFFT)) == 0;
}

TEST(FftKernels, BodiesReturnTheSameBits) {
  Random random(41);
  for (const Isa isa : {Isa::sse2, Isa::avx, Isa::avx512}) {
    if (isa > bestIsa()) continue;
    const FftKernels& body = fftKernelsFor(isa);
    for (int n = kMinVectorPoints; n <= 2048; n *= 2) {
      SCOPED_TRACE(testing::Message() << "body " << static_cast<int>(isa) << ", " << n
                                      << " points, seed 41");
      const Tables tables(n);
      cmplxFFT const* const w = tables.twiddles.data();
      const Spectrum in = randomSpectrum(n, random);
      Spectrum expected(in.size());
      Spectrum got(in.size());

      for (int groups = 1; groups <= n / 16; groups *= 4) {
        const int q = n / (4 * groups);
        kFftScalar.forwardPair(in.data(), expected.data(), w, groups, q, groups);
        body.forwardPair(in.data(), got.data(), w, groups, q, groups);
        ASSERT_TRUE(sameBits(got, expected)) << "forward, " << groups << " groups";
        expected = in;
        got = in;
        kFftScalar.inversePair(expected.data(), w, groups, q, groups);
        body.inversePair(got.data(), w, groups, q, groups);
        ASSERT_TRUE(sameBits(got, expected)) << "inverse, " << groups << " groups";
      }
      for (const int numPasses : {2, 3}) {
        const int stride = n >> numPasses;
        kFftScalar.forwardLast(in.data(), expected.data(), w, n, numPasses, stride);
        body.forwardLast(in.data(), got.data(), w, n, numPasses, stride);
        ASSERT_TRUE(sameBits(got, expected)) << "last " << numPasses << " forward";

        std::vector<double> samples(in.size());
        std::vector<double> expectedSamples(in.size());
        Spectrum data = in;
        kFftScalar.inverseLast(data.data(), expectedSamples.data(), w,
                               tables.bitRev.data(), 0.75, n, numPasses);
        data = in;
        body.inverseLast(data.data(), samples.data(), w, tables.bitRev.data(), 0.75, n,
                         numPasses);
        ASSERT_EQ(samples, expectedSamples) << "last " << numPasses << " inverse";
      }
      kFftScalar.inverseFirst(in.data(), expected.data(), w, n);
      body.inverseFirst(in.data(), got.data(), w, n);
      ASSERT_TRUE(sameBits(got, expected)) << "first inverse";

      const int half = n / 2;
      kFftScalar.splitReal(0.75, in.data(), expected.data(), w, tables.bitRev.data(),
                           half);
      body.splitReal(0.75, in.data(), got.data(), w, tables.bitRev.data(), half);
      ASSERT_TRUE(sameBits(got, expected)) << "split";
    }
  }
}

}  // namespace
}  // namespace ulmar::test
