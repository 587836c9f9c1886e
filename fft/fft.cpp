#include "fft/fft.h"

#include <algorithm>
#include <cmath>

#include "base/align.h"
#include "fft/fft_kernels.h"

namespace {

// Widens the first `count` samples and fills up with zeros to numPoints.
template <typename Sample>
void zeroExtend(Sample const* in, int count, double* out, int numPoints) {
  const int numSamples = std::max(count, 0);
  std::copy(in, in + numSamples, out);
  std::fill(out + numSamples, out + numPoints, 0.0);
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
  ulmar::splitReal(scale, work, out, twiddleTab, bitRevTab, fftSize / 2);
}

void FFT::cmplxfft(cmplxFFT* in, cmplxFFT* out, int log2N) {
  const int numPoints = 1 << log2N;
  // The table of the full size serves the half-size transform through every second
  // entry.
  const int stride = log2N == log2Size ? 1 : 2;
  ulmar::forwardPass(in, out, twiddleTab, 1, numPoints / 2, stride);
  for (int groups = 2; groups < numPoints / 2; groups *= 2) {
    ulmar::forwardPass(out, out, twiddleTab, groups, numPoints / (2 * groups),
                       groups * stride);
  }
  ulmar::lastForwardPass(out, numPoints);
}

void FFT::realifft(double scale, cmplxFFT* spectrum, double* out) {
  for (int groups = 1; groups < fftSize / 2; groups *= 2) {
    ulmar::inversePass(spectrum, twiddleTab, groups, fftSize / (2 * groups), groups);
  }
  ulmar::lastInversePass(spectrum, out, bitRevTab, scale / fftSize, fftSize);
}

void FFT::crifft(cmplxFFT* spectrum) {
  const int half = fftSize / 2;
  workBuf[0] = {spectrum[0].re, 0.0};
  workBuf[half] = {spectrum[0].im, 0.0};
  for (int k = 1; k < half; ++k) {
    workBuf[k] = spectrum[k];
    workBuf[fftSize - k] = {spectrum[k].re, -spectrum[k].im};
  }
  realifft(1.0, workBuf, reinterpret_cast<double*>(spectrum));
}
