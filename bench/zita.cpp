#include <zita-convolver.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "bench/convolver.h"

namespace ulmar::bench {
namespace {

// Its vector mode helps where the library was compiled with vector instructions, which
// Debian's i386 package was not: there it takes 1.4 times as long.
constexpr bool kVectorMode = sizeof(void*) == 8;

unsigned u(int value) { return static_cast<unsigned>(value); }

void check(int error) {
  if (error != 0) throw std::runtime_error("zita-convolver refuses the workload");
}

class Zita final : public Convolver {
 public:
  Zita(const Workload& workload, const host::Responses& responses, int maxPart)
      : period_(maxPart / workload.blockLen) {
    const unsigned blockLen = u(workload.blockLen);
    unsigned options = Convproc::OPT_FFTW_MEASURE;
    if (kVectorMode) options |= Convproc::OPT_VECTOR_MODE;
    convolver_.set_options(options);
    check(convolver_.configure(u(workload.numInputs), u(workload.numOutputs),
                               u(workload.irLen()), blockLen, blockLen, u(maxPart),
                               0.0F));
    for (int i = 0; i < workload.numInputs; ++i) {
      for (int j = 0; j < workload.numOutputs; ++j) {
        const std::vector<float>& response = *responses.between(i, j);
        // Only read.
        check(convolver_.impdata_create(u(i), u(j), 1,
                                        const_cast<float*>(response.data()), 0,
                                        static_cast<int>(response.size())));
      }
    }
    check(convolver_.start_process(0, SCHED_OTHER));
    // Blocks that come before the threads have begun are lost to them.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }

  ~Zita() override { convolver_.stop_process(); }

  void feed(int input, std::span<const float> block) override {
    std::ranges::copy(block, convolver_.inpdata(u(input)));
  }

  void fetch(int output, std::span<float> block) const override {
    std::copy_n(convolver_.outdata(u(output)), block.size(), block.begin());
  }

  void run() override { check(convolver_.process(true)); }

  int period() const override { return period_; }

 private:
  int period_;
  Convproc convolver_;
};

}  // namespace

std::unique_ptr<Convolver> makeZita(const Workload& workload,
                                    const host::Responses& responses, int maxPart) {
  return std::make_unique<Zita>(workload, responses, maxPart);
}

}  // namespace ulmar::bench
