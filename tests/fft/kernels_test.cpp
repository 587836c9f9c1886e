// Every vector body of the transforms' passes against the scalar one, bit for bit, with
// inaccessible pages behind all operands.
#include <gtest/gtest.h>

#include <vector>

#include "tests/support/guarded.h"
#include "tests/support/isa.h"
#include "tests/support/random.h"
#include "tests/support/values.h"
#include "ulmar/fft/fft_kernels.h"
#include "ulmar/spectral/UpdateOstinFFT.h"

namespace ulmar::test {
namespace {

using Spectrum = std::vector<cmplxFFT>;

// The tables of n points, of which a complex transform of n uses every entry.
struct Tables {
  explicit Tables(int numPoints)
      : bitRev(static_cast<std::size_t>(numPoints)), twiddles(bitRev.size() / 2) {
    std::vector<dcmplx> built(twiddles.size());
    dUpdateFFTTables(bitRev.data(), built.data(), numPoints);
    for (std::size_t k = 0; k < built.size(); ++k) {
      twiddles[k] = {built[k].re, built[k].im};
    }
  }

  std::vector<HostLong> bitRev;
  Spectrum twiddles;
};

Spectrum spectrumOf(int numPoints, Values kind, Random& random) {
  Spectrum values(static_cast<std::size_t>(numPoints));
  for (cmplxFFT& value : values) {
    value = {valueOf<double>(kind, random), valueOf<double>(kind, random)};
  }
  return values;
}

// What a pass writes.
struct Written : Guarded {
  explicit Written(std::size_t count) : Guarded(count * sizeof(double)) {}
  explicit Written(const Spectrum& values) : Written(2 * values.size()) {
    std::memcpy(as(), values.data(), size());
  }

  cmplxFFT* values() const { return as<cmplxFFT>(); }
  double* samples() const { return as<double>(); }

  bool operator==(const Written& other) const {
    return sameValues(samples(), other.samples(), size() / sizeof(double));
  }
};

// The passes over n values, by one body and by the scalar one.
class Passes {
 public:
  Passes(const FftKernels& body, int n, Values kind, Random& random)
      : body_(body),
        n_(n),
        in_(spectrumOf(n, kind, random)),
        source_(in_),
        bitRev_(Tables(n).bitRev),
        twiddles_(Tables(n).twiddles) {}

  void expectPairs() const {
    for (int groups = 1; groups <= n_ / 16; groups *= 4) {
      const int q = n_ / (4 * groups);
      expectSame("forward pair", [&](const FftKernels& body, const Written& out) {
        body.forwardPair(source_.data(), out.values(), w(), groups, q, groups);
      });
      expectSame("inverse pair", [&](const FftKernels& body, const Written& out) {
        body.inversePair(out.values(), w(), groups, q, groups);
      });
    }
  }

  void expectLast() const {
    for (const int numPasses : {2, 3}) {
      expectSame("last forward", [&](const FftKernels& body, const Written& out) {
        body.forwardLast(source_.data(), out.values(), w(), n_, numPasses,
                         n_ >> numPasses);
      });
      const auto samples = [&](const FftKernels& body) {
        const Written data(in_);
        Written out(in_.size());
        body.inverseLast(data.values(), out.samples(), w(), bitRev_.data(), 0.75, n_,
                         numPasses);
        return std::vector(out.samples(), out.samples() + n_);
      };
      EXPECT_TRUE(
          sameValues(samples(body_).data(), samples(kFftScalar).data(), in_.size()))
          << "last " << numPasses << " inverse";
    }
  }

  void expectEnds() const {
    const ReadOnly<cmplxFFT> half(Spectrum(in_.begin(), in_.begin() + n_ / 2));
    expectSame("first inverse", [&](const FftKernels& body, const Written& out) {
      body.inverseFirst(half.data(), out.values(), w(), n_);
    });
    expectSame("split", [&](const FftKernels& body, const Written& out) {
      body.splitReal(0.75, half.data(), out.values() + n_ / 2, w(), bitRev_.data(),
                     n_ / 2);
    });
  }

 private:
  cmplxFFT const* w() const { return twiddles_.data(); }

  // The output starts as a copy of the input, for passes in place.
  template <typename Pass>
  void expectSame(const char* name, Pass pass) const {
    const Written got(in_);
    const Written expected(in_);
    pass(body_, got);
    pass(kFftScalar, expected);
    EXPECT_TRUE(got == expected) << name;
  }

  const FftKernels& body_;
  int n_;
  Spectrum in_;
  ReadOnly<cmplxFFT> source_;
  ReadOnly<HostLong> bitRev_;
  ReadOnly<cmplxFFT> twiddles_;
};

class FftBodies : public IsaTest {};

INSTANTIATE_TEST_SUITE_P(, FftBodies, testing::Values(Isa::sse2, Isa::avx, Isa::avx512),
                         FftBodies::caseName);

TEST_P(FftBodies, ReturnTheBitsOfTheScalarPasses) {
  Random random(41);
  for (int n = kMinVectorPoints; n <= 2048; n *= 2) {
    for (const Values kind : kAllValues) {
      SCOPED_TRACE(testing::Message()
                   << n << " points, values " << static_cast<int>(kind) << ", seed 41");
      const Passes passes(fftKernelsFor(GetParam()), n, kind, random);
      passes.expectPairs();
      passes.expectLast();
      passes.expectEnds();
      if (HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace ulmar::test
