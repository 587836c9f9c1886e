#include "ulmar/base/isa.h"

namespace ulmar {

Isa bestIsa() noexcept {
  // The 512-bit bodies do without VBMI2, but processors that lack it lower their clock
  // for 512-bit work, and with it that of everything else.
  if (__builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vbmi2")) {
    return Isa::avx512;
  }
  return __builtin_cpu_supports("avx") ? Isa::avx : Isa::sse2;
}

}  // namespace ulmar
