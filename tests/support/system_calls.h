// Whether a piece of code calls the system.
#pragma once

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ulmar::test {

/// Runs `body` in a child that the kernel kills at its first system call, and returns
/// the child's status: exit code 0 if body returned true.
template <typename Body>
int statusWithoutSystemCalls(const Body& body) {
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT);
    const bool good = body();
    syscall(SYS_exit, good ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

}  // namespace ulmar::test
