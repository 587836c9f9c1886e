// Runs a built program, ULMAR_PROGRAM, as a user does, in a folder, and takes down what
// it says.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/scratch_dir.h"

namespace ulmar::render {

struct Outcome {
  int exitCode = -1;  // -1 if a signal ended the program
  int signal = 0;
  long peakMemory = 0;  // KiB resident
  std::string out;
  std::string err;
};

class Program {
 public:
  /// Starts the program in a folder. maxFileBytes: what a file may grow to, as on a
  /// disk that is nearly full. device: takes the standard output instead of Outcome.
  Program(const test::ScratchDir& folder, const std::vector<std::string>& arguments,
          std::optional<rlim_t> maxFileBytes = std::nullopt,
          const char* device = nullptr) {
    const std::string path = folder / "";
    std::vector<char*> argv = {const_cast<char*>(ULMAR_PROGRAM)};
    for (const auto& argument : arguments)
      argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ != 0) return;
    const std::string out = device != nullptr ? device : log_ / "out";
    const bool ready = redirect(STDOUT_FILENO, out) &&
                       redirect(STDERR_FILENO, log_ / "err") &&
                       chdir(path.c_str()) == 0;
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    if (maxFileBytes) {
      const rlimit limit = {*maxFileBytes, *maxFileBytes};
      setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (ready) execv(ULMAR_PROGRAM, argv.data());
    _exit(127);
  }

  pid_t pid() const { return pid_; }

  Outcome wait() {
    int status = 0;
    rusage usage = {};
    EXPECT_EQ(wait4(pid_, &status, 0, &usage), pid_);
    Outcome outcome;
    if (WIFEXITED(status)) outcome.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
    outcome.peakMemory = usage.ru_maxrss;
    outcome.out = test::bytesOf(log_ / "out");
    outcome.err = test::bytesOf(log_ / "err");
    return outcome;
  }

 private:
  static bool redirect(int fd, const std::string& path) {
    return dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), fd) == fd;
  }

  test::ScratchDir log_;
  pid_t pid_ = -1;
};

/// With nothing left on the device that standard output goes to.
inline Outcome runIntoFullDevice(const test::ScratchDir& folder,
                                 const std::vector<std::string>& arguments) {
  return Program(folder, arguments, std::nullopt, "/dev/full").wait();
}

inline Outcome run(const test::ScratchDir& folder,
                   const std::vector<std::string>& arguments) {
  return Program(folder, arguments).wait();
}

/// Runs it, and fails the test with its own words if it refuses.
inline Outcome expectRun(const test::ScratchDir& folder,
                         const std::vector<std::string>& arguments) {
  Outcome outcome = run(folder, arguments);
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  return outcome;
}

inline std::vector<std::string> words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

/// The figures that a call prints with --json.
inline nlohmann::json figuresOf(const test::ScratchDir& folder,
                                const std::string& arguments) {
  return nlohmann::json::parse(expectRun(folder, words(arguments + " --json")).out,
                               nullptr, false);
}

}  // namespace ulmar::render
