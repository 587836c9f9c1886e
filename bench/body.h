// Which body of the kernels the library takes, and a clean slate for it.
#pragma once

#include "ulmar/base/isa.h"

namespace ulmar::bench {

/// While this lives, the library takes a certain body instead of the processor's best.
class UseBody {
 public:
  explicit UseBody(Isa isa);
  ~UseBody();
  UseBody(const UseBody&) = delete;
  UseBody& operator=(const UseBody&) = delete;
};

/// Puts the thread to sleep for a moment. Some processors go on treating the upper
/// halves of the vector registers as in use, and run 128-bit code more slowly: in
/// 32-bit mode, where vzeroupper reaches eight of the sixteen registers, until the next
/// context switch; in 64-bit mode after a context switch, until vzeroupper. Called
/// before whatever may follow the work of another.
void settle();

}  // namespace ulmar::bench
