#include "apps/common/signals.h"

#include <array>
#include <csignal>

#include "ulmar/audio/temp_file.h"

namespace ulmar::apps {
namespace {

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU};

// The default action comes back only when the files are gone, so that no second signal
// can end the process before. It takes effect when the handler returns and the signal
// it raised is no longer blocked.
extern "C" void removeFilesAndEnd(int signal) {
  audio::unlinkTempFiles();
  struct sigaction ending = {};
  ending.sa_handler = SIG_DFL;
  sigemptyset(&ending.sa_mask);
  sigaction(signal, &ending, nullptr);
  raise(signal);
}

}  // namespace

void prepareSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  struct sigaction action = {};
  action.sa_handler = removeFilesAndEnd;
  sigemptyset(&action.sa_mask);
  for (const int signal : kEndingSignals) sigaddset(&action.sa_mask, signal);
  for (const int signal : kEndingSignals) {
    struct sigaction previous;
    if (sigaction(signal, nullptr, &previous) == 0 && previous.sa_handler == SIG_IGN) {
      continue;
    }
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace ulmar::apps
