// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>

namespace Tessaly::Tests {

enum class SystemCalls { none, some };

/// From here on, the kernel answers this system call of this thread, and of threads that it starts, in one way, and all
/// others in another way. Returns whether the kernel took the rule.
inline bool ruleSystemCalls(unsigned number, unsigned answer, unsigned answerToOthers) {
  std::array<sock_filter, 4> filter{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, answer),
      BPF_STMT(BPF_RET | BPF_K, answerToOthers),
  }};
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// From here on, every system call kills the process, except its exit.
inline bool forbidSystemCalls() { return ruleSystemCalls(SYS_exit_group, SECCOMP_RET_ALLOW, SECCOMP_RET_KILL_PROCESS); }

/// From here on, this system call kills the process.
inline bool forbidSystemCall(unsigned number) {
  return ruleSystemCalls(number, SECCOMP_RET_KILL_PROCESS, SECCOMP_RET_ALLOW);
}

/// Runs the body in a forked child that the kernel kills at the first system call, and returns whether it made one. The
/// body runs once before that, so that caches of the thread and the process are filled.
template <typename Body>
SystemCalls systemCallsOf(Body body) {
  const pid_t child = ::fork();
  if (child == 0) {
    body();
    if (!forbidSystemCalls()) ::_exit(1);
    body();
    ::syscall(SYS_exit_group, 0);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  if (WIFSIGNALED(status)) {
    EXPECT_EQ(WTERMSIG(status), SIGSYS);
    return SystemCalls::some;
  }
  EXPECT_EQ(status, 0) << "the kernel took no filter";
  return SystemCalls::none;
}

}  // namespace Tessaly::Tests
