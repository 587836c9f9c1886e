// The processor's own count of instructions.
#pragma once

#include <cstdint>

namespace ulmar::bench {

/// Counts what the calling thread executes in user mode.
class InstructionCounter {
 public:
  InstructionCounter();
  ~InstructionCounter();
  InstructionCounter(const InstructionCounter&) = delete;
  InstructionCounter& operator=(const InstructionCounter&) = delete;

  /// False where the system offers no such counter.
  bool available() const { return file_ >= 0; }
  std::int64_t read() const;

 private:
  int file_;
};

}  // namespace ulmar::bench
