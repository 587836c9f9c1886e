// The processor's mode of floating-point arithmetic, which belongs to the host's
// thread.
#pragma once

#include <xmmintrin.h>

namespace ulmar::host {

/// While an object lives, SSE arithmetic has the mode that a process starts with: it
/// rounds to nearest, computes with denormal numbers and traps nothing. Then the
/// thread's own mode returns. Hosts often flush denormals to zero (FTZ, DAZ) or leave
/// another rounding mode behind; results would depend on it. Real-time safe.
class DefaultArithmetic {
 public:
  DefaultArithmetic() noexcept : callers_(_mm_getcsr()) {
    if (differs()) _mm_setcsr(kDefault);
  }
  ~DefaultArithmetic() {
    if (differs()) _mm_setcsr(callers_);
  }
  DefaultArithmetic(const DefaultArithmetic&) = delete;
  DefaultArithmetic& operator=(const DefaultArithmetic&) = delete;

 private:
  static constexpr unsigned kDefault = 0x1F80;  // all exceptions masked
  static constexpr unsigned kFlags = 0x3F;      // of exceptions that have occurred

  bool differs() const noexcept { return (callers_ & ~kFlags) != kDefault; }

  unsigned callers_;
};

}  // namespace ulmar::host
