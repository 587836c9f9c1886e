#include "base/isa.h"

namespace ulmar {

Isa bestIsa() noexcept { return __builtin_cpu_supports("avx") ? Isa::avx : Isa::sse2; }

}  // namespace ulmar
