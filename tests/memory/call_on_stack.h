// Calls on a stack of one's own.
#pragma once

namespace ulmar::test {

/// Runs call(argument) with the stack pointer at `top` before the call, which is to be
/// a multiple of 16 on x86-64. On i386 whatever else it is, `call` meets a stack that
/// is that far out of line, and hands it on.
inline void callOnStack(void (*call)(void*), void* argument, void* top) {
#if defined(__x86_64__)
  asm volatile(
      "mov %%rsp, %%rbx\n\t"
      "mov %[top], %%rsp\n\t"
      "call *%[call]\n\t"
      "mov %%rbx, %%rsp"
      : "+D"(argument)
      : [top] "r"(top), [call] "r"(call)
      : "rax", "rbx", "rcx", "rdx", "rsi", "r8", "r9", "r10", "r11", "memory", "cc",
        "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9",
        "xmm10", "xmm11", "xmm12", "xmm13", "xmm14", "xmm15");
#else
  asm volatile(
      "mov %%esp, %%edi\n\t"
      "mov %[top], %%esp\n\t"
      "sub $12, %%esp\n\t"
      "push %[argument]\n\t"
      "call *%[call]\n\t"
      "mov %%edi, %%esp"
      :
      : [top] "d"(top), [call] "a"(call), [argument] "c"(argument)
      : "edi", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6",
        "xmm7");
#endif
}

template <typename Body>
void callOnStack(void* top, const Body& body) {
  const Body* address = &body;
  callOnStack([](void* to) { (**static_cast<const Body**>(to))(); }, &address, top);
}

}  // namespace ulmar::test
