// A progress bar on standard error, where that is a terminal.
#pragma once

#include <chrono>
#include <cstdint>

namespace ulmar::render {

class Progress {
 public:
  /// total: frames to process.
  Progress(std::int64_t total, int sampleRate);
  /// Takes the bar away.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Redraws at most ten times a second.
  void show(std::int64_t done);

 private:
  using Clock = std::chrono::steady_clock;

  std::int64_t total_;
  int sampleRate_;
  bool onTerminal_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point drawn_ = start_;
};

}  // namespace ulmar::render
