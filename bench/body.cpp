#include "bench/body.h"

#include <chrono>
#include <optional>
#include <thread>

namespace ulmar {
namespace {
std::optional<Isa> chosenIsa;
}

// The linker's --wrap leads the library's calls of bestIsa to the second of these.
Isa realBestIsa() noexcept asm("__real__ZN5ulmar7bestIsaEv");
Isa wrappedBestIsa() noexcept asm("__wrap__ZN5ulmar7bestIsaEv");

Isa wrappedBestIsa() noexcept { return chosenIsa ? *chosenIsa : realBestIsa(); }

namespace bench {

UseBody::UseBody(Isa isa) { chosenIsa = isa; }

UseBody::~UseBody() { chosenIsa.reset(); }

void settle() {
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
  if (realBestIsa() >= Isa::avx) asm volatile("vzeroupper");
}

}  // namespace bench
}  // namespace ulmar
