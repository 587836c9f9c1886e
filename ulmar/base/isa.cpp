#include "ulmar/base/isa.h"

namespace ulmar {

Isa bestIsa() noexcept {
  // No body uses VBMI2. It tells apart the first processors with AVX-512, which have
  // none and lower their clock while they run 512-bit instructions: there the 256-bit
  // bodies are the better choice.
  if (__builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vbmi2")) {
    return Isa::avx512;
  }
  return __builtin_cpu_supports("avx") ? Isa::avx : Isa::sse2;
}

}  // namespace ulmar
