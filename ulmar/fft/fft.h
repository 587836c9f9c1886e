// The engine's double-precision real transform of n = fftSize points, n a power of two
// and at least 8.
//
// Forward: X[k] = sum_j x[j] e^(-2 pi i j k / n), unscaled.
// Inverse: x[j] = 1/n sum_k X[k] e^(+2 pi i j k / n).
// Packed half spectrum: n/2 complex values. Element 0 holds X[0] (DC) as its real and
// X[n/2] (Nyquist) as its imaginary part, both being real; element k holds X[k]. It has
// the size of the n real samples, and the inverse writes its samples over it.
#pragma once

#include <cstddef>

#include "ulmar/base/export.h"
#include "ulmar/base/host_long.h"

/// One complex value. An array of 2m doubles is also an array of m cmplxFFT: sample 2j
/// is `re` of element j, sample 2j + 1 its `im`.
struct cmplxFFT {
  double re;
  double im;
};
static_assert(sizeof(cmplxFFT) == 16);

/// A transform of one size, working in three areas that its creator keeps alive:
///   twiddles  8n bytes:  n/2 entries (cos(2 pi k / n), -sin(2 pi k / n)), only read;
///   bitRev    4n bytes:  n integers, entry i is i with its log2 n low bits reversed,
///                        only read;
///   work     24n bytes:  scratch, of any contents, overwritten by every transform.
/// The tables are those of dUpdateFFTTables. Objects may share tables but not a work
/// area. Nothing is checked, allocated or locked: real-time safe.
class ULMAR_EXPORT FFT {
 public:
  /// Keeps the addresses; reads and writes nothing behind them.
  FFT(int fftSize, char* twiddles, char* bitRev, char* work);

  /// in: n samples, unchanged. out: packed half spectrum, outside the work area.
  void rcfft(double const* in, cmplxFFT* out);

  /// The same for `count` samples (at most n) followed by n - count zeros.
  void rcfftZX(double const* in, cmplxFFT* out, int count);
  void rcfftZX(float const* in, cmplxFFT* out, int count);

  /// Inverse: n/2 packed values in, n real samples out, in the same memory.
  void crifft(cmplxFFT* spectrum);

  /// Forward with every value of `out` multiplied by `scale`. work: n/2 values. in, out
  /// and work do not overlap.
  void realfft(double scale, double const* in, cmplxFFT* out, cmplxFFT* work);

  /// Inverse of a full spectrum of n values, which is destroyed; keeps the real parts,
  /// scaled by scale/n. out: n samples, apart from the spectrum.
  void realifft(double scale, cmplxFFT* spectrum, double* out);

  /// Forward complex transform of 2^log2N points, log2N being log2 n or log2 n - 1;
  /// the output stands in bit-reversed order. in and out may be one array.
  void cmplxfft(cmplxFFT* in, cmplxFFT* out, int log2N);

  double* realBuf;    // n samples, directly behind workBuf
  cmplxFFT* workBuf;  // n values, the start of the work area
  int log2Size;
  int fftSize;
  cmplxFFT const* twiddleTab;
  ulmar::HostLong const* bitRevTab;
};
static_assert(!ulmar::k32BitAddresses ||
              (sizeof(FFT) == 24 && offsetof(FFT, realBuf) == 0 &&
               offsetof(FFT, workBuf) == 4 && offsetof(FFT, log2Size) == 8 &&
               offsetof(FFT, fftSize) == 12 && offsetof(FFT, twiddleTab) == 16 &&
               offsetof(FFT, bitRevTab) == 20));
