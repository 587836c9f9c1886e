#include "bench/instructions.h"

#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <stdexcept>

namespace ulmar::bench {

InstructionCounter::InstructionCounter() {
  perf_event_attr event{};
  event.type = PERF_TYPE_HARDWARE;
  event.size = sizeof event;
  event.config = PERF_COUNT_HW_INSTRUCTIONS;
  event.exclude_kernel = 1;
  event.exclude_hv = 1;
  file_ = static_cast<int>(syscall(SYS_perf_event_open, &event, 0, -1, -1, 0));
}

InstructionCounter::~InstructionCounter() {
  if (available()) close(file_);
}

std::int64_t InstructionCounter::read() const {
  std::int64_t count = 0;
  if (::read(file_, &count, sizeof count) != sizeof count) {
    throw std::runtime_error("the instruction counter cannot be read");
  }
  return count;
}

}  // namespace ulmar::bench
