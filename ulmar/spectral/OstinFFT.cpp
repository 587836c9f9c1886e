#include "ulmar/spectral/OstinFFT.h"

#include <cmath>

#include "ulmar/base/butterfly.h"

namespace {

using ulmar::butterflyPass;
using ulmar::HostLong;

// The half-size transform z[n] = (input[2n], input[2n + 1]) of N real samples,
// bit-reversed.
void transformPairs(float* input, cmplx* work, cmplx* twiddleTab, HostLong log2Size) {
  cmplxfft(reinterpret_cast<cmplx*>(input), work, twiddleTab, log2Size - 1, true);
}

// Twice X[k], 0 < k < N/2, of the real signal behind the half-size transform `work`.
cmplx twiceBin(const cmplx* work, const HostLong* bitRevTab, const cmplx* twiddleTab,
               HostLong half, HostLong k) {
  // The N-point reversal shifted right by one is the reversal of the half-size
  // transform.
  const cmplx a = work[bitRevTab[k] >> 1];
  const cmplx b = work[bitRevTab[half - k] >> 1];
  const cmplx w = twiddleTab[k];
  return {(a.re + b.re) + (w.im * (a.re - b.re) + w.re * (a.im + b.im)),
          (a.im - b.im) + (w.im * (a.im + b.im) - w.re * (a.re - b.re))};
}

constexpr double kLogFloor = -13.815510557964274;  // ln 1e-6

// ln v, floored; not a number falls to the floor.
float flooredLog(float v) {
  const double x = static_cast<double>(v);
  return static_cast<float>(x > 1e-6 ? std::log(x) : kLogFloor);
}

}  // namespace

void cmplxfft(cmplx* input, cmplx* output, cmplx* twiddleTab, HostLong log2Size,
              bool halfSize) {
  const HostLong numPoints = HostLong{1} << log2Size;
  HostLong stride = halfSize ? 2 : 1;
  butterflyPass(input, output, twiddleTab, numPoints, numPoints / 2, stride,
                ulmar::times<cmplx>);
  for (HostLong span = numPoints / 4; span >= 2; span /= 2) {
    stride *= 2;
    butterflyPass(output, output, twiddleTab, numPoints, span, stride,
                  ulmar::times<cmplx>);
  }
  ulmar::lastPass(output, numPoints);
}

void realfft(float scale, float* input, cmplx* spectrum, cmplx* work,
             HostLong* bitRevTab, cmplx* twiddleTab, HostLong log2Size,
             HostLong /*unused*/) {
  transformPairs(input, work, twiddleTab, log2Size);
  const HostLong numSamples = HostLong{1} << log2Size;
  const HostLong half = numSamples / 2;
  spectrum[0] = {(work[0].re + work[0].im) * scale, 0.0F};
  spectrum[half] = {(work[0].re - work[0].im) * scale, 0.0F};
  const float halfScale = scale * 0.5F;
  for (HostLong k = 1; k < half; ++k) {
    const cmplx twice = twiceBin(work, bitRevTab, twiddleTab, half, k);
    const cmplx bin = {twice.re * halfScale, twice.im * halfScale};
    spectrum[k] = bin;
    spectrum[numSamples - k] = {bin.re, -bin.im};
  }
}

void pwrfft(float scale, float* input, float* power, cmplx* work, HostLong* bitRevTab,
            cmplx* twiddleTab, HostLong log2Size) {
  transformPairs(input, work, twiddleTab, log2Size);
  const HostLong numSamples = HostLong{1} << log2Size;
  const HostLong half = numSamples / 2;
  const float dc = work[0].re + work[0].im;
  const float nyquist = work[0].re - work[0].im;
  power[0] = scale * (dc * dc);
  power[half] = scale * (nyquist * nyquist);
  const float quarterScale = scale * 0.25F;
  for (HostLong k = 1; k < half; ++k) {
    const cmplx twice = twiceBin(work, bitRevTab, twiddleTab, half, k);
    const float p = (twice.im * twice.im + twice.re * twice.re) * quarterScale;
    power[k] = p;
    power[numSamples - k] = p;
  }
}

void realifft(float scale, cmplx* spectrum, float* output, cmplx* /*work*/,
              HostLong* bitRevTab, cmplx* twiddleTab, HostLong log2Size,
              HostLong /*unused*/) {
  const HostLong numSamples = HostLong{1} << log2Size;
  HostLong stride = 1;
  for (HostLong span = numSamples / 2; span >= 2; span /= 2) {
    butterflyPass(spectrum, spectrum, twiddleTab, numSamples, span, stride,
                  ulmar::timesConjugate<cmplx>);
    stride *= 2;
  }
  for (HostLong k = 0; k < numSamples; k += 2) {
    const float a = spectrum[k].re;
    const float b = spectrum[k + 1].re;
    spectrum[k].re = a + b;
    spectrum[k + 1].re = a - b;
  }
  const float factor = scale / static_cast<float>(numSamples);
  for (HostLong k = 0; k < numSamples; ++k) {
    output[bitRevTab[k]] = spectrum[k].re * factor;
  }
}

void rceps(HostLong fftSize, float* level, float* input, float* cepstrum,
           cmplx* spectrum, cmplx* work, HostLong* bitRevTab, cmplx* twiddleTab,
           HostLong unused) {
  const auto size = static_cast<double>(static_cast<float>(fftSize));
  const auto log2Size = static_cast<HostLong>(std::log2(size));
  const HostLong half = fftSize / 2;

  // Keeps silence out of the denormal range.
  input[0] += 1e-8F;
  realfft(1.0F, input, spectrum, work, bitRevTab, twiddleTab, log2Size, unused);

  // The log spectrum takes the spectrum's place, real and symmetric.
  const float dc = spectrum[0].re;
  const float nyquist = spectrum[half].re;
  float energy = dc * dc + nyquist * nyquist;
  spectrum[0] = {flooredLog(dc), 0.0F};
  spectrum[half] = {flooredLog(nyquist), 0.0F};
  work[0] = {};
  work[half] = {};
  for (HostLong k = 1; k < half; ++k) {
    const cmplx bin = spectrum[k];
    const float magnitude = std::sqrt(bin.re * bin.re + bin.im * bin.im);
    energy = energy + magnitude * magnitude;
    const cmplx log = {flooredLog(magnitude), 0.0F};
    spectrum[k] = log;
    spectrum[fftSize - k] = log;
    work[k] = {};
    work[fftSize - k] = {};
  }
  realifft(1.0F, spectrum, cepstrum, work, bitRevTab, twiddleTab, log2Size, unused);
  *level = static_cast<float>(std::sqrt((1.0 / size) * static_cast<double>(energy)));
}
