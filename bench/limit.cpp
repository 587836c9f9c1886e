#include "bench/limit.h"

namespace ulmar::bench {

void mulAdd128(int turns) noexcept {
  alignas(16) static const float operand[4] = {};
  asm volatile(
      ".irp k, 0, 1, 2, 3, 4, 5, 6\n\t"
      "xorps %%xmm\\k, %%xmm\\k\n\t"
      ".endr\n"
      "1:\n\t"
      ".rept 8\n\t"
      ".irp k, 0, 1, 2, 3, 4, 5\n\t"
      "movaps %1, %%xmm7\n\t"
      "mulps %%xmm6, %%xmm7\n\t"
      "addps %%xmm7, %%xmm\\k\n\t"
      ".endr\n\t"
      ".endr\n\t"
      "decl %0\n\t"
      "jnz 1b"
      : "+r"(turns)
      : "m"(operand)
      : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "cc");
}

void mulAdd256(int turns) noexcept {
  asm volatile(
      ".irp k, 0, 1, 2, 3, 4, 5, 6\n\t"
      "vxorps %%ymm\\k, %%ymm\\k, %%ymm\\k\n\t"
      ".endr\n"
      "1:\n\t"
      ".rept 8\n\t"
      ".irp k, 0, 1, 2, 3, 4, 5\n\t"
      "vmulps %%ymm6, %%ymm6, %%ymm7\n\t"
      "vaddps %%ymm7, %%ymm\\k, %%ymm\\k\n\t"
      ".endr\n\t"
      ".endr\n\t"
      "decl %0\n\t"
      "jnz 1b\n\t"
      "vzeroupper"
      : "+r"(turns)
      :
      : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "cc");
}

void mulAdd512(int turns) noexcept {
  asm volatile(
      ".irp k, 0, 1, 2, 3, 4, 5, 6\n\t"
      "vpxord %%zmm\\k, %%zmm\\k, %%zmm\\k\n\t"
      ".endr\n"
      "1:\n\t"
      ".rept 8\n\t"
      ".irp k, 0, 1, 2, 3, 4, 5\n\t"
      "vmulps %%zmm6, %%zmm6, %%zmm7\n\t"
      "vaddps %%zmm7, %%zmm\\k, %%zmm\\k\n\t"
      ".endr\n\t"
      ".endr\n\t"
      "decl %0\n\t"
      "jnz 1b\n\t"
      "vzeroupper"
      : "+r"(turns)
      :
      : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "cc");
}

}  // namespace ulmar::bench
