#include "ulmar/fft/fft.h"

#include <algorithm>
#include <cmath>

#include "ulmar/base/align.h"
#include "ulmar/fft/fft_kernels.h"

namespace {

// Widens the first `count` samples and fills up with zeros to numPoints.
template <typename Sample>
void zeroExtend(Sample const* in, int count, double* out, int numPoints) {
  const int numSamples = std::max(count, 0);
  std::copy(in, in + numSamples, out);
  std::fill(out + numSamples, out + numPoints, 0.0);
}

// Passes run in fused pairs; one kernel runs the last two or three.
constexpr int kMostLastPasses = 3;

int lastPasses(int numPasses) { return 2 + numPasses % 2; }

// Up to this size the data stay in the first-level cache from pass to pass. In a larger
// transform each group is finished, as a transform of its own, before the next.
constexpr int kCachePoints = 1 << 10;

bool leaveCache(int groups, int groupLen) {
  return groups > 1 && groups * groupLen > kCachePoints;
}

// The passes that take `groups` groups of 2^numPasses values to the end, the first of
// them with `stride`.
void forwardPasses(const ulmar::FftKernels& kernels, cmplxFFT const* in, cmplxFFT* out,
                   cmplxFFT const* twiddles, int groups, int numPasses, int stride) {
  const int groupLen = 1 << numPasses;
  if (leaveCache(groups, groupLen)) {
    for (int group = 0; group < groups; ++group, in += groupLen, out += groupLen) {
      forwardPasses(kernels, in, out, twiddles, 1, numPasses, stride);
    }
  } else if (numPasses > kMostLastPasses) {
    kernels.forwardPair(in, out, twiddles, groups, groupLen / 4, stride);
    forwardPasses(kernels, out, out, twiddles, 4 * groups, numPasses - 2, 4 * stride);
  } else {
    kernels.forwardLast(in, out, twiddles, groups * groupLen, numPasses, stride);
  }
}

// The same, inverse, but for the last two or three passes.
void inversePairs(const ulmar::FftKernels& kernels, cmplxFFT* data,
                  cmplxFFT const* twiddles, int groups, int numPasses, int stride) {
  const int groupLen = 1 << numPasses;
  if (leaveCache(groups, groupLen)) {
    for (int group = 0; group < groups; ++group, data += groupLen) {
      inversePairs(kernels, data, twiddles, 1, numPasses, stride);
    }
  } else if (numPasses > kMostLastPasses) {
    kernels.inversePair(data, twiddles, groups, groupLen / 4, stride);
    inversePairs(kernels, data, twiddles, 4 * groups, numPasses - 2, 4 * stride);
  }
}

}  // namespace

FFT::FFT(int size, char* twiddles, char* bitRev, char* work)
    : realBuf(ulmar::asRecords<double>(work + sizeof(cmplxFFT) *
                                                  static_cast<std::size_t>(size))),
      workBuf(ulmar::asRecords<cmplxFFT>(work)),
      log2Size(static_cast<int>(std::log2(static_cast<double>(size)))),
      fftSize(size),
      twiddleTab(ulmar::asRecords<cmplxFFT>(twiddles)),
      bitRevTab(ulmar::asRecords<ulmar::HostLong>(bitRev)) {}

void FFT::rcfft(double const* in, cmplxFFT* out) { realfft(1.0, in, out, workBuf); }

void FFT::rcfftZX(double const* in, cmplxFFT* out, int count) {
  zeroExtend(in, count, realBuf, fftSize);
  rcfft(realBuf, out);
}

void FFT::rcfftZX(float const* in, cmplxFFT* out, int count) {
  zeroExtend(in, count, realBuf, fftSize);
  rcfft(realBuf, out);
}

void FFT::realfft(double scale, double const* in, cmplxFFT* out, cmplxFFT* work) {
  // The complex transform only reads its input.
  auto* const pairs = reinterpret_cast<cmplxFFT*>(const_cast<double*>(in));
  cmplxfft(pairs, work, log2Size - 1);
  const int half = fftSize / 2;
  ulmar::fftKernels(half).splitReal(scale, work, out, twiddleTab, bitRevTab, half);
}

void FFT::cmplxfft(cmplxFFT* in, cmplxFFT* out, int log2N) {
  const int numPoints = 1 << log2N;
  const ulmar::FftKernels& kernels = ulmar::fftKernels(numPoints);
  // The twiddles of the half-size transform are every second entry of the table.
  const int stride = log2N == log2Size ? 1 : 2;
  forwardPasses(kernels, in, out, twiddleTab, 1, log2N, stride);
}

void FFT::realifft(double scale, cmplxFFT* spectrum, double* out) {
  const ulmar::FftKernels& kernels = ulmar::fftKernels(fftSize);
  inversePairs(kernels, spectrum, twiddleTab, 1, log2Size, 1);
  kernels.inverseLast(spectrum, out, twiddleTab, bitRevTab, scale / fftSize, fftSize,
                      lastPasses(log2Size));
}

void FFT::crifft(cmplxFFT* spectrum) {
  const ulmar::FftKernels& kernels = ulmar::fftKernels(fftSize);
  if (log2Size > kMostLastPasses) {
    kernels.inverseFirst(spectrum, workBuf, twiddleTab, fftSize);
    inversePairs(kernels, workBuf, twiddleTab, 4, log2Size - 2, 4);
  } else {
    ulmar::unpackSpectrum(spectrum, workBuf, fftSize);
  }
  kernels.inverseLast(workBuf, reinterpret_cast<double*>(spectrum), twiddleTab,
                      bitRevTab, 1.0 / fftSize, fftSize, lastPasses(log2Size));
}
