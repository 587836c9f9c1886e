// The areas of one transform, each of exactly its size and between inaccessible pages:
// read-only tables, and a work area that starts as NaN.
#pragma once

#include "tests/support/guarded.h"
#include "ulmar/fft/fft.h"
#include "ulmar/spectral/UpdateOstinFFT.h"

namespace ulmar::test {

class TransformAreas {
 public:
  explicit TransformAreas(int fftSize)
      : size_(fftSize),
        twiddles_(8 * static_cast<std::size_t>(fftSize)),
        bitRev_(4 * static_cast<std::size_t>(fftSize)),
        work_(24 * static_cast<std::size_t>(fftSize)) {
    dUpdateFFTTables(bitRev_.as<HostLong>(), twiddles_.as<dcmplx>(), fftSize);
    twiddles_.makeReadOnly();
    bitRev_.makeReadOnly();
  }

  char* twiddles() const { return twiddles_.as<char>(); }
  char* bitRev() const { return bitRev_.as<char>(); }
  char* work() const { return work_.as<char>(); }

  /// A transform that finds NaN wherever it works.
  FFT transform() const {
    std::memset(work_.as(), 0xFF, work_.size());
    return {size_, twiddles(), bitRev(), work()};
  }

 private:
  int size_;
  Guarded twiddles_;
  Guarded bitRev_;
  Guarded work_;
};

}  // namespace ulmar::test
