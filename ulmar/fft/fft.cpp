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
// transform each quarter, a transform of its own after two passes, is finished before
// the next.
constexpr int kLog2CachePoints = 10;

void forwardPasses(const ulmar::FftKernels& kernels, cmplxFFT const* in, cmplxFFT* out,
                   cmplxFFT const* twiddles, int numPasses, int stride) {
  const int numPoints = 1 << numPasses;
  int groups = 1;
  for (; numPasses > kMostLastPasses; numPasses -= 2) {
    kernels.forwardPair(in, out, twiddles, groups, numPoints / (4 * groups), stride);
    in = out;
    stride *= 4;
    if (numPasses > kLog2CachePoints) {
      for (int k = 0; k < numPoints; k += numPoints / 4) {
        forwardPasses(kernels, out + k, out + k, twiddles, numPasses - 2, stride);
      }
      return;
    }
    groups *= 4;
  }
  kernels.forwardLast(in, out, twiddles, numPoints, numPasses, stride);
}

// All inverse passes but the last two or three.
void inversePairs(const ulmar::FftKernels& kernels, cmplxFFT* data,
                  cmplxFFT const* twiddles, int numPasses, int stride) {
  const int numPoints = 1 << numPasses;
  int groups = 1;
  for (; numPasses > kMostLastPasses; numPasses -= 2) {
    kernels.inversePair(data, twiddles, groups, numPoints / (4 * groups), stride);
    stride *= 4;
    if (numPasses > kLog2CachePoints) {
      for (int k = 0; k < numPoints; k += numPoints / 4) {
        inversePairs(kernels, data + k, twiddles, numPasses - 2, stride);
      }
      return;
    }
    groups *= 4;
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
  forwardPasses(kernels, in, out, twiddleTab, log2N, stride);
}

void FFT::realifft(double scale, cmplxFFT* spectrum, double* out) {
  const ulmar::FftKernels& kernels = ulmar::fftKernels(fftSize);
  inversePairs(kernels, spectrum, twiddleTab, log2Size, 1);
  kernels.inverseLast(spectrum, out, twiddleTab, bitRevTab, scale / fftSize, fftSize,
                      lastPasses(log2Size));
}

void FFT::crifft(cmplxFFT* spectrum) {
  const ulmar::FftKernels& kernels = ulmar::fftKernels(fftSize);
  if (log2Size > kMostLastPasses) {
    kernels.inverseFirst(spectrum, workBuf, twiddleTab, fftSize);
    const int quarter = fftSize / 4;
    for (int k = 0; k < fftSize; k += quarter) {
      inversePairs(kernels, workBuf + k, twiddleTab, log2Size - 2, 4);
    }
  } else {
    ulmar::unpackSpectrum(spectrum, workBuf, fftSize);
  }
  kernels.inverseLast(workBuf, reinterpret_cast<double*>(spectrum), twiddleTab,
                      bitRevTab, 1.0 / fftSize, fftSize, lastPasses(log2Size));
}
