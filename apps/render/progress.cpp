#include "apps/render/progress.h"

#include <unistd.h>

#include <iostream>
#include <string>

#include "apps/common/text.h"

namespace ulmar::render {
namespace {

using apps::fixed;

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;  // characters
constexpr const char* kEraseLine = "\r\x1b[K";

}  // namespace

Progress::Progress(std::int64_t total, int sampleRate)
    : total_(total), sampleRate_(sampleRate), onTerminal_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (drawn_ != start_) std::cerr << kEraseLine << std::flush;
}

void Progress::show(std::int64_t done) {
  const auto now = Clock::now();
  if (!onTerminal_ || now - drawn_ < kRedrawInterval) return;
  drawn_ = now;
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  const double part = static_cast<double>(done) / static_cast<double>(total_);
  const auto filled = static_cast<std::size_t>(part * kBarWidth);
  const double speed = static_cast<double>(done) / sampleRate_ / elapsed;
  std::cerr << kEraseLine << '[' << std::string(filled, '#')
            << std::string(kBarWidth - filled, '.') << "] " << fixed(100.0 * part, 0)
            << " %, " << fixed(speed, 0) << " times real time, "
            << fixed(elapsed * (1.0 - part) / part, 0) << " s left" << std::flush;
}

}  // namespace ulmar::render
