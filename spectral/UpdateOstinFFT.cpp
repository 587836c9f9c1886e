#include "spectral/UpdateOstinFFT.h"

#include <cmath>

namespace {

using ulmar::HostLong;

constexpr double kTwoPi = 6.283185307179586;

// log2 of `size`, rounded to the nearest integer.
int sizeExponent(HostLong size) {
  return static_cast<int>(std::log(static_cast<double>(size)) / std::log(2.0) + 0.5);
}

void fillBitReversal(HostLong* table, HostLong size) {
  const int numBits = sizeExponent(size);
  for (HostLong i = 0; i < size; ++i) {
    HostLong reversed = 0;
    HostLong rest = i;
    for (int bit = 0; bit < numBits; ++bit) {
      reversed = 2 * reversed + (rest & 1);
      rest >>= 1;
    }
    table[i] = reversed;
  }
}

template <typename Complex>
void fillTables(HostLong* bitRevTab, Complex* twiddleTab, HostLong size) {
  if (size <= 0) return;
  fillBitReversal(bitRevTab, size);
  using Real = decltype(Complex::re);
  for (HostLong k = 0; k < size / 2; ++k) {
    const double angle = (static_cast<double>(k) * kTwoPi) / static_cast<double>(size);
    twiddleTab[k].re = static_cast<Real>(std::cos(angle));
    twiddleTab[k].im = static_cast<Real>(-std::sin(angle));
  }
}

}  // namespace

void UpdateFFTTables(HostLong* bitRevTab, cmplx* twiddleTab, HostLong fftSize) {
  fillTables(bitRevTab, twiddleTab, fftSize);
}

void dUpdateFFTTables(HostLong* bitRevTab, dcmplx* twiddleTab, HostLong fftSize) {
  fillTables(bitRevTab, twiddleTab, fftSize);
}
