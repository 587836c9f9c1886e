// The instruction sets that kernels have bodies for.
#pragma once

namespace ulmar {

enum class Isa { scalar, sse2, avx, avx512 };

/// The best one for this processor and operating system, at least SSE2. AVX-512 (F and
/// DQ) is chosen only where 512-bit instructions do not lower the processor's clock.
/// Reads the feature bits that the compiler's run-time gathers when the library is
/// loaded: no system call, and the same answer every time.
Isa bestIsa() noexcept;

}  // namespace ulmar
