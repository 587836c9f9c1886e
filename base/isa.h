// The instruction sets that kernels have bodies for.
#pragma once

namespace ulmar {

enum class Isa { scalar, sse2, avx, avx512 };

/// The best that this processor and operating system offer; SSE2 is the least. Reads
/// the feature bits that the compiler's run-time gathers at load: pure, no system call.
Isa bestIsa() noexcept;

}  // namespace ulmar
