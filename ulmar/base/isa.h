// The instruction sets that kernels have bodies for.
#pragma once

namespace ulmar {

enum class Isa { scalar, sse2, avx, avx512 };

/// The one to take on this processor and operating system; SSE2 is the least. AVX-512
/// (F and DQ) is left alone on processors that it slows down as a whole. Reads the
/// feature bits that the compiler's run-time gathers at load: pure, no system call.
Isa bestIsa() noexcept;

}  // namespace ulmar
